#include "scheduling/week_walk.h"

#include <algorithm>

#include "scheduling/counts.h"

namespace surva {
namespace {

using data::Row;
using data::Rows;

constexpr std::string_view kFont = "\"font-family: Tahoma; font-size: 8pt; color:black\"";

// A date column compared with a date is false where the column is null.
bool Within(const Field& date, const DateTime& from, const DateTime& to) {
  return !date.IsNull() && date.Date() >= from && date.Date() <= to;
}
bool Spans(const Field& begin, const Field& end, const DateTime& from, const DateTime& to) {
  return !begin.IsNull() && !end.IsNull() && begin.Date() < from && end.Date() > to;
}

// Every event that touches a week of the month touches the month by the same three ways. Each way is a range of an
// index; what spans a month, from before its first day until after its last one, lasts more than 27 days.
Rows ReadEvents(data::Connection& connection, std::span<const Week> weeks) {
  const data::Piece begin = data::Bound(Field(weeks.front().begin));
  const data::Piece end = data::Bound(Field(weeks.back().end));
  const data::Among few = data::AmongFew(connection.dialect());
  return connection.Query(
      {"with Lasting as materialized (select ScheduleID as LastingID, BeginDate as LastingFrom, EndDate as LastingTo "
       "from Schedule where (julianday(EndDate) - julianday(BeginDate))>27), "
       "Touching as materialized (select ScheduleID as TouchingID from Schedule where BeginDate>=",
       begin, " and BeginDate<=", end, " union select ScheduleID from Schedule where EndDate>=", begin,
       " and EndDate<=", end, " union select LastingID from Lasting where LastingFrom<", begin, " and LastingTo>", end,
       ") select Schedule.ScheduleID as IndeksH, BeginDate, EndDate, Place, Training.TrainingID as TrainingK, "
       "TrainingName, Trainer.TrainerID as TrainerK, FirstName, LastName, ",
       kCounts,
       "from Schedule left join Training on Schedule.TrainingID=Training.TrainingID "
       "left join Trainer on Schedule.TrainerID=Trainer.TrainerID where Schedule.ScheduleID",
       few.opens, "select TouchingID from Touching", few.closes,
       " order by BeginDate nulls first, EndDate nulls first, Schedule.ScheduleID"});
}

void WriteDayStrip(Response& out, const Week& week, const Row& event) {
  const Field begin = event["BeginDate"];
  const Field end = event["EndDate"];
  for (int number = 0; number <= week.last_day - week.first_day; ++number) {
    const DateTime day = AddDays(week.begin, number);
    const bool taken = !begin.IsNull() && !end.IsNull() && day >= begin.Date() && day <= end.Date();
    out.Write(std::string_view(taken ? "<td bgcolor=#FFFF99>" : "<td bgcolor=#FFFFEE>"), Weekday(day), "</td>");
  }
}

void WriteEvent(Response& out, const Week& week, const Row& event, const Calendar& calendar) {
  out.Write("<tr bgcolor=#FFFFEE><td colspan=10>", calendar.event_link, event["IndeksH"], " style=", kFont, ">",
            event["TrainingName"], "</a></td></tr>", "<tr style=", kFont, ">");
  WriteDayStrip(out, week, event);
  out.Write("<td>Trainer:&nbsp;", event["FirstName"], "&nbsp;", event["LastName"]);
  if (!event["Place"].IsEmpty()) out.Write("&nbsp;&nbsp;Place:&nbsp;", event["Place"]);
  calendar.write_counts(out, event);
  out.Write("</td></tr>"
            "<tr><td bgcolor=#6699FF size=1 colspan=10></td></tr>"
            "<tr><td size=1 colspan=10></td></tr>");
}

}  // namespace

std::vector<Week> WeeksOf(const PickedMonth& picked) {
  const auto first_of = [](int month, int year) { return DateOf(DateTextOf("1", month, std::to_string(year))); };
  const DateTime first = first_of(picked.month, picked.year);
  const DateTime next = picked.month == 12 ? first_of(1, picked.year + 1) : first_of(picked.month + 1, picked.year);
  // A year of two digits may lie in another century than the next one; such a month has no days.
  const int days = DaysBetween(first, next);
  std::vector<Week> weeks;
  for (int day = 1; day <= days;) {
    const DateTime begin = AddDays(first, day - 1);
    const int last = std::min(day + 7 - Weekday(begin), days);
    weeks.push_back({day, last, begin, AddDays(first, last - 1)});
    day = last + 1;
  }
  return weeks;
}

MonthEvents::MonthEvents(data::Connection& connection, std::span<const Week> weeks)
    : rows_(weeks.empty() ? Rows(std::make_shared<data::Shape>()) : ReadEvents(connection, weeks)) {}

bool MonthEvents::Touches(const Row& event, const Week& week) {
  const Field begin = event["BeginDate"];
  const Field end = event["EndDate"];
  return Within(begin, week.begin, week.end) || Within(end, week.begin, week.end) ||
         Spans(begin, end, week.begin, week.end);
}

void WriteCalendar(PageObject& page, data::Connection& connection, const Calendar& calendar) {
  Response& out = page.response();
  const PickedMonth picked = ReadPickedMonth(page.request(), page.clock());
  WriteMonthPicker(out, picked, calendar.month_link);
  out.Write(calendar.form, "<Input Type=Hidden Name=Action Value=P>"
                           "<TABLE BORDER=0 cellspacing=0 cellpadding=2 width=100%>"
                           "<tr><td>");
  const std::vector<Week> weeks = WeeksOf(picked);
  const MonthEvents events(connection, weeks);
  for (const Week& week : weeks) {
    out.Write("<tr><td>&nbsp;</td></tr>"
              "<tr><th align=left><font color=navy>Week ",
              week.first_day, "-", week.last_day, "</font></th></tr>",
              "<tr><td bgcolor=#6699FF size=1></td></tr>"
              "<tr><td><table cellspacing=0 cellpadding=2 width=100%>");
    events.ForEach(week, [&](const Row& event) {
      if (MonthEvents::IsListed(event)) WriteEvent(out, week, event, calendar);
    });
    out.Write("</table></td></tr>");
  }
  out.Write("</td></tr></table>");
}

}  // namespace surva
