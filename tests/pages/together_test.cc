// Many at the same moment, and what a post costs the database.
#include <thread>
#include <vector>

#include "filling/fill_form.h"
#include "tests/support/page_harness.h"
#include "tests/support/seed.h"
#include "tests/support/test_database.h"

namespace surva::test {
namespace {

class Together : public OnBothEngines {
 protected:
  std::string Read(std::initializer_list<data::Piece> select) { return test::Read(*database, select); }

  TestDatabase database{GetParam()};
  Seed seed{*database};
};
SURVA_ON_BOTH_ENGINES(Together);

// A PIN that is open in two browsers: of two posts the later one wins, whole.
TEST_P(Together, TwoPostsOfOneFillingDoNotMix) {
  SurvaSeed surva;
  for (int i = 0; i < 8; ++i) surva.rows.push_back({kMain, kText, "Well?", true, {}, 40, 5});
  seed.Participant(seed.Surva(surva), "4321");
  Visitor one(*database);
  Visitor other(*database);
  for (Visitor* browser : {&one, &other}) browser->Serve<FillForm>({}, {{"PIN", "4321"}});
  const auto post = [&](Visitor& browser, const char* text) {
    NameValues answers{{"FormAccepted", "3"}};
    for (int control = 31; control < 39; ++control) answers.emplace_back(std::to_string(control), text);
    EXPECT_TRUE(browser.Serve<FillForm>({}, answers).redirect);
  };
  for (int round = 0; round < 15; ++round) {
    {
      const std::jthread first([&] { post(one, "a"); });
      const std::jthread second([&] { post(other, "b"); });
    }
    EXPECT_EQ(Read({"select count(*), count(distinct TextAnswer) from Mark"}), "8,1");
  }
}

// Visitors from one address, as behind a company's proxy.
TEST_P(Together, EachAnonymousVisitorHasAKeyOfHisOwn) {
  seed.Surva({.authorisation = false, .rows = {{kMain, kText, "Well?", true, {}, 40, 5}}});
  constexpr int kVisitors = 8;
  constexpr int kVisits = 6;
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < kVisitors; ++i) {
      threads.emplace_back([this, i] {
        for (int visit = 0; visit < kVisits; ++visit) {
          Visitor one(*database);
          one.Serve<FillForm>({{"version", "3"}}, {});
          const std::string text = std::to_string(i) + "." + std::to_string(visit);
          EXPECT_TRUE(one.Serve<FillForm>({}, {{"FormAccepted", "3"}, {"31", text}}).redirect);
        }
      });
    }
  }
  EXPECT_EQ(Read({"select count(*), count(distinct StudentID), count(distinct TextAnswer) from AnonymousMark"}),
            "48,48,48");
  EXPECT_EQ(Read({"select count(*) from AnonymousStudent where FillDate is null"}), "0");
}

// As the host runs a request: held by the visitor, his session read first and saved with the commit.
TEST(PostgresTraffic, OfAnAcceptedPostDoesNotGrowWithTheForm) {
  TestDatabase database(data::Dialect::kPostgres);
  Seed seed(*database);
  StillClock clock;
  const Owner owner;
  int pin = 1000;
  for (const int questions : {5, 120}) {
    SurvaSeed surva;
    for (int i = 0; i < questions; ++i)
      surva.rows.push_back({kMain, i % 2 == 0 ? kText : kRadio, "Question", false, {"a"}});
    const std::string version = std::to_string(seed.Surva(surva));
    Visitor visitor(*database);
    for (int post = 0; post < 2; ++post) {
      seed.Participant(std::stoll(version), std::to_string(++pin));
      visitor.Serve<FillForm>({}, {{"PIN", std::to_string(pin)}});
      const std::uint64_t statements = database->traffic().statements;
      const std::uint64_t round_trips = database->traffic().round_trips;
      const Request request({}, {{"FormAccepted", version}}, visitor.variables);
      Response response;
      data::Connection db(*database);
      db.SetAuthor({"a visitor", "post /surva.asp"});
      db.Hold("visitor");
      db.Query({"select Contents from VisitorSession where SessionKey='none'"});
      PageContext context{request,
                          response,
                          visitor.session(),
                          db,
                          owner,
                          clock,
                          [](const Fault& fault) {
                            ADD_FAILURE() << fault.what(); }};
      visitor.session().Provide("DSN", database->dsn());
      FillForm(context).Serve();
      db.ExecuteAtCommit({"delete from VisitorSession where SessionKey='none'"});
      db.Commit();
      EXPECT_TRUE(response.redirect());
      EXPECT_LE(database->traffic().statements - statements, 12U) << questions;
      EXPECT_LE(database->traffic().round_trips - round_trips, 6U) << questions;
    }
  }
}

}  // namespace
}  // namespace surva::test
