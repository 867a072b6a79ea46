// The demo data, on both engines: a database whose rows agree with each other and with the summary.
#include "demo/demo.h"

#include <gtest/gtest.h>

#include "frame/data/connection.h"
#include "frame/data/schema.h"
#include "frame/values/text.h"
#include "tests/support/recorded.h"
#include "tests/support/test_database.h"

namespace surva::test {
namespace {

class DemoTest : public OnBothEngines {};
SURVA_ON_BOTH_ENGINES(DemoTest);

// The same rows for the same day, which agree with each other. A letter that a browser cannot post as it is could not
// be searched for.
TEST_P(DemoTest, Cases) {
  TestDatabase database(GetParam());
  const demo::Summary summary = demo::Fill(*database, StillClock());
  data::Connection db(*database);
  std::string told;
  for (const demo::Summary::OpenPin& open : summary.pins) {
    told +=
        "PIN: " + open.student + ", " + open.training + ", " + open.surva + ", " + Field(open.begin_date).Text() + "\n";
  }
  for (const data::Table* table : data::AllTables()) {
    const data::Rows rows = db.Query({"select * from ", data::Name(*table), " order by 1"});
    std::string all;
    for (const data::Row& row : rows) {
      for (std::size_t i = 0; i < table->columns.size(); ++i) all += row[i].Text() + "|";
    }
    EXPECT_EQ(FromWindows1252(ToWindows1252(all)), all);
    told += std::string(table->name) + ": " + std::to_string(rows.size()) + " rows, digest " +
            std::to_string(std::hash<std::string>{}(all)) + "\n";
  }
  ExpectFile("tests/demo/rows.txt", told);

  // Rows that there must be none of.
  const data::Piece kOdd[] = {
      "(select 1 from Participant group by ScheduleID, StudentID having count(*)>1) as Twice",
      "Participant where (PIN='') <> (FillDate is not null)",
      "Participant, Schedule where Participant.ScheduleID=Schedule.ScheduleID and FillDate<EndDate",
      // Answers belong to a filled form that has the question.
      "Mark where not exists (select 1 from Participant, Schedule, SurvaLayout where "
      "Participant.StudentID=Mark.StudentID and Participant.ScheduleID=Mark.ScheduleID and PIN='' and "
      "Schedule.ScheduleID=Mark.ScheduleID and SurvaLayout.SurvaVersionID=Schedule.SurvaVersionID and "
      "SurvaLayout.QuestionID=Mark.QuestionID)",
      // A choice is one of its question's.
      "Mark where FieldValueID<>-1 and not exists (select 1 from FieldValue where "
      "FieldValue.FieldValueID=Mark.FieldValueID and FieldValue.QuestionID=Mark.QuestionID)",
      // A filled form has all required answers.
      "Participant, Schedule, SurvaLayout, Question where Participant.ScheduleID=Schedule.ScheduleID and PIN='' and "
      "SurvaLayout.SurvaVersionID=Schedule.SurvaVersionID and SurvaLayout.QuestionID=Question.QuestionID and "
      "Required=-1 and not exists (select 1 from Mark where Mark.StudentID=Participant.StudentID and "
      "Mark.ScheduleID=Participant.ScheduleID and Mark.QuestionID=Question.QuestionID and (FieldValueID>0 or "
      "TextAnswer<>''))",
      "AnonymousMark where not exists (select 1 from AnonymousStudent where "
      "AnonymousStudentID=AnonymousMark.StudentID and FillDate is not null)"};
  for (const data::Piece& odd : kOdd) EXPECT_EQ(Read(db, {"select count(*) from ", odd}), "0") << &odd - kOdd;
}

// Every day of a week, and days on which a month and a year are young.
TEST(DemoDays, EveryDayHasOpenPinsOfBothSurvasForEventsThatHaveBegun) {
  StillClock clock;
  for (const DateTime day : {DateTime{2004, 3, 1}, DateTime{2004, 3, 2}, DateTime{2004, 3, 3}, DateTime{2004, 3, 4},
                             DateTime{2004, 3, 5}, DateTime{2004, 3, 6}, DateTime{2004, 3, 7}, DateTime{2005, 1, 1}}) {
    TestDatabase database(data::Dialect::kSqlite);
    clock.now = day;
    const demo::Summary summary = demo::Fill(*database, clock);
    ASSERT_EQ(summary.pins.size(), 4U);
    EXPECT_EQ(summary.pins[0].surva, summary.pins[1].surva);
    EXPECT_EQ(summary.pins[2].surva, summary.pins[3].surva);
    EXPECT_NE(summary.pins[0].surva, summary.pins[2].surva);
    for (const demo::Summary::OpenPin& open : summary.pins) {
      EXPECT_LE(open.begin_date, day);
      EXPECT_LT(DaysBetween(open.begin_date, day), 7);
    }
    EXPECT_EQ(summary.links.size(), 1U);
    EXPECT_EQ(Read(*database, {"select count(*) from Participant where FillDate>=", data::Bound(day)}), "0");
  }
}

}  // namespace
}  // namespace surva::test
