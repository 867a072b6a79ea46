// What stands behind figures and calendars: averages, the events of a month.
#include <random>

#include "reporting/average.h"
#include "scheduling/week_walk.h"
#include "tests/support/fixture.h"
#include "tests/support/recorded.h"

namespace surva::test {
namespace {

TEST(Averages, Cases) {
  // Answers with how often each was given, as "1*2|4*3".
  const auto average = [](const std::string& answers) {
    Average sum;
    for (std::size_t at = 0; at < answers.size();) {
      const std::size_t end = std::min(answers.find('|', at), answers.size());
      const std::size_t star = answers.rfind('*', end);
      sum.Add(answers.substr(at, star - at), std::stoi(answers.substr(star + 1)));
      at = end + 1;
    }
    const std::optional<double> shown = sum.Rounded();
    return shown ? Value(*shown).Text() : "none";
  };
  PlayCases("tests/pages/figures.cases", {.each = {{"average", average}}});
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
