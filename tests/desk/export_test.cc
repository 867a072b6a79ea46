#include <future>

#include "desk/table_file.h"
#include "tests/desk/desk.h"
#include "wire/body_stream.h"

namespace surva::desk {
namespace {

using namespace data::tables;

// All that a streamed body says; `whole` tells whether it came to its end.
std::string Drain(const wire::HttpResponse& answer, bool& whole) {
  std::string all;
  for (;;) {
    std::promise<void> more;
    std::string piece;
    const auto state = answer.stream->Take(piece, [&more] { more.set_value(); });
    all += piece;
    if (state != wire::BodySource::State::kGoesOn) {
      whole = state == wire::BodySource::State::kFinished;
      return all;
    }
    if (piece.empty()) more.get_future().wait();
  }
}

class Exports : public Desk {
 protected:
  Exports() {
    const auto surva = seed.Surva(
        {.rows = {{.role = test::kMain, .control = test::kBoxes, .content = "=Liked", .choices = {"Tea", "+Cake"}},
                  {.role = test::kMain, .control = test::kRadio, .content = "Good?", .choices = {"1", "2"}},
                  {.role = test::kMain, .control = test::kText, .content = "Words"}}});
    seed.Participant(surva, "");
    Write({"update Schedule set TrainingID=1, BeginDate='2004-02-09 00:00:00', EndDate='2004-02-10 00:00:00', "
           "Place='Hall, ''A''' where ScheduleID=7"});
    Write({"update Student set FirstName='=1+1', LastName='Nov&#225;k &#324;' where StudentID=5"});
    for (int choice : {21, 22}) {
      Add(kMark, {{"StudentID", 5}, {"ScheduleID", 7}, {"QuestionID", 11}, {"FieldValueID", choice}});
    }
    Add(kMark, {{"StudentID", 5}, {"ScheduleID", 7}, {"QuestionID", 12}, {"FieldValueID", 24}});
    Add(kMark, {{"StudentID", 5},
                {"ScheduleID", 7},
                {"QuestionID", 13},
                {"FieldValueID", -1},
                {"TextAnswer", "@SUM(A1)\r\n\"so\";\"=2\"\r\n\r\n-3 +4"}});
  }
  std::string Table(const NameValues& query) {
    bool whole = false;
    const std::string table = Drain(Get(ShowExport, query), whole);
    EXPECT_TRUE(whole);
    return table;
  }
};
SURVA_ON_BOTH_ENGINES(Exports);

TEST_P(Exports, GiveFormsThatNoSpreadsheetRuns) {
  EXPECT_EQ(Table({{"what", "forms"}}),
            "\xef\xbb\xbf"
            "Event,Begins,Ends,Place,Training,Training ID,Trainer,Surva,First name,Last name,Company,Filled,"
            "'=Liked,Good?,Words\r\n"
            "7,2004-02-09 00:00:00,2004-02-10 00:00:00,\"Hall, 'A'\",,,,Course evaluation,'=1+1,\"Nov&#225;k \u0144\","
            "Ames & Sons,,\"Tea; +Cake\",2,\"'@SUM(A1)\r\n\"\"so\"\";\"\"'=2\"\"\r\n\r\n'-3 +4\"\r\n");
  const std::string split =
      Table({{"what", "forms"}, {"boxes", "split"}, {"as", "csv1252"}, {"separator", "semicolon"}});
  EXPECT_NE(split.find(";'=Liked - Tea;'=Liked - +Cake;Good?"), std::string::npos) << split;
  EXPECT_NE(split.find("&#324;\";Ames & Sons;;1;1;2;"), std::string::npos) << split;
  EXPECT_TRUE(split.starts_with("Event;"));
}

TEST_P(Exports, TakeTheirCriteria) {
  const auto rows = [this](const NameValues& more) {
    NameValues query = {{"what", "participants"}};
    query.insert(query.end(), more.begin(), more.end());
    const std::string table = Table(query);
    return std::count(table.begin(), table.end(), '\n') - 1;
  };
  Add(kParticipant, {{"ScheduleID", 7}, {"StudentID", 99}, {"PIN", "1"}});
  EXPECT_EQ(rows({}), 2);
  EXPECT_EQ(rows({{"event", "7"}, {"from", "2004-02-09"}, {"to", "2004-02-10"}, {"place", "HALL, 'a'"}}), 2);
  EXPECT_EQ(rows({{"company", "2"}}), 1);
  EXPECT_EQ(rows({{"student", "99"}}), 1);
  for (const NameValues& none : {NameValues{{"event", "8"}},
                                 {{"from", "2004-02-10"}},
                                 {{"to", "2004-02-09"}},
                                 {{"trainer", "5"}},
                                 {{"place", "Hall"}}}) {
    EXPECT_EQ(rows(none), 0);
  }
  for (const NameValues& wrong : {NameValues{{"event", "7x"}}, {{"to", "tomorrow"}}, {{"what", "passwords"}}}) {
    NameValues query = wrong;
    query.emplace_back("what", "participants");
    EXPECT_GE(Get(ShowExport, query).status, 400U);
  }
  person.role = guard::Role::kAnalyst;
  EXPECT_EQ(Get(ShowExport, {{"what", "students"}}).status, 403U);
  person.role = guard::Role::kPlanner;
  EXPECT_EQ(Get(ShowExport, {{"what", "forms"}}).status, 403U);
}

TEST_P(Exports, EndWhenTheVisitorGoes) {
  auto answer = std::make_unique<wire::HttpResponse>(Get(ShowExport, {{"what", "students"}, {"as", "xlsx"}}));
  answer.reset();
  EXPECT_TRUE(Table({{"what", "students"}}).find("Nov&#225;k") != std::string::npos);
  wire::BodyWriter writer;
  const auto file =
      TableFile::Make(TableFormat::kXlsx, ',', [&](std::string_view bytes) { return writer.Write(bytes); });
  const Value cell(1);
  const auto write = [&] {
    for (int row = 0; row < 1000; ++row) file->Row({&cell, 1});
  };
  write();
  writer.source().reset();
  EXPECT_THROW(write(), TableFile::NobodyReads);
}

}  // namespace
}  // namespace surva::desk
