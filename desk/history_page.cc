#include "desk/history_page.h"

#include "desk/parts.h"
#include "frame/data/schema.h"
#include "frame/values/text.h"
#include "guard/history.h"

namespace surva::desk {
namespace {

constexpr int kChangesOnPage = 100;

void WriteFilter(Markup& page, const Context& context, const guard::History::Filter& filter) {
  page.Write(
      {"<form method=\"get\" action=\"/admin/history\" class=\"grid-form\">\n<div><label for=\"table\">Table</label>"
       "<select id=\"table\" name=\"table\"><option value=\"\">all</option>"});
  for (const data::Table* table : data::AllTables()) {
    page.Write({"<option"});
    if (EqualNames(table->name, filter.table)) page.Write({" selected"});
    page.Write({">", table->name, "</option>"});
  }
  page.Write({"</select></div>\n<div><label for=\"person\">Person</label><input id=\"person\" name=\"person\" value=\"",
              std::string_view(filter.person),
              "\"></div>\n<div><label for=\"day\">Day</label><input id=\"day\" name=\"day\" type=\"date\" value=\"",
              context.request.QueryString("day"),
              "\"></div>\n<div><button class=\"quiet\">Show</button></div>\n</form>\n"});
}

void WriteChange(Markup& page, const guard::Change& change) {
  page.Write({"<tr><td>", std::string_view(IsoText(change.at)), "</td><td>", std::string_view(change.person),
              "</td><td>", std::string_view(change.act), " ", std::string_view(change.table), " ", change.key,
              "</td><td><details><summary>the row before</summary><code>", std::string_view(change.row),
              "</code></details></td><td><form method=\"post\" action=\"/admin/history\">"
              "<input type=\"hidden\" name=\"change\" value=\"",
              change.id, "\"><button class=\"quiet\">Put this row back</button></form>"});
  if (!change.request.empty()) {
    page.Write({"<form method=\"post\" action=\"/admin/history\"><input type=\"hidden\" name=\"request\" value=\"",
                std::string_view(change.request),
                "\"><button class=\"quiet\">Put all of this act back</button></form>"});
  }
  page.Write({"</td></tr>\n"});
}

}  // namespace

wire::HttpResponse ShowHistory(Context& context) {
  guard::History history(context.connection);
  if (context.http.method == wire::HttpRequest::Method::kPost) {
    const std::vector<std::string_view> change = context.request.Form("change");
    const std::vector<std::string_view> request = context.request.Form("request");
    std::int64_t rows = 0;
    if (!change.empty()) rows = history.PutBack(ReadKey(change.front()).value_or(0));
    if (change.empty() && !request.empty()) rows = history.PutRequestBack(request.front());
    return SeeOther("/admin/history?rows=" + std::to_string(rows));
  }
  const Request& request = context.request;
  const guard::History::Filter filter{
      std::string(request.QueryString("table")), std::string(request.QueryString("person")), "",
      ReadDay(request.QueryString("day")), ReadKey(request.QueryString("before")).value_or(0)};
  Markup page;
  if (const auto rows = ReadKey(request.QueryString("rows"))) {
    page.Write({"<p class=\"note\" role=\"status\">Rows put back: ", *rows, ".</p>\n"});
  }
  page.Write(
      {"<p>What pages delete or overwrite is kept here for some time. Putting a row back makes it what it was; rows "
       "that were added since stay.</p>\n"});
  WriteFilter(page, context, filter);
  const std::vector<guard::Change> changes = history.List(filter, kChangesOnPage);
  if (changes.empty()) {
    page.Write({"<p class=\"note\">There is nothing of that kind.</p>\n"});
    return Html(context, "History", page);
  }
  page.Write({"<div class=\"wide\" tabindex=\"0\"><table>\n<tr><th scope=\"col\">When</th><th scope=\"col\">Who</th>"
              "<th scope=\"col\">What</th><th scope=\"col\">Before</th><th scope=\"col\">Act</th></tr>\n"});
  for (const guard::Change& change : changes) WriteChange(page, change);
  page.Write({"</table></div>\n"});
  if (changes.size() == static_cast<std::size_t>(kChangesOnPage)) {
    page.Write({"<p><a href=\"/admin/history?table=", Url(filter.table), "&amp;person=", Url(filter.person),
                "&amp;day=", Url(Field(request.QueryString("day"))), "&amp;before=", changes.back().id,
                "\">Earlier ones</a></p>\n"});
  }
  return Html(context, "History", page);
}

}  // namespace surva::desk
