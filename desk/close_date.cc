#include "desk/close_date.h"

#include "desk/parts.h"

namespace surva::desk {

using data::Bound;
using data::Number;
using data::Rows;

std::optional<wire::HttpResponse> RefuseClosed(data::Connection& connection, const Clock& clock, std::string_view pin) {
  // The participant whom the logon would take.
  const Rows closed = connection.Query(
      {"select CloseDate from EventClose where ScheduleID=(select ScheduleID from Participant where PIN=",
       Bound(Field(pin)), " order by ParticipantID limit 1)"});
  if (closed.empty() || closed.First()["CloseDate"].IsNull()) return {};
  const DateTime& day = closed.First()["CloseDate"].Date();
  if (clock.Now() < AddDays(day, 1)) return {};
  Markup page;
  page.Write({"<p class=\"note\">This surva was open until ", DayText(day),
              " and takes no more answers. Thank you for wanting to take part.</p>\n"});
  wire::HttpResponse answer = PlainHtml("The surva is closed", page);
  answer.status = 410;
  return answer;
}

std::optional<wire::HttpResponse> TakeCloseDate(Context& context, std::int64_t event, std::string_view title) {
  if (context.http.method != wire::HttpRequest::Method::kPost || !context.request.Has("close")) return {};
  const std::string_view text = context.request("close");
  const std::optional<DateTime> day = ReadDay(text);
  if (!text.empty() && !day) return Sorry(context, title, "The close date must be a day such as 2026-05-31.", 400);
  // One row an event, also when two set it at once.
  context.connection.Lock("close " + std::to_string(event));
  context.connection.Execute({"delete from EventClose where ScheduleID=", Number(event)});
  if (day) {
    context.connection.AddNew(data::tables::kEventClose).Set("ScheduleID", event).Set("CloseDate", *day).Update();
  }
  return SeeOther(context.http.path + "?event=" + std::to_string(event));
}

std::optional<DateTime> WriteCloseDateForm(Markup& page, Context& context, std::int64_t event) {
  const Rows rows = context.connection.Query({"select CloseDate from EventClose where ScheduleID=", Number(event)});
  std::optional<DateTime> day;
  if (!rows.empty() && !rows.First()["CloseDate"].IsNull()) day = rows.First()["CloseDate"].Date();
  page.Write(
      {"<form method=\"post\" class=\"row\"><input type=\"hidden\" name=\"event\" value=\"", event,
       "\"><label for=\"close\">Last day for answers</label><input type=\"date\" id=\"close\" name=\"close\" "
       "placeholder=\"YYYY-MM-DD\" value=\"",
       day ? DayInput(*day) : std::string(),
       "\"><button class=\"quiet\">Keep</button> <span class=\"soft\">That day included. Who has begun by then may "
       "finish.</span></form>\n"});
  return day;
}

}  // namespace surva::desk
