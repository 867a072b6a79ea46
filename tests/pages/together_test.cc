// Many at the same moment, and what a post costs the database.
#include "filling/fill_form.h"
#include "tests/support/fixture.h"

namespace surva::test {
namespace {

class Together : public OnFixture {};
SURVA_ON_BOTH_ENGINES(Together);

// A PIN that is open in two browsers: of two posts the later one wins, whole.
TEST_P(Together, TwoPostsOfOneFillingDoNotMix) {
  Visitor browsers[2] = {Visitor(*database), Visitor(*database)};
  for (Visitor& browser : browsers) browser.Serve<FillForm>({}, {{"PIN", "2221"}});
  for (int round = 0; round < 15; ++round) {
    AtOnce(2, [&](int number) {
      const NameValues answers[2] = {{{"FormAccepted", "45"}, {"321", "111"}, {"322", "114"}, {"324", "a"}},
                                     {{"FormAccepted", "45"}, {"321", "112"}, {"322", "115"}, {"324", "b"}}};
      EXPECT_TRUE(browsers[number].Serve<FillForm>({}, answers[number]).redirect);
    });
    const std::string marks = Read(*database, {"select FieldValueID, TextAnswer from Mark where StudentID=201 and "
                                               "QuestionID<>82 order by QuestionID"});
    EXPECT_TRUE(marks == "111, -1,a 114," || marks == "112, -1,b 115,") << marks;
  }
}

// Visitors from one address, as behind a company's proxy.
TEST_P(Together, EachAnonymousVisitorHasAKeyOfHisOwn) {
  AtOnce(8, [this](int number) {
    for (int visit = 0; visit < 6; ++visit) {
      Visitor one(*database);
      one.Serve<FillForm>({{"version", "42"}}, {});
      const std::string text = std::to_string(number) + "." + std::to_string(visit);
      EXPECT_TRUE(one.Serve<FillForm>(
                         {}, {{"FormAccepted", "42"}, {"304", "111"}, {"307", text}, {"313", "101"}, {"314", text}})
                      .redirect);
    }
  });
  EXPECT_EQ(Read(*database, {"select count(distinct StudentID), count(distinct TextAnswer) from AnonymousMark where "
                             "AnonymousMarkID>666 and FieldValueID=-1"}),
            "48,48");
  EXPECT_EQ(
      Read(*database, {"select count(*) from AnonymousStudent where AnonymousStudentID>608 and FillDate is null"}),
      "0");
}

// As the host runs a request: held by the visitor, his session read first and saved with the commit.
TEST(PostgresTraffic, OfAnAcceptedPostDoesNotGrowWithTheForm) {
  TestDatabase database(data::Dialect::kPostgres);
  LoadFixture(*database);
  Visitor visitor(*database);
  StillClock clock;
  for (const char* rows : {"0", "120"}) {
    Write(*database, {"insert into SurvaLayout (SurvaVersionID, QuestionID, PositionID) select 45, 81, n from "
                      "generate_series(1, ",
                      data::Number(std::string_view(rows)), ") n"});
    for (const char* pin : {"2221", "2222"}) {
      Write(*database, {"update Participant set PIN=", data::Text(pin), " where ScheduleID=53 and StudentID=",
                        data::Number(std::string_view(*(pin + 3) == '1' ? "201" : "204"))});
      visitor.Serve<FillForm>({}, {{"PIN", pin}});
      const std::uint64_t statements = database->traffic().statements;
      const std::uint64_t round_trips = database->traffic().round_trips;
      const Request request({}, {{"FormAccepted", "45"}}, visitor.variables);
      Response response;
      data::Connection db(*database);
      db.SetAuthor({"a visitor", "post /surva.asp"});
      db.Hold("visitor");
      db.Query({"select Contents from VisitorSession where SessionKey='none'"});
      PageContext context{request, response, visitor.session(), db, visitor.owner, clock, [](const Fault& fault) {
                            ADD_FAILURE() << fault.what();
                          }};
      visitor.session().Provide("DSN", database->dsn());
      FillForm(context).Serve();
      db.ExecuteAtCommit({"delete from VisitorSession where SessionKey='none'"});
      db.Commit();
      EXPECT_TRUE(response.redirect());
      EXPECT_LE(database->traffic().statements - statements, 12U) << rows;
      EXPECT_LE(database->traffic().round_trips - round_trips, 6U) << rows;
    }
  }
}

}  // namespace
}  // namespace surva::test
