// What the site tells its log.
#include <gtest/gtest.h>

#include "tests/support/node.h"
#include "tests/support/test_database.h"
#include "tests/support/watched_engine.h"

namespace surva::host {
namespace {

class AwayEngine final : public test::WatchedEngine {
 public:
  AwayEngine(std::unique_ptr<data::Engine> engine, test::Watch& watch, const bool& away)
      : WatchedEngine(std::move(engine), watch), away_(away) {}
  data::Rows Run(data::Statement statement, data::Effect effect) override {
    if (away_) throw Fault(FaultNumber::kConnectionFailed, "test", "The database does not answer.");
    return WatchedEngine::Run(statement, effect);
  }

 private:
  const bool& away_;
};

TEST(Answers, AFailureOfTheDatabaseIsAnErrorInTheLog) {
  test::TestDatabase database(data::Dialect::kSqlite);
  test::Watch watch;
  bool away = false;
  test::Node node(database.dsn(), {.wrap = [&](std::unique_ptr<data::Engine> engine) {
                    return std::make_unique<AwayEngine>(std::move(engine), watch, away);
                  }});
  test::Browser browser;
  browser.Get(node, "/admin/company.asp", "Modify=1");
  browser.Get(node, "/admin/company.asp", "Modify=it's");
  EXPECT_EQ(node.log.errors(), "");
  away = true;
  browser.Get(node, "/admin/company.asp", "Modify=1");
  EXPECT_NE(node.log.errors().find(" /admin/company.asp: The database does not answer."), std::string::npos)
      << node.log.errors();
}

}  // namespace
}  // namespace surva::host
