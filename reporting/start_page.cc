#include "reporting/start_page.h"

#include "frame/page_frame.h"
#include "reporting/period.h"

namespace surva {
namespace {

using data::Bound;
using data::Row;
using data::Rows;

// Asks the browser for its own date.
constexpr std::string_view kStationDate =
    "\r"
    "var months = new Array('1', '2', '3', '4', '5', '6', '7', '8', '9', '10', '11', '12');\r"
    "var now = new Date();\r"
    "var monthName = months[now.getMonth()];\r"
    "var date = now.getDate();\r"
    "var year = now.getYear();\r"
    "if (year < 70){\r"
    "year = year + 2000;}\r"
    "else{\r"
    "if (year < 100){\r"
    "year = year + 1900;}}\r"
    "document.write (\"<font face='verdana, arial, helvetica' size=1 color='#414141'>"
    "Date on the station (d-m-y):&nbsp;<b>\" + date + \"&nbsp;-&nbsp;\"+ monthName + \"&nbsp;-&nbsp;\"+ year +"
    "\"</b></font><br><br>\")\r";

struct Starting {
  std::int64_t trainings = 0;
  std::int64_t students = 0;
};

Starting CountStarting(data::Connection& db, const Period& period) {
  const data::Piece begin = Bound(Field(period.begin));
  const data::Piece end = Bound(Field(period.end));
  const Rows trainings =
      db.Query({"select count(*) as Cnt from Schedule where BeginDate>=", begin, " and BeginDate<", end});
  const Rows students = db.Query({"select count(*) as Cnt from Participant, Schedule where BeginDate>=", begin,
                                  " and BeginDate<", end, " and Schedule.ScheduleID=Participant.ScheduleID"});
  return {trainings.First()["Cnt"].Integer(), students.First()["Cnt"].Integer()};
}

// A row for each event; a trainer of two events is there twice.
Rows TrainersStarting(data::Connection& db, const Period& period) {
  return db.Query({"select FirstName, LastName, Place from Trainer inner join Schedule on "
                   "(Trainer.TrainerID=Schedule.TrainerID) where BeginDate>=",
                   Bound(Field(period.begin)), " and BeginDate<", Bound(Field(period.end)), " order by ScheduleID"});
}

}  // namespace

void StartPage::WebClass_Start() {
  WriteHeaders();
  data::Connection& db = OpenConnection();
  WriteDates();
  const DateTime now = clock().Now();
  const Starting week = CountStarting(db, WeekOf(now));
  const Starting month = CountStarting(db, MonthOf(now));
  const Rows trainers = TrainersStarting(db, WeekOf(now));
  Write("<IMG height=30 src=images/trainings.gif width=270>"
        "<BR><BLOCKQUOTE><font face=verdana>"
        "<u>Week</u>:<br>"
        "Number of trainings starting this week: <b>",
        week.trainings,
        "</b><br>"
        "of students starting their trainings this week:  <b>",
        week.students,
        "</b><p>"
        "<u>Month</u>:<br>"
        "Number of trainings starting this month: <b>",
        month.trainings,
        "</b><br>"
        "of students starting their trainings this month: <b>",
        month.students,
        "</b></font></BLOCKQUOTE>"
        "<IMG height=30 src=images/trainers.gif width=270>"
        "<BR><BLOCKQUOTE><font face=verdana>"
        "Trainers starting trainings this week:<br><BR>");
  for (const Row& event : trainers) {
    Write("- ", event["FirstName"], "&nbsp;", event["LastName"], "&nbsp;(", event["Place"], ")<br>");
  }
  // The page closes the table of the frame, and the frame closes it once more.
  Write("</font></BLOCKQUOTE>"
        "</TD></TR></TBODY></TABLE>");
  WriteFooters();
}

void StartPage::WriteHeaders() {
  WriteStaffHeaders(*this, menus::kDefault);
}

void StartPage::WriteFooters() {
  WriteStaffFooters(*this, menus::kDefault);
}

void StartPage::WriteDates() {
  const DateTime today = clock().Now();
  // The quote in face'= is misplaced; browsers do not mind.
  Write("<font face'=verdana, arial, helvetica' size=1 color='#414141'>Date on the server (d-m-y):&nbsp;<b>", today.day,
        "&nbsp;-&nbsp;", today.month, "&nbsp;-&nbsp;", today.year, "</b></font>&nbsp;&nbsp;\r");
  Write("<SCRIPT language=javascript>", kStationDate, "</SCRIPT>\r");
  response().AllowScript(kStationDate);
}

}  // namespace surva
