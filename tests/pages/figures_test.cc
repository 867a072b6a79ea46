// What stands behind figures and calendars: averages, the weeks of a month, the periods around a day.
#include <random>

#include "reporting/average.h"
#include "reporting/period.h"
#include "scheduling/week_walk.h"
#include "tests/support/fixture.h"

namespace surva::test {
namespace {

TEST(Averages, OfNumbersAlone) {
  struct Case {
    std::vector<std::pair<const char*, int>> answers;
    std::optional<double> shown;
  };
  for (const Case& one : std::initializer_list<Case>{{{{"1", 2}, {"4", 3}}, 2.8},
                                                     {{{"1", 1}, {"2", 1}, {"3", 2}}, 2.2},  // 2.25
                                                     {{{"2", 1}, {"3", 3}}, 2.8},            // 2.75
                                                     {{{"-1", 3}, {"0", 1}}, -0.8},          // -0.75
                                                     {{{"-0.01", 1}}, 0},
                                                     {{{"2.5", 1}, {"1,000", 1}, {" 3 ", 1}, {"1e1", 1}}, 253.9},
                                                     {{{"+2", 1}, {".5", 1}}, 1.2},  // 1.25
                                                     {{{"1", 1}, {"two", 1}, {"2", 1}}, {}},
                                                     {{{"$3", 1}, {"1.", 1}}, {}},
                                                     {{{" ", 1}, {"1", 1}}, {}},
                                                     {{}, {}}}) {
    Average average;
    for (const auto& [answer, times] : one.answers) average.Add(answer, times);
    EXPECT_EQ(average.Rounded(), one.shown) << (one.answers.empty() ? "none" : one.answers[0].first);
  }
  Average beyond;
  beyond.Add("1e308", 1);
  EXPECT_THROW(beyond.Rounded(), Fault);
}

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

TEST(Weeks, OfMonths) {
  const std::pair<PickedMonth, const char*> cases[] = {
      {{2004, 2}, "1-1 2-8 9-15 16-22 23-29"},        // begins on a Sunday, in a leap year
      {{1999, 2}, "1-7 8-14 15-21 22-28"},            // four weeks to the day
      {{2000, 12}, "1-3 4-10 11-17 18-24 25-31"},     // the next month is of another year
      {{2005, 5}, "1-1 2-8 9-15 16-22 23-29 30-31"},  // six weeks
      {{1900, 2}, "1-4 5-11 12-18 19-25 26-28"},      // no leap year
      {{4, 2}, "1-1 2-8 9-15 16-22 23-29"},           // 2004
      {{29, 12}, ""},                                 // its next month begins in 1930
      {{9999, 11}, "1-7 8-14 15-21 22-28 29-30"}};
  for (const auto& [month, expected] : cases) {
    std::string weeks;
    for (const Week& week : WeeksOf(month)) {
      weeks += (weeks.empty() ? "" : " ") + std::to_string(week.begin.day) + "-" + std::to_string(week.end.day);
    }
    EXPECT_EQ(weeks, expected) << month.year << "/" << month.month;
  }
  for (const PickedMonth& none : {PickedMonth{2004, 0}, {2004, 13}, {2004, -1}, {-5, 1}, {10000, 1}, {9999, 12}}) {
    EXPECT_THROW(WeeksOf(none), Fault) << none.year << "/" << none.month;
  }
}

class Calendars : public OnFixture {};
SURVA_ON_BOTH_ENGINES(Calendars);

TEST_P(Calendars, AMonthReadAtOnceIsItsWeeksReadOneByOne) {
  std::mt19937 random(4);
  const auto some_date = [&]() -> Value {
    const auto day = static_cast<int>(random() % 70);
    if (day == 0) return {};
    DateTime at = AddDays({2004, 2, 10}, day);
    if (random() % 2 == 0) at.hour = 12;
    return at;
  };
  data::Connection db(*database);
  for (int event = 0; event < 400; ++event) {
    db.AddNew(data::tables::kSchedule).Set("BeginDate", some_date()).Set("EndDate", some_date()).Update();
  }
  db.Commit();
  for (const PickedMonth& month : {PickedMonth{2003, 2}, {2004, 2}, {2004, 3}}) {
    const std::vector<Week> weeks = WeeksOf(month);
    // Just longer than the month's days.
    DateTime begin = AddDays(weeks.front().begin, -1);
    begin.hour = 23;
    DateTime end = weeks.back().end;
    end.hour = 1;
    db.AddNew(data::tables::kSchedule).Set("BeginDate", begin).Set("EndDate", end).Update();
    const MonthEvents events(db, weeks);
    for (const Week& week : weeks) {
      const data::Piece a = data::Bound(Field(week.begin));
      const data::Piece b = data::Bound(Field(week.end));
      std::string expected;
      for (const data::Row& row :
           db.Query({"Select ScheduleID from Schedule where (BeginDate>=", a, " and BeginDate<=", b,
                     ") or (EndDate>=", a, " and EndDate<=", b, ") or (BeginDate < ", a, " and EndDate>", b,
                     ") order by BeginDate nulls first, EndDate nulls first, ScheduleID"})) {
        expected += row["ScheduleID"].Text() + " ";
      }
      std::string found;
      events.ForEach(week, [&](const data::Row& event) { found += event["IndeksH"].Text() + " "; });
      EXPECT_EQ(found, expected) << month.year << "/" << month.month << ", " << week.first_day;
      EXPECT_FALSE(found.empty());
    }
  }
}

}  // namespace
}  // namespace surva::test
