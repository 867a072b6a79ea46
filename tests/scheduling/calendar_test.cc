// The calendar: the picker, the weeks of a month, and the events in them.
#include <random>

#include "scheduling/week_walk.h"
#include "tests/scheduling/planner.h"
#include "tests/support/watched_engine.h"

namespace surva::test {
namespace {

using namespace data::tables;

TEST(Weeks, OfMonths) {
  struct Case {
    PickedMonth month;
    std::string weeks;
  };
  for (const Case& one :
       std::initializer_list<Case>{{{2004, 2}, "1-1 2-8 9-15 16-22 23-29"},        // begins on a Sunday, in a leap year
                                   {{2004, 3}, "1-7 8-14 15-21 22-28 29-31"},      // begins on a Monday, ends after one
                                   {{1999, 2}, "1-7 8-14 15-21 22-28"},            // four weeks to the day
                                   {{2000, 12}, "1-3 4-10 11-17 18-24 25-31"},     // the next month is of another year
                                   {{2005, 5}, "1-1 2-8 9-15 16-22 23-29 30-31"},  // six weeks
                                   {{1900, 2}, "1-4 5-11 12-18 19-25 26-28"},      // no leap year
                                   {{4, 2}, "1-1 2-8 9-15 16-22 23-29"},           // 2004
                                   {{99, 11}, "1-7 8-14 15-21 22-28 29-30"},       // 1999
                                   {{29, 12}, ""},                                 // its next month begins in 1930
                                   {{9999, 11}, "1-7 8-14 15-21 22-28 29-30"}}) {
    std::string weeks;
    for (const Week& week : WeeksOf(one.month)) {
      weeks += (weeks.empty() ? "" : " ") + std::to_string(week.first_day) + "-" + std::to_string(week.last_day);
      EXPECT_EQ(week.begin.day, week.first_day);
      EXPECT_EQ(week.end.day, week.last_day);
      EXPECT_EQ(week.end.month, one.month.month);
    }
    EXPECT_EQ(weeks, one.weeks) << one.month.year << "/" << one.month.month;
  }
  for (const PickedMonth& none : {PickedMonth{2004, 0}, {2004, 13}, {2004, -1}, {-5, 1}, {10000, 1}, {9999, 12}}) {
    EXPECT_THROW(WeeksOf(none), Fault) << none.year << "/" << none.month;
  }
}

class Calendars : public Planner {
 protected:
  // The lines of the events of each week: the heading, then each event's name and its day strip.
  static std::string Outline(const std::string& page) {
    std::string outline;
    const std::string heading = "<font color=navy>Week ";
    const std::string name = "?ModSch0=";
    const std::string lit = "<td bgcolor=#FFFF99>";
    const std::string unlit = "<td bgcolor=#FFFFEE>";
    for (std::size_t at = page.find("<Form"); at < page.size(); ++at) {
      const auto starts = [&](const std::string& text) { return page.compare(at, text.size(), text) == 0; };
      if (starts(heading)) {
        const std::size_t begin = at + heading.size();
        outline += (outline.empty() ? "" : " ") + page.substr(begin, page.find('<', begin) - begin) + ":";
      } else if (starts(name)) {
        const std::size_t begin = page.find('>', at) + 1;
        outline += " " + page.substr(begin, page.find("</a>", begin) - begin) + " ";
      } else if (starts(lit) || starts(unlit)) {
        outline += starts(lit) ? page.substr(at + lit.size(), 1) : "-";
      }
    }
    return outline;
  }
  void AddEventFrom(const char* name, const Value& begin, const Value& end) {
    const auto training = Add(kTraining, {{"TrainingName", name}});
    Add(kSchedule, {{"TrainingID", training}, {"TrainerID", 21}, {"BeginDate", begin}, {"EndDate", end}});
  }
};
SURVA_ON_BOTH_ENGINES(Calendars);

TEST_P(Calendars, WholePage) {
  AddEvent();
  for (int student = 61; student <= 63; ++student) Add(kParticipant, {{"ScheduleID", 41}, {"StudentID", student}});
  std::string months;
  for (int month = 1; month <= 12; ++month) {
    const std::string m = std::to_string(month);
    months += std::string(month == 2 ? "<td bgcolor=#FFFF99>" : "<td bgcolor=#FFFFFF>") +
              "<a href=schedule.asp?Action=P&M=" + m + "&Y2004 style=color:#000000>" + m + "</a></td>";
  }
  std::string years;
  for (const std::string year : {"1999", "2000", "2001", "2002", "2003", "2004", "2005"}) {
    years += std::string(year == "2004" ? "<td bgcolor=#FFFF99>" : "<td bgcolor=#FFFFFF>") +
             "<a href=schedule.asp?Action=P&M=2&Y=" + year + " style=color:#000000>" + year + "</a></td>";
  }
  const auto week = [](const std::string& days, const std::string& events) {
    return "<tr><td>&nbsp;</td></tr><tr><th align=left><font color=navy>Week " + days +
           "</font></th></tr><tr><td bgcolor=#6699FF size=1></td></tr>"
           "<tr><td><table cellspacing=0 cellpadding=2 width=100%>" +
           events + "</table></td></tr>";
  };
  const std::string style = "\"font-family: Tahoma; font-size: 8pt; color:black\"";
  const std::string event =
      "<tr bgcolor=#FFFFEE><td colspan=10><a href=schedule.asp?ModSch0=41 style=" + style +
      ">C++ <20></a></td></tr><tr style=" + style +
      "><td bgcolor=#FFFF99>1</td><td bgcolor=#FFFF99>2</td><td bgcolor=#FFFF99>3</td><td bgcolor=#FFFF99>4</td>"
      "<td bgcolor=#FFFF99>5</td><td bgcolor=#FFFFEE>6</td><td bgcolor=#FFFFEE>7</td>"
      "<td>Trainer:&nbsp;Ann&nbsp;Kay&nbsp;&nbsp;Place:&nbsp;Hall A&nbsp;&nbsp;Number of students: <b>3</b></td></tr>"
      "<tr><td bgcolor=#6699FF size=1 colspan=10></td></tr><tr><td size=1 colspan=10></td></tr>";
  EXPECT_EQ(StaffBody(Get({{"Action", "P"}, {"M", "2"}, {"Y", "2004"}}).page),
            "<br><table border=0 cellspacing=1 cellpadding=1>"
            "<tr><th bgcolor=#6699FF><Font color=white>Month</font>&nbsp;</th>" +
                months + "<td></td><td></td><td></td><th bgcolor=#6699FF><Font color=white>Year</font>&nbsp;</th>" +
                years +
                "</table><Form Action=schedule.asp method=post><Input Type=Hidden Name=Action Value=P>"
                "<TABLE BORDER=0 cellspacing=0 cellpadding=2 width=100%><tr><td>" +
                week("1-1", "") + week("2-8", "") + week("9-15", event) + week("16-22", "") + week("23-29", "") +
                "</td></tr></table>");
}

TEST_P(Calendars, MonthAndYear) {
  visitor.clock.now = {2004, 3, 31};
  struct Case {
    NameValues query;
    std::string lit;  // month and year cells
    std::string last_week;
  };
  const auto lit = [](const Answer& answer) {
    std::string cells;
    for (std::size_t at = answer.page.find("<td bgcolor=#FFFF99><a"); at != std::string::npos;
         at = answer.page.find("<td bgcolor=#FFFF99><a", at + 1)) {
      const std::size_t begin = answer.page.find("000>", at) + 4;
      cells += (cells.empty() ? "" : " ") + answer.page.substr(begin, answer.page.find('<', begin) - begin);
    }
    return cells;
  };
  for (const Case& one : std::initializer_list<Case>{
           {{}, "3 2004", "29-31"},
           {{{"M", "2"}, {"Y", ""}}, "2 2004", "23-29"},
           {{{"M", "2"}, {"Y2001", ""}}, "2 2004", "23-29"},  // where a month's link leads
           {{{"M", ""}, {"Y", "2001"}}, "3 2001", "26-31"},
           {{{"M", " 2.5 "}, {"Y", "+2,001"}}, "2 2001", "26-28"},
           {{{"M", "2"}, {"Y", "2010"}}, "2", "22-28"},
           {{{"m", "12"}, {"y", "1999"}}, "12 1999", "27-31"},
       }) {
    NameValues query = one.query;
    query.emplace_back("Action", "P");
    const Answer answer = Get(query);
    EXPECT_EQ(lit(answer), one.lit);
    EXPECT_TRUE(
        answer.Holds("Week " + one.last_week +
                     "</font></th></tr><tr><td bgcolor=#6699FF size=1></td></tr>"
                     "<tr><td><table cellspacing=0 cellpadding=2 width=100%></table></td></tr></td></tr></table>"))
        << one.last_week;
  }
  EXPECT_EQ(lit(Post({{"Action", "P"}, {"M", "7"}, {"Y", "1999"}})), "3 2004") << "posted ones do not count";
  EXPECT_TRUE(Get({{"Action", "P"}, {"M", "2"}, {"Y", "0099"}}).Holds("&M=2&Y=1999 style"));
  for (const auto& [name, value, fault] : std::initializer_list<std::tuple<const char*, const char*, FaultNumber>>{
           {"M", "0", FaultNumber::kInvalidArgument},
           {"M", "13", FaultNumber::kInvalidArgument},
           {"M", "March", FaultNumber::kTypeMismatch},
           {"M", "40000", FaultNumber::kOverflow},
           {"Y", "MMIV", FaultNumber::kTypeMismatch},
           {"Y", "-3", FaultNumber::kTypeMismatch},
           {"Y", "12004", FaultNumber::kTypeMismatch},
           {"Y", "99999", FaultNumber::kOverflow},
       }) {
    const Answer answer = Get({{"Action", "P"}, {name, value}});
    EXPECT_EQ(answer.faults, Faults{fault}) << name << " " << value;
    EXPECT_FALSE(answer.Holds("Month</font>"));
  }
}

TEST_P(Calendars, EventsOfAWeek) {
  Add(kTrainer, {{"LastName", "Kay"}});
  AddEventFrom("before", DateTime{2004, 2, 26}, DateTime{2004, 2, 29});
  AddEventFrom("into", DateTime{2004, 2, 27}, DateTime{2004, 3, 1});
  AddEventFrom("all", DateTime{2004, 2, 1}, DateTime{2004, 5, 1});
  AddEventFrom("10-20", DateTime{2004, 3, 10}, DateTime{2004, 3, 20});
  AddEventFrom("day", DateTime{2004, 3, 31}, DateTime{2004, 3, 31});
  AddEventFrom("turned", DateTime{2004, 3, 23}, DateTime{2004, 3, 2});
  AddEventFrom("after", DateTime{2004, 4, 1}, DateTime{2004, 4, 2});
  AddEventFrom("open", DateTime{2004, 3, 9}, {});
  EXPECT_EQ(Outline(Get({{"Action", "P"}, {"M", "3"}, {"Y", "2004"}}).page),
            "1-7: all 1234567 into 1------ turned ------- "
            "8-14: all 1234567 open ------- 10-20 --34567 "
            "15-21: all 1234567 10-20 123456- "
            "22-28: all 1234567 turned ------- "
            "29-31: all 123 day --3");
}

// The bounds are midnights: an event that begins on a Sunday at noon does not begin within the week that ends there.
TEST_P(Calendars, TimesOfDay) {
  Add(kTrainer, {{"LastName", "Kay"}});
  AddEventFrom("noon", DateTime{2004, 3, 7, 12}, DateTime{2004, 3, 7, 17});
  AddEventFrom("on", DateTime{2004, 3, 14, 12}, DateTime{2004, 3, 16, 12});
  AddEventFrom("sunday", DateTime{2004, 3, 22, 9}, DateTime{2004, 3, 28, 9});
  AddEventFrom("end", DateTime{2004, 3, 31, 9}, DateTime{2004, 4, 2});
  EXPECT_EQ(Outline(Get({{"Action", "P"}, {"M", "3"}, {"Y", "2004"}}).page),
            "1-7: 8-14: 15-21: on 12----- 22-28: sunday -234567 29-31:");
  // The shortest time that spans the shortest month.
  AddEventFrom("just", DateTime{2003, 1, 31, 23, 59, 59}, DateTime{2003, 2, 28, 0, 0, 1});
  EXPECT_EQ(Outline(Get({{"Action", "P"}, {"M", "2"}, {"Y", "2003"}}).page),
            "1-2: just 67 3-9: just 1234567 10-16: just 1234567 17-23: just 1234567 24-28: just 12345");
}

TEST_P(Calendars, OrderAndUnknownPartners) {
  Add(kTrainer, {{"LastName", "Kay"}});
  AddEventFrom("second", DateTime{2004, 3, 2}, DateTime{2004, 3, 4});
  AddEventFrom("first", DateTime{2004, 3, 2}, DateTime{2004, 3, 3});
  AddEventFrom("third", DateTime{2004, 3, 2}, DateTime{2004, 3, 4});
  AddEventFrom("no begin", {}, DateTime{2004, 3, 4});
  Add(kSchedule, {{"TrainingID", 11}, {"TrainerID", 99}, {"BeginDate", DateTime{2004, 3, 2}}});
  Add(kSchedule, {{"TrainingID", 99}, {"TrainerID", 21}, {"BeginDate", DateTime{2004, 3, 2}}});
  EXPECT_EQ(Outline(Get({{"Action", "P"}, {"M", "3"}, {"Y", "2004"}}).page),
            "1-7: no begin ------- first -23---- second -234--- third -234--- 8-14: 15-21: 22-28: 29-31:");
}

// The events of a week, as the statement for that week alone gives them.
TEST_P(Calendars, AMonthReadAtOnceIsItsWeeksReadOneByOne) {
  Add(kTrainer, {{"LastName", "Kay"}});
  Add(kTraining, {{"TrainingName", "T"}});
  std::mt19937 random(4);
  const auto some_date = [&]() -> Value {
    const auto day = static_cast<int>(random() % 70);
    if (day == 0) return {};
    DateTime at = AddDays({2004, 2, 10}, day);
    if (random() % 2 == 0) at.hour = 12;
    return at;
  };
  {
    data::Connection db(*database);
    for (int event = 0; event < 400; ++event) {
      db.AddNew(kSchedule)
          .Set("TrainingID", std::int64_t{11})
          .Set("TrainerID", std::int64_t{21})
          .Set("BeginDate", some_date())
          .Set("EndDate", some_date())
          .Update();
    }
    db.Commit();
  }
  data::Connection db(*database);
  const std::vector<Week> weeks = WeeksOf({2004, 3});
  const MonthEvents events(db, weeks);
  std::size_t met = 0;
  for (const Week& week : weeks) {
    const data::Piece a = data::Bound(Field(week.begin));
    const data::Piece b = data::Bound(Field(week.end));
    std::string expected;
    for (const data::Row& row :
         db.Query({"Select schedule.ScheduleID as IndeksH from Schedule, Training,Trainer where (((BeginDate>=", a,
                   " and BeginDate<=", b, ") or (EndDate>=", a, " and EndDate<=", b, ") or (BeginDate < ", a,
                   " and EndDate>", b,
                   ")) and Schedule.TrainingID=training.trainingID and Schedule.TrainerID=Trainer.TrainerID ) "
                   "order by BeginDate nulls first, EndDate nulls first, Schedule.ScheduleID"})) {
      expected += row["IndeksH"].Text() + " ";
      ++met;
    }
    std::string found;
    events.ForEach(week, [&](const data::Row& event) { found += event["IndeksH"].Text() + " "; });
    EXPECT_EQ(found, expected) << week.first_day;
  }
  EXPECT_GT(met, 400U);
}

TEST_P(Calendars, TheNumberOfStatementsDoesNotGrow) {
  AddEvent();
  for (int more = 0; more < 30; ++more) {
    Add(kSchedule, {{"TrainingID", 11}, {"TrainerID", 21}, {"BeginDate", DateTime{2004, 2, 1 + more % 28}}});
  }
  Watch watch;
  data::Database watched(database.dsn(), WatchedEngine::Around(watch));
  Visitor planner(watched);
  const Answer answer = planner.Serve<Schedule>(NameValues{{"Action", "P"}, {"M", "2"}, {"Y", "2004"}}, NameValues{});
  EXPECT_EQ(answer.Count("Number of students"), 31);
  EXPECT_EQ(watch.reads, 1);
}

TEST_P(Calendars, TheFirstKnownParameterDecides) {
  AddEvent();
  EXPECT_EQ(StaffBody(Get({}).page), "");
  EXPECT_EQ(StaffBody(Get({{"Action", "p"}, {"Search", "search"}, {"Add", ""}}).page), "");
  EXPECT_EQ(Get({{"Search", "Search"}, {"Action", "P"}}).faults, Faults{FaultNumber::kStatementFailed});
  EXPECT_TRUE(visitor.session()["FirstName"].IsNull());
  EXPECT_TRUE(Get({{"Add", "1"}, {"ModSch1", "41"}, {"Action", "P"}}).Holds("Week 1-7"));
  EXPECT_TRUE(Get({{"Add", "1"}, {"ModSch1", "41"}}).Holds("Name=Update Value=41"));
  EXPECT_TRUE(Get({{"ModDown", "41"}, {"ModUp", "41"}, {"ModSch0", "41"}}).Holds("<frameset"));
  EXPECT_TRUE(Get({{"ModDown", "41"}, {"ModUp", "41"}}).Holds("name=filtr"));
  EXPECT_TRUE(Get({{"ModDown", "41"}, {"Save", "1"}}).Holds("List of PIN numbers"));
}

}  // namespace
}  // namespace surva::test
