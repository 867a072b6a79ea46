// The general view and the week view.
#include "tests/reporting/analyst.h"
#include "tests/support/watched_engine.h"

namespace surva::test {
namespace {

using namespace data::tables;

class PeriodStatistics : public Analyst {
 protected:
  // The page from the month's line on; the picker above it is the calendar's own.
  static std::string BelowPicker(const std::string& page) {
    const std::string body = StaffBody(page);
    return body.substr(body.find("</table>") + 8);
  }
};
SURVA_ON_BOTH_ENGINES(PeriodStatistics);

std::string General(const std::string& month_line, const std::string& month, const std::string& weeks) {
  std::string page = "<br>Total number of students starting trainings this month / number of filled forms:&nbsp;<b>" +
                     month_line +
                     "<b>."
                     "<Form Action=stat.asp method=post><Input Type=Hidden Name=Action Value=P>"
                     "<TABLE BORDER=0 cellspacing=0 cellpadding=2 width=100%>";
  // Each week as DAYS:TRAININGS:STUDENTS and a blank.
  for (std::size_t at = 0; at < weeks.size(); at = weeks.find(' ', at) + 1) {
    const std::size_t first = weeks.find(':', at);
    const std::size_t second = weeks.find(':', first + 1);
    const std::size_t end = weeks.find(' ', second);
    page += "<tr><th align=left><font color=navy><A style=\"color:#003399\" href=stat.asp?BrowseWeek=1&M=" + month +
            ">Week</A> " + weeks.substr(at, first - at) +
            "</font></th></tr>"
            "<tr><td bgcolor=#6699FF size=1></td></tr><tr><td bgcolor=#6699FF size=1></td></tr>"
            "<TR><TD>Number of trainings:&nbsp;<b>" +
            weeks.substr(first + 1, second - first - 1) + "</b>&nbsp;&nbsp;Number of students:&nbsp;<b>" +
            weeks.substr(second + 1, end - second - 1) + "</b></TD></TR>";
  }
  return page + "</table><BR><BR>";
}

TEST_P(PeriodStatistics, MonthsByWeeks) {
  AddEvents();
  // Over three weeks of February and March; one of no known trainer; one that ends before it begins.
  AddEvent(41, 31, 51, DateTime{2004, 2, 19}, DateTime{2004, 3, 2}, Value());
  AddEvent(41, 99, 51, DateTime{2004, 3, 9}, DateTime{2004, 3, 9}, Value());
  AddEvent(41, 31, 51, DateTime{2004, 3, 24}, DateTime{2004, 3, 12}, Value());
  AddEvent(41, 31, 51, Value(), DateTime{2004, 3, 17}, Value());
  for (const int event : {64, 64, 65, 66, 66, 66, 67}) Add(kParticipant, {{"ScheduleID", event}, {"PIN", "1"}});
  struct Case {
    const char* year;
    const char* month;
    std::string month_line;
    std::string weeks;
  };
  for (const Case& one :
       std::initializer_list<Case>{{"2004", "3", "10/4", "1-7:2:5 8-14:2:6 15-21:1:1 22-28:1:3 29-31:1:1 "},
                                   {"2004", "2", "2/0", "1-1:0:0 2-8:0:0 9-15:0:0 16-22:1:2 23-29:1:2 "},
                                   {"2004", "4", "0/0", "1-4:1:1 5-11:0:0 12-18:0:0 19-25:0:0 26-30:0:0 "},
                                   {"4", "3", "0/0", "1-7:2:5 8-14:2:6 15-21:1:1 22-28:1:3 29-31:1:1 "},
                                   {"1999", "12", "0/0", "1-5:0:0 6-12:0:0 13-19:0:0 20-26:0:0 27-31:0:0 "}}) {
    const Answer answer = GetStat({{"Y", one.year}, {"M", one.month}, {"Action", "P"}});
    EXPECT_EQ(BelowPicker(answer.page), General(one.month_line, std::string(one.month) + "&Y=" + one.year, one.weeks));
    EXPECT_TRUE(answer.Holds("<a href=stat.asp?Action=P&M=12&Y" + std::string(one.year) + " style"));
    EXPECT_TRUE(answer.Holds("<a href=stat.asp?Action=P&M=" + std::string(one.month) + "&Y=2001 style"));
    const Answer browse = GetBrowse({{"Y", one.year}, {"M", one.month}, {"BrowseWeek", "1"}, {"PreviewForm", "2"}});
    EXPECT_EQ(StaffBody(browse.page), StaffBody(answer.page)) << "but in its own frame";
    EXPECT_TRUE(browse.Holds("<A HREF=browse.asp?Stats=1&ScheduleID=>"));
  }
}

TEST_P(PeriodStatistics, WeekView) {
  AddEvents();
  const Answer answer = GetStat({{"BrowseWeek", "1"}, {"Y", "2004"}, {"M", "3"}});
  const std::string page = BelowPicker(answer.page);
  EXPECT_TRUE(
      page.starts_with("<Form Action=stat.asp method=post><Input Type=Hidden Name=Action Value=P>"
                       "<TABLE BORDER=0 cellspacing=0 cellpadding=2 width=100%><tr><td>"
                       "<tr><td>&nbsp;</td></tr><tr><th align=left><font color=navy>Week 1-7</font></th></tr>"
                       "<tr><td bgcolor=#6699FF size=1></td></tr>"
                       "<tr><td><table cellspacing=0 cellpadding=2 width=100%>"
                       "<tr bgcolor=#FFFFEE><td colspan=10><a href=browse.asp?BrowseForms=1&ScheduleID=61 style="
                       "\"font-family: Tahoma; font-size: 8pt; color:black\">C++ <20></a></td></tr>"
                       "<tr style=\"font-family: Tahoma; font-size: 8pt; color:black\">"
                       "<td bgcolor=#FFFF99>1</td><td bgcolor=#FFFF99>2</td><td bgcolor=#FFFF99>3</td>"
                       "<td bgcolor=#FFFF99>4</td><td bgcolor=#FFFF99>5</td><td bgcolor=#FFFFEE>6</td>"
                       "<td bgcolor=#FFFFEE>7</td><td>Trainer:&nbsp;Ann&nbsp;Kay&nbsp;&nbsp;Place:&nbsp;Hall A"
                       "&nbsp;&nbsp;Number of students / filled forms: <b>3/2</b></td></tr>"
                       "<tr><td bgcolor=#6699FF size=1 colspan=10></td></tr>"
                       "<tr><td size=1 colspan=10></td></tr></table></td></tr>"
                       "<tr><td>&nbsp;</td></tr>"))
      << page;
  EXPECT_TRUE(page.ends_with("</table></td></tr></td></tr></table>"));
  EXPECT_TRUE(answer.Holds("<a href=stat.asp?BrowseWeek=1&Action=P&M=3&Y=2005 style"));
}

TEST_P(PeriodStatistics, BadMonths) {
  using enum FaultNumber;
  for (const auto& [name, value, fault] : {std::tuple("Y", "abc", kTypeMismatch),
                                           {"M", "x", kTypeMismatch},
                                           {"M", "13", kInvalidArgument},
                                           {"M", "0", kInvalidArgument},
                                           {"Y", "40000", kOverflow},
                                           {"Y", "10000", kTypeMismatch}}) {
    for (const char* view : {"", "1"}) {
      const Answer answer = GetStat({{name, value}, {"BrowseWeek", view}});
      EXPECT_EQ(answer.faults, Faults{fault}) << name << "=" << value;
      EXPECT_EQ(answer.Count("Error occurred"), 1);
      EXPECT_TRUE(answer.Holds("<A HREF=stat.asp?Remarks=1>Remarks</A>"));
    }
  }
  visitor.clock.now = {2003, 2, 28, 12, 0, 0};
  EXPECT_TRUE(PostStat({{"Y", "abc"}, {"M", "13"}, {"Action", "P"}}).Holds("?BrowseWeek=1&M=2&Y=2003>"))
      << "posted ones do not count";
}

// However many weeks and events a month has.
TEST_P(PeriodStatistics, ConstantNumberOfStatements) {
  AddEvents();
  Watch watch;
  data::Database watched(database.dsn(), WatchedEngine::Around(watch));
  Visitor other{watched};
  const auto statements = [&](const NameValues& query) {
    watch.Reset();
    other.Serve<Stat>(query, {});
    return watch.reads.load();
  };
  const int general = statements({{"Y", "1999"}, {"M", "2"}});
  const int week = statements({{"Y", "1999"}, {"M", "2"}, {"BrowseWeek", "1"}});
  for (int day = 1; day <= 30; ++day) AddEvent(41, 31, 51, DateTime{2005, 5, day}, DateTime{2005, 5, 30}, "Hall A");
  EXPECT_EQ(statements({{"Y", "2005"}, {"M", "5"}}), general);
  EXPECT_EQ(statements({{"Y", "2005"}, {"M", "5"}, {"BrowseWeek", "1"}}), week);
  EXPECT_EQ(watch.writes, 0);
}

TEST_P(PeriodStatistics, FirstTestWins) {
  const std::string remarks = "<form Action=stat.asp Method=POST>";
  const std::string named = "Name=ReadCriteria Value=1>";
  const std::string anonymous = "Name=ReadCriteriaA Value=1>";
  const std::string week = "Action=P&M=1&Y2004 style";
  for (const auto& [query, shown] : std::initializer_list<std::pair<NameValues, std::string>>{
           {{{"BrowseWeek", "1"}, {"Remarks", "no"}, {"Criteria", "1"}}, remarks},
           {{{"CRITERIAA", "1"}, {"criteria", "0"}, {"Remarks", ""}}, named},
           {{{"BrowseWeek", "1"}, {"CriteriaA", "1"}}, anonymous},
           {{{"BrowseWeek", "1"}, {"EraseMessage", "1"}}, "stat.asp?BrowseWeek=1&" + week},
           {{{"EraseMessage", "1"}}, remarks},
           {{{"Stats", "1"}}, "stat.asp?" + week}}) {
    const Answer answer = GetStat(query);
    EXPECT_TRUE(answer.Holds(shown)) << shown;
    EXPECT_TRUE(answer.faults.empty());
  }
}

}  // namespace
}  // namespace surva::test
