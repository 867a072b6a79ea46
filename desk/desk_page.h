// Pages of our own: pages of today beside the eleven, in UTF-8, written through Markup. A page is a function from a
// request to an answer; what it wrote is committed when it has returned, and undone if it throws.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "desk/background.h"
#include "desk/markup.h"
#include "desk/settings.h"
#include "frame/data/connection.h"
#include "frame/page_object.h"
#include "frame/request.h"
#include "guard/gate.h"
#include "guard/role.h"
#include "wire/http_message.h"

namespace surva::desk {

// A file that came with a posted form.
struct Upload {
  std::string field;
  std::string file_name;
  std::string bytes;
};

// What a page is that shows one event: for those without one, all is empty.
struct OfEvent {
  std::string_view field;      // of the address, names the event
  std::string_view caption;    // on the event's other pages
  std::string_view otherwise;  // where the menu leads while no event is named, if the page itself does not ask for one
};

// An entry of the menu.
struct PageLink {
  std::string_view address;  // from the root of the site
  std::string_view caption;
  std::string_view group;
  OfEvent of_event = {};
};

struct Context {
  const wire::HttpRequest& http;
  const Request& request;  // texts come from UTF-8 and hold what a browser would post to the eleven pages
  const std::vector<Upload>& files;
  data::Connection& connection;
  data::Database& database;  // for a reader of its own, whose work outlasts the page
  Background& background;
  const Settings& settings;
  const Owner& owner;
  const Clock& clock;
  const guard::Person& person;
  guard::Gate& gate;
  const std::vector<PageLink>& pages;  // what the person may open
};

using Page = wire::HttpResponse (*)(Context& context);

// The whole answer around a page's content: head, menu of what the person may open, heading.
wire::HttpResponse Html(const Context& context, std::string_view title, const Markup& content);
// The same without a menu, for who has none: respondents, and staff who are not signed in.
wire::HttpResponse PlainHtml(std::string_view title, const Markup& content);
// A page that writes its own head.
wire::HttpResponse WholePage(Markup page);

wire::HttpResponse Json(std::string json);
// Leads on by GET (303) to an address of the site.
wire::HttpResponse SeeOther(std::string address);

// /admin/pages.json: who is signed in, and the menu.
wire::HttpResponse ShowPageList(Context& context);

}  // namespace surva::desk
