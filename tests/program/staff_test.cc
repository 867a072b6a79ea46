// Accounts from the command line, and what serves without any.
#include "program/staff.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

#include "guard/accounts.h"
#include "program/serve.h"
#include "tests/support/test_database.h"

namespace surva::program {
namespace {

// What the command says, with a line on its standard input.
std::string Say(data::Database& database, const StaffOrder& order, const std::string& line = "") {
  std::istringstream input(line + "\n");
  std::ostringstream output;
  std::streambuf* const in = std::cin.rdbuf(input.rdbuf());
  std::streambuf* const out = std::cout.rdbuf(output.rdbuf());
  std::string refusal;
  try {
    Staff(database, order);
  } catch (const UsageError& error) {
    refusal = error.what();
  }
  std::cin.rdbuf(in);
  std::cout.rdbuf(out);
  return refusal.empty() ? output.str() : "refused: " + refusal;
}

TEST(StaffCommand, KeepsAccountsAndServesNobodyUnguarded) {
  test::TestDatabase database(data::Dialect::kSqlite);
  Configuration configuration;
  for (const char* open : {"0.0.0.0:80", "192.0.2.1:80", "[::]:80", "example.org:80", "127.0.0.1.example.org:80"}) {
    configuration.listen = open;
    configuration.no_staff_guard = false;
    EXPECT_THROW(IsGuarded(configuration, *database), UsageError) << open;
    configuration.no_staff_guard = true;
    EXPECT_FALSE(IsGuarded(configuration, *database)) << open;
  }
  configuration.no_staff_guard = false;
  for (const char* own : {"127.0.0.1:80", "127.1.2.3:0", "localhost:80", "[::1]:80"}) {
    configuration.listen = own;
    EXPECT_FALSE(IsGuarded(configuration, *database)) << own;
  }

  EXPECT_EQ(Say(*database, {{"add", "anna"}, "owner"}, "three blue cranes"), "");
  EXPECT_EQ(Say(*database, {{"add", "paul"}, "planner"}, "four white storks"), "");
  for (const StaffOrder& bad : {StaffOrder{{}, ""}, StaffOrder{{"add"}, "owner"}, StaffOrder{{"add", "x"}, "king"},
                                StaffOrder{{"fly", "x"}, ""}, StaffOrder{{"remove", "anna"}, ""},
                                StaffOrder{{"remove", "nobody"}, ""}, StaffOrder{{"add", "x"}, "owner"}}) {
    EXPECT_EQ(Say(*database, bad, "short").substr(0, 8), "refused:") << (bad.words.empty() ? "" : bad.words.front());
  }
  EXPECT_EQ(Say(*database, {{"role", "paul"}, "analyst"}), "");
  EXPECT_EQ(Say(*database, {{"password", "paul"}, ""}, "five grey herons\r"), "");
  EXPECT_EQ(Say(*database, {{"list"}, ""}), "anna\towner\npaul\tanalyst\n");
  EXPECT_THROW(ShowHistory(*database, {.table = "Nope"}), UsageError);
  data::Connection connection(*database);
  EXPECT_TRUE(guard::Accounts(connection).Verify("paul", "five grey herons"));
  EXPECT_FALSE(guard::Accounts(connection).Verify("paul", "four white storks"));
  configuration.listen = "0.0.0.0:80";
  EXPECT_TRUE(IsGuarded(configuration, *database));
}

}  // namespace
}  // namespace surva::program
