#include "desk/desk_page.h"

#include "desk/parts.h"
#include "frame/page_frame.h"
#include "frame/values/text.h"

namespace surva::desk {
namespace {

// Nothing on these pages comes from elsewhere, and no script or style stands in them.
constexpr std::string_view kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src 'self'; "
    "font-src 'self'; frame-src 'self'; form-action 'self'; base-uri 'none'; frame-ancestors 'self'";

wire::HttpResponse Answer(std::string content_type, std::string body) {
  wire::HttpResponse answer;
  answer.content_type = std::move(content_type);
  answer.body = std::move(body);
  answer.headers.emplace_back("Cache-Control", "no-store");
  answer.headers.emplace_back("Content-Security-Policy", kPolicy);
  return answer;
}

void WriteHead(Markup& page, std::string_view title) {
  page.Write(
      {"<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
       "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>",
       title,
       " - surva</title>\n<link rel=\"stylesheet\" href=\"/css/desk.css\">\n<link rel=\"stylesheet\" href=\"/css/bar.css\">\n"
       "<script src=\"/Java/Desk.js\" defer></script>\n</head>\n<body>\n"});
}

// The event is the one that the page's own address names.
void WriteAddress(Markup& page, const Context& context, const PageLink& link) {
  if (link.of_event.otherwise.empty()) {
    page.Write({link.address});
  } else if (const auto event = ReadKey(context.request.QueryString("event"))) {
    page.Write({link.address, "?", link.of_event.field, "=", *event});
  } else {
    page.Write({link.of_event.otherwise});
  }
}

// Entries of one group stand together in the table of addresses.
void WriteMenu(Markup& page, const Context& context) {
  page.Write({"<a class=\"skip\" href=\"#content\">To the content</a>\n<header>\n"
              "<nav class=\"toolbar\" aria-label=\"Staff pages\">\n<div class=\"groups\">\n"});
  std::string_view group;
  for (const PageLink& link : context.pages) {
    if (link.group != group) {
      if (!group.empty()) page.Write({"</ul></div>\n"});
      page.Write({"<div class=\"group\"><span>", link.group, "</span><ul>\n"});
      group = link.group;
    }
    const bool here = EqualNames(link.address.substr(0, link.address.find('?')), context.http.path);
    page.Write({"<li><a href=\""});
    WriteAddress(page, context, link);
    page.Write({"\""});
    if (here) page.Write({" aria-current=\"page\""});
    page.Write({">", link.caption, "</a></li>\n"});
  }
  if (!group.empty()) page.Write({"</ul></div>\n"});
  page.Write({"<div class=\"group\"><span>Public</span><ul>\n<li><a href=\"/fill\">Public page</a></li>\n</ul></div>\n"
              "<div class=\"group\"><span>Help</span><ul>\n<li><a target=\"help\" href=\"/admin/help.asp?topic=",
              Url(context.http.path), "\">Help</a></li>\n</ul></div>\n</div>\n</nav>\n</header>\n"});
}

void WriteContent(Markup& page, std::string_view title, const Markup& content) {
  page.Write({"<main id=\"content\">\n<h1>", title, "</h1>\n"});
  page.Write(content);
  page.Write({"</main>\n</body>\n</html>\n"});
}

}  // namespace

wire::HttpResponse Html(const Context& context, std::string_view title, const Markup& content) {
  Markup page;
  WriteHead(page, title);
  WriteMenu(page, context);
  WriteContent(page, title, content);
  return WholePage(std::move(page));
}

wire::HttpResponse PlainHtml(std::string_view title, const Markup& content) {
  Markup page;
  WriteHead(page, title);
  WriteContent(page, title, content);
  return WholePage(std::move(page));
}

wire::HttpResponse WholePage(Markup page) {
  return Answer("text/html; charset=utf-8", std::move(page).Take());
}

wire::HttpResponse Json(std::string json) {
  return Answer("application/json", std::move(json));
}

wire::HttpResponse SeeOther(std::string address) {
  wire::HttpResponse answer = Answer("text/plain", "");
  answer.status = 303;
  answer.headers.emplace_back("Location", std::move(address));
  return answer;
}

wire::HttpResponse ShowPageList(Context& context) {
  std::string json = "{\"person\":" + JsonText(context.person.name) +
                     ",\"role\":" + JsonText(guard::NameOf(context.person.role)) + ",\"pages\":[";
  for (const PageLink& link : context.pages) {
    if (&link != context.pages.data()) json += ',';
    json += "{\"address\":" + JsonText(link.address) + ",\"caption\":" + JsonText(link.caption) +
            ",\"group\":" + JsonText(link.group);
    if (const OfEvent& of_event = link.of_event; !of_event.otherwise.empty()) {
      json += ",\"event\":" + JsonText(of_event.field) + ",\"otherwise\":" + JsonText(of_event.otherwise);
    }
    json += "}";
  }
  return Json(json + "]}\n");
}

}  // namespace surva::desk
