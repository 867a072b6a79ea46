#include "reporting/general_view.h"

#include "reporting/period.h"
#include "scheduling/week_walk.h"

namespace surva {
namespace {

using data::Bound;
using data::Number;
using data::Piece;
using data::Row;
using data::Rows;

// The events that begin in the month count here, each once. A year of two digits has no dates of its own, though the
// weeks are those of a later one.
void WriteMonthLine(Response& out, data::Connection& db, const PickedMonth& picked) {
  Field students = std::int64_t{0};
  Field forms = std::int64_t{0};
  if (picked.year >= 100) {
    const Period month = MonthOf({picked.year, picked.month, 1});
    const Rows counts =
        db.Query({"select count(*) as Students, count(case when pin is null or pin='' then 1 end) as Forms "
                  "from Participant,Schedule where Participant.ScheduleID=Schedule.ScheduleID and BeginDate>=",
                  Bound(Field(month.begin)), " and BeginDate<", Bound(Field(month.end))});
    students = counts.First()["Students"];
    forms = counts.First()["Forms"];
  }
  out.Write("<br>Total number of students starting trainings this month / number of filled forms:&nbsp;<b>", students,
            "/", forms, "<b>.");
}

// A row for each week that events touch: its first day, the number of those events that have a training and a
// trainer, and the number of participants of all of them.
Rows CountWeeks(data::Connection& db, const std::vector<Week>& weeks) {
  std::vector<Piece> statement = {
      "select Weeks.column1 as FirstDay, count(case when Training.TrainingID is not null and Trainer.TrainerID is not "
      "null then 1 end) as Trainings, cast(sum((select count(*) from Participant where "
      "Participant.ScheduleID=Schedule.ScheduleID)) as bigint) as Students from (values "};
  for (const Week& week : weeks) {
    if (&week != &weeks.front()) statement.push_back(",");
    statement.insert(statement.end(),
                     {"(", Number(week.first_day), ",", Bound(Field(week.begin)), ",", Bound(Field(week.end)), ")"});
  }
  statement.push_back(
      ") as Weeks inner join Schedule on ((BeginDate>=Weeks.column2 and BeginDate<=Weeks.column3) or "
      "(EndDate>=Weeks.column2 and EndDate<=Weeks.column3) or (BeginDate<Weeks.column2 and EndDate>Weeks.column3)) "
      "left join Training on Schedule.TrainingID=Training.TrainingID "
      "left join Trainer on Schedule.TrainerID=Trainer.TrainerID group by Weeks.column1");
  return db.Query(statement);
}

void WriteWeek(Response& out, const PickedMonth& picked, const Week& week, const Rows& counts) {
  Field trainings = std::int64_t{0};
  Field students = std::int64_t{0};
  for (const Row& row : counts) {
    if (!row["FirstDay"].Is(week.first_day)) continue;
    trainings = row["Trainings"];
    students = row["Students"];
  }
  out.Write("<tr><th align=left>"
            "<font color=navy><A style=\"color:#003399\" href=stat.asp?BrowseWeek=1&M=",
            picked.month, "&Y=", picked.year, ">Week</A> ", week.first_day, "-", week.last_day,
            "</font></th></tr>"
            "<tr><td bgcolor=#6699FF size=1></td></tr>"
            "<tr><td bgcolor=#6699FF size=1></td></tr>"
            "<TR><TD>Number of trainings:&nbsp;<b>",
            trainings, "</b>&nbsp;&nbsp;Number of students:&nbsp;<b>", students, "</b></TD></TR>");
}

}  // namespace

void ShowGeneralView(PageObject& page, data::Connection& db) {
  Response& out = page.response();
  page.WriteHeaders();
  const PickedMonth picked = ReadPickedMonth(page.request(), page.clock());
  WriteMonthPicker(out, picked, "<a href=stat.asp?Action=P&M=");
  const std::vector<Week> weeks = WeeksOf(picked);
  WriteMonthLine(out, db, picked);
  out.Write("<Form Action=stat.asp method=post>"
            "<Input Type=Hidden Name=Action Value=P>"
            "<TABLE BORDER=0 cellspacing=0 cellpadding=2 width=100%>");
  if (!weeks.empty()) {
    const Rows counts = CountWeeks(db, weeks);
    for (const Week& week : weeks) WriteWeek(out, picked, week, counts);
  }
  out.Write("</table><BR><BR>");
  page.WriteFooters();
}

}  // namespace surva
