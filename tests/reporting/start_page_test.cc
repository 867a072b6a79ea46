// The start page: the dates, this week and this month in figures.
#include "reporting/start_page.h"

#include "reporting/period.h"
#include "tests/reporting/analyst.h"

namespace surva::test {
namespace {

using namespace data::tables;

// Every day of fifteen years lies in a period of exactly the days with its week number and year.
TEST(Periods, WeeksGoByTheirNumbers) {
  for (DateTime day{1998, 1, 1, 17, 30}; day.year < 2013; day = AddDays(day, 1)) {
    const Period week = WeekOf(day);
    const auto same_week = [&](const DateTime& other) {
      return other.year == day.year && WeekOfYear(other) == WeekOfYear(day);
    };
    ASSERT_TRUE(week.begin <= day && day < week.end) << IsoText(day);
    EXPECT_EQ(week.begin.hour, 0);
    EXPECT_TRUE(same_week(week.begin) && !same_week(AddDays(week.begin, -1))) << IsoText(day);
    EXPECT_TRUE(!same_week(week.end) && same_week(AddDays(week.end, -1))) << IsoText(day);
  }
}

TEST(Periods, AroundNewYear) {
  struct Case {
    DateTime day;
    Period week;
    Period month;
  };
  for (const Case& one : std::initializer_list<Case>{
           {{2003, 12, 30}, {{2003, 12, 28}, {2004, 1, 1}}, {{2003, 12, 1}, {2004, 1, 1}}},  // a Tuesday
           {{2004, 1, 1, 23, 59, 59}, {{2004, 1, 1}, {2004, 1, 4}}, {{2004, 1, 1}, {2004, 2, 1}}},
           {{2005, 12, 31}, {{2005, 12, 25}, {2006, 1, 1}}, {{2005, 12, 1}, {2006, 1, 1}}},  // a Saturday
           {{2000, 12, 31}, {{2000, 12, 31}, {2001, 1, 1}}, {{2000, 12, 1}, {2001, 1, 1}}},  // a week of one day
           {{2004, 2, 29}, {{2004, 2, 29}, {2004, 3, 7}}, {{2004, 2, 1}, {2004, 3, 1}}}}) {
    EXPECT_EQ(WeekOf(one.day), one.week) << IsoText(one.day);
    EXPECT_EQ(MonthOf(one.day), one.month) << IsoText(one.day);
  }
}

class StartPages : public Analyst {
 protected:
  Answer Get() { return visitor.Serve<StartPage>({}, {}); }
};
SURVA_ON_BOTH_ENGINES(StartPages);

// The figures go by the database's clock, which no test can hold still; only the date above them is of the page's.
TEST_P(StartPages, WholePage) {
  visitor.clock.now = {2004, 3, 7, 23, 59, 59};
  const DateTime now = Clock::System().Now();
  DateTime other_week{now.year, now.month, 1};
  while (WeekOf(other_week) == WeekOf(now)) other_week = AddDays(other_week, 1);
  const DateTime a_year_ago{now.year - 1, now.month, std::min(now.day, 28)};
  Add(kTrainer, {{"FirstName", "Ann"}, {"LastName", "Kay"}});
  Add(kTrainer, {{"FirstName", "<i>Bob"}, {"LastName", Value()}});
  AddEvent(41, 32, 51, now, now, "Hall A");
  AddEvent(41, 31, 51, DateTime{now.year, now.month, now.day}, Value(), Value());
  AddEvent(41, 32, 51, now, now, "Room 7");
  AddEvent(41, 31, 51, other_week, now, "Elsewhere");
  AddEvent(41, 31, 51, a_year_ago, now, "Long ago");
  AddEvent(41, 31, 51, Value(), now, "Never");
  AddEvent(41, 99, 51, now, now, "Of no trainer");
  for (const auto& [event, pin] : {std::pair(61, Value("12")),
                                   {61, Value("")},
                                   {63, Value()},
                                   {64, Value()},
                                   {64, Value("1")},
                                   {65, Value("1")},
                                   {66, Value("1")},
                                   {99, Value("1")}}) {
    Add(kParticipant, {{"ScheduleID", event}, {"StudentID", 21}, {"PIN", pin}});
  }
  const Answer answer = Get();
  const std::string script =
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
      "document.write (\"<font face='verdana, arial, helvetica' size=1 color='#414141'>Date on the station "
      "(d-m-y):&nbsp;<b>\" + date + \"&nbsp;-&nbsp;\"+ monthName + \"&nbsp;-&nbsp;\"+ year +\"</b></font><br><br>\")\r";
  EXPECT_EQ(StaffBody(answer.page),
            "<font face'=verdana, arial, helvetica' size=1 color='#414141'>Date on the server (d-m-y):&nbsp;<b>"
            "7&nbsp;-&nbsp;3&nbsp;-&nbsp;2004</b></font>&nbsp;&nbsp;\r"
            "<SCRIPT language=javascript>" +
                script +
                "</SCRIPT>\r"
                "<IMG height=30 src=images/trainings.gif width=270><BR><BLOCKQUOTE><font face=verdana><u>Week</u>:<br>"
                "Number of trainings starting this week: <b>4</b><br>"
                "of students starting their trainings this week:  <b>3</b><p>"
                "<u>Month</u>:<br>Number of trainings starting this month: <b>5</b><br>"
                "of students starting their trainings this month: <b>5</b></font></BLOCKQUOTE>"
                "<IMG height=30 src=images/trainers.gif width=270><BR><BLOCKQUOTE><font face=verdana>"
                "Trainers starting trainings this week:<br><BR>"
                "- <i>Bob&nbsp;&nbsp;(Hall A)<br>- Ann&nbsp;Kay&nbsp;()<br>- <i>Bob&nbsp;&nbsp;(Room 7)<br>"
                "</font></BLOCKQUOTE></TD></TR></TBODY></TABLE>");
  EXPECT_EQ(std::count(answer.response.scripts().begin(), answer.response.scripts().end(), script), 1);
}

TEST_P(StartPages, WithoutADatabase) {
  visitor.dsn = "";
  const Answer answer = Get();
  EXPECT_EQ(answer.faults, Faults{FaultNumber::kConnectionFailed});
  EXPECT_TRUE(StaffBody(answer.page).starts_with("<BLOCKQUOTE><BR><font face=tahoma color=red size=2>"));
}

}  // namespace
}  // namespace surva::test
