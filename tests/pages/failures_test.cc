// What no road can bring about: writes that fail, a database that is another one, keys beyond what pages can hold, a
// clock that goes on.
#include "design/create_form.h"
#include "filling/fill_form.h"
#include "reporting/start_page.h"
#include "scheduling/schedule.h"
#include "tests/support/fixture.h"

namespace surva::test {
namespace {

using Faults = std::vector<FaultNumber>;

class Failures : public OnFixture {
 protected:
  std::string Read(std::initializer_list<data::Piece> select) { return test::Read(*database, select); }
};
SURVA_ON_BOTH_ENGINES(Failures);

TEST_P(Failures, HalfAFormStandsAndTheNextPostMakesItGood) {
  const NameValues answers{{"FormAccepted", "41"}, {"302", "102"}, {"303", "104"}, {"309", "a"}, {"312V109", "109"}};
  const auto marks = [this] {
    return Read({"select QuestionID, FieldValueID from Mark where StudentID=201 order by MarkID"});
  };
  visitor.Serve<FillForm>({}, {{"PIN", "1111"}});
  watch.fail_write = 4;  // the delete, two answers, then this one
  const Answer answer = visitor.Serve<FillForm>({}, answers);
  EXPECT_EQ(answer.faults, Faults{FaultNumber::kValueRefused});
  EXPECT_FALSE(answer.Holds("<form"));
  EXPECT_EQ(marks(), "72,102 73,104");
  EXPECT_TRUE(visitor.Serve<FillForm>({}, answers).redirect);
  EXPECT_EQ(marks(), "72,102 73,104 77,-1 79,109 80,- 83,-");
}

TEST_P(Failures, TheDefaultChangesWhollyOrNotAtAll) {
  for (const int nth : {1, 2}) {
    watch.fail_write = nth;
    EXPECT_EQ(visitor.Serve<CreateForm>({}, {{"ChangeValid", "Change"}, {"Number", "41"}}).faults,
              Faults{FaultNumber::kValueRefused});
    EXPECT_EQ(Read({"select SurvaVersionID from SurvaVersion where Valid<>0"}), "45") << nth;
  }
}

TEST_P(Failures, KeysBeyond16BitsFailAfterTheirRowsAreWritten) {
  Write(*database, {"insert into SurvaVersion (SurvaVersionID, SurvaName) values (32768, 'Far away')"});
  if (GetParam() == data::Dialect::kPostgres) {
    Read({"select setval(pg_get_serial_sequence('survaversion', 'survaversionid'), 32768)"});
  }
  const Faults overflow{FaultNumber::kOverflow};
  EXPECT_EQ(visitor.Serve<CreateForm>({{"CreateEmptySurva", "1"}}, {}).faults, overflow);
  EXPECT_EQ(visitor.Serve<CreateForm>({}, {{"CreateNewSurva2", "Next"}, {"SurvaVersionID", "42"}}).faults, overflow);
  EXPECT_EQ(Read({"select SurvaName from SurvaVersion where SurvaVersionID>32768 order by SurvaVersionID"}),
            "Empty Surva Copy of: Open day");
  EXPECT_EQ(Read({"select count(*) from SurvaLayout where SurvaVersionID>32768"}), "4");
}

TEST_P(Failures, ADatabaseOfAnotherName) {
  visitor.dsn = "";
  const Answer answer = visitor.Serve<StartPage>({}, {});
  EXPECT_EQ(answer.faults, Faults{FaultNumber::kConnectionFailed});
  EXPECT_EQ(answer.Count("Data source name not found."), 1);
}

TEST_P(Failures, PinsAreMadeOfTwoLooksAtTheClock) {
  struct TickingClock final : Clock {
    DateTime Now() const override { return {2004, 3, 1, 10, 20, 29 + ++looks}; }
    mutable int looks = 0;
  } clock;
  const Request request({}, {{"ModDown", "59"}, {"StudentID", "201"}, {"Choose", "Choose"}, {"ScheduleID", "2"}}, {});
  Response response;
  Session session;
  session.Provide("DSN", database.dsn());
  data::Connection connection(*database);
  PageContext context{request, response, session, connection, visitor.owner, clock, {}};
  Schedule(context).Serve();
  connection.Commit();
  EXPECT_EQ(Read({"select PIN from Participant where ScheduleID=59"}), "32062201") << "30*10+20, 31*2, the student";
}

}  // namespace
}  // namespace surva::test
