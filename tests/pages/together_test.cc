// Many at the same moment, and what a post costs the database.
#include "tests/support/node.h"

namespace surva::test {
namespace {

class Together : public OnSite {};
SURVA_ON_BOTH_ENGINES(Together);

// A PIN that is open in two browsers: of two posts the later one wins, whole.
TEST_P(Together, TwoPostsOfOneFillingDoNotMix) {
  Browser browsers[2];
  for (Browser& each : browsers) each.Post(node, "/surva.asp", "PIN=2221");
  for (int round = 0; round < 15; ++round) {
    AtOnce(2, [&](int number) {
      const char* const answers[] = {"FormAccepted=45&321=111&322=114&324=a", "FormAccepted=45&321=112&322=115&324=b"};
      EXPECT_EQ(browsers[number].Post(node, "/surva.asp", answers[number]).status, 302U);
    });
    const std::string marks =
        Read({"select FieldValueID, TextAnswer from Mark where StudentID=201 and QuestionID<>82 order by QuestionID"});
    EXPECT_TRUE(marks == "111, -1,a 114," || marks == "112, -1,b 115,") << marks;
  }
}

// Visitors from one address, as behind a company's proxy.
TEST_P(Together, EachAnonymousVisitorHasAKeyOfHisOwn) {
  AtOnce(8, [this](int number) {
    for (int visit = 0; visit < 6; ++visit) {
      Browser one;
      one.Get(node, "/surva.asp", "version=42");
      const std::string text = std::to_string(number) + "." + std::to_string(visit);
      const std::string form = "FormAccepted=42&304=111&307=" + text + "&313=101&314=" + text;
      EXPECT_EQ(one.Post(node, "/surva.asp", form).status, 302U);
    }
  });
  EXPECT_EQ(Read({"select count(distinct StudentID), count(distinct TextAnswer) from AnonymousMark where "
                  "AnonymousMarkID>666 and FieldValueID=-1"}),
            "48,48");
  EXPECT_EQ(Read({"select count(*) from AnonymousStudent where AnonymousStudentID>608 and FillDate is null"}), "0");
}

// Designers of one surva, at two nodes. Two move a row at its beginning down and up again, two one at its end up and
// down, and none beyond either end.
TEST_P(Together, DesignersLeaveNoPlaceDoubleOrEmpty) {
  Node other(database.dsn(), ExampleSite(watch, clock));
  AtOnce(4, [&](int number) {
    static constexpr const char* kGone[] = {"301", "312", "315", "316"};
    Browser designer;
    const auto ask = [&](const std::string& query) {
      const auto answer = designer.Get(number % 2 == 0 ? node : other, "/admin/createform.asp", query);
      EXPECT_FALSE(Holds(answer, "Error occurred")) << query;
    };
    for (int round = 0; round < 10; ++round) {
      ask(number < 2 ? "SurvaVersion=41&MoveDown=302" : "SurvaVersion=41&MoveUp=311");
      ask(number < 2 ? "SurvaVersion=41&MoveUp=302" : "SurvaVersion=41&MoveDown=311");
    }
    ask(std::string("SurvaVersion=41&DeleteQuestion=1&CnfDelQuestion=") + kGone[number]);
    ask("SurvaVersion=41&AddQuestion=-1&AddQuestionStep=2&AnswerType=1");
    for (int round = 0; round < 30; ++round) ask("ChangeValid=Change&Number=" + std::to_string(41 + number));
  });
  EXPECT_EQ(Read({"select count(*), count(distinct PositionID), min(PositionID), max(PositionID) from SurvaLayout "
                  "where SurvaVersionID=41"}),
            "11,11,1,11");
  EXPECT_EQ(Read({"select count(*) from SurvaVersion where Valid<>0"}), "1");
}

TEST(PostgresTraffic, OfAnAcceptedPostDoesNotGrowWithTheForm) {
  TestDatabase database(data::Dialect::kPostgres);
  LoadFixture(*database);
  Node node(database.dsn());
  for (const char* rows : {"0", "120"}) {
    Write(*database, {"insert into SurvaLayout (SurvaVersionID, QuestionID, PositionID) select 45, 81, n from "
                      "generate_series(1, ",
                      data::Number(std::string_view(rows)), ") n"});
    for (const char* pin : {"2221", "2222"}) {
      Write(*database, {"update Participant set PIN=", data::Text(pin),
                        " where ScheduleID=53 and StudentID=", data::Number(pin[3] == '1' ? 201 : 204)});
      Browser browser;
      browser.Post(node, "/surva.asp", std::string("PIN=") + pin);
      const std::uint64_t statements = node.database.traffic().statements;
      const std::uint64_t round_trips = node.database.traffic().round_trips;
      EXPECT_EQ(browser.Post(node, "/surva.asp", "FormAccepted=45").status, 302U);
      EXPECT_LE(node.database.traffic().statements - statements, 12U) << rows;
      EXPECT_LE(node.database.traffic().round_trips - round_trips, 6U) << rows;
    }
  }
}

}  // namespace
}  // namespace surva::test
