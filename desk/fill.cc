// The respondent's way: a page around surva.asp, which it holds in a frame and which its scripts (site/Java/fill) style
// and label. It names a PIN or a surva of its address in attributes and uses neither: mail programs fetch links.
#include "desk/pages.h"
#include "desk/parts.h"
#include "frame/values/text.h"

namespace surva::desk {

using data::Number;
using data::Row;

namespace {

// A PIN as people copy it: blanks in it say nothing.
std::string WithoutBlanks(std::string_view text) {
  std::string pin;
  for (const char c : text) {
    if (c != ' ' && c != '\t') pin += c;
  }
  return pin;
}

}  // namespace

wire::HttpResponse ShowFillPage(Context& context) {
  const std::string pin = WithoutBlanks(context.request("PIN"));
  const std::string version(context.request("version"));
  const bool web_site = !context.owner.official.empty();
  Markup page;
  page.Write({"<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
              "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>surva</title>\n"
              "<link rel=\"stylesheet\" href=\"css/fill.css\">\n"
              "<link rel=\"stylesheet\" href=\"css/layout.css\" media=\"print\">\n"
              "<link rel=\"stylesheet\" href=\"css/framed.css\" media=\"print\">\n"
              "<script type=\"module\" src=\"Java/fill/main.js\"></script>\n</head>\n"
              "<body data-pin=\"",
              pin, "\" data-version=\"", version,
              "\">\n"
              "<header>\n<a class=\"brand\" href=\"",
              web_site ? context.owner.official + "/official" : context.owner.homepage,
              "\"><img src=\"images/train_cert.gif\" alt=\"surva: ",
              std::string_view(web_site ? "to our web site" : "to the first page"),
              "\" width=\"468\" height=\"60\"></a>\n<nav id=\"way\" aria-label=\"Your way\" hidden>\n<ol></ol>\n"
              "<button type=\"button\" id=\"open\" hidden></button>\n</nav>\n</header>\n<main>\n"
              "<h1 class=\"unseen\">Fill in the surva</h1>\n<div id=\"told\" role=\"status\"></div>\n"
              "<section id=\"start\" class=\"card\">\n"});
  // Without scripts the page is these links.
  if (!pin.empty()) {
    page.Write({"<p>Your PIN is <b>", pin,
                "</b>. Enter it on the next page.</p>\n"
                "<p><a class=\"button\" href=\"surva.asp\">Fill in the surva</a></p>\n"});
  } else if (!version.empty()) {
    page.Write({"<p>You are invited to fill in a surva. You need no PIN.</p>\n"
                "<p><a class=\"button\" href=\"surva.asp?version=",
                Url(version), "\">Fill in the surva</a></p>\n"});
  } else {
    page.Write({"<p><a class=\"button\" href=\"surva.asp\">Fill in the surva</a></p>\n"});
  }
  page.Write(
      {"</section>\n<iframe id=\"surva\" name=\"surva\" title=\"The surva\" hidden></iframe>\n</main>\n<footer>\n"});
  if (!context.settings.readers.empty()) page.Write({"<p id=\"readers\">", context.settings.readers, "</p>\n"});
  page.Write({"<p id=\"keeping\" hidden><label><input type=\"checkbox\" id=\"shared\"> This is a shared computer: keep "
              "nothing of my answers on it</label></p>\n"
              "<p><a href=\"",
              context.owner.homepage, "\">", context.owner.notice, "</a></p>\n</footer>\n</body>\n</html>\n"});
  return WholePage(std::move(page));
}

wire::HttpResponse ShowThanksAddress(Context& context) {
  std::string address;
  if (const auto version = ReadKey(context.request("version"))) {
    for (const Row& row :
         context.connection.Query({"select ThankYouPage from SurvaVersion where SurvaVersionID=", Number(*version)})) {
      address = row["ThankYouPage"].Text();
    }
  }
  return Json("{\"thanks\":" + JsonText(address) + "}\n");
}

wire::HttpResponse LeadHome(Context& context) {
  const bool is_itself = EqualNames(context.owner.homepage, context.http.path);
  return SeeOther(is_itself ? "/" : context.owner.homepage);
}

}  // namespace surva::desk
