// What is told of a slow request's statements: the longest, and none of their values.
#include "host/statement_times.h"

#include <gtest/gtest.h>

namespace surva::host {
namespace {

TEST(StatementTimes, TellTheLongestWithoutTheirValues) {
  StatementTimes times;
  {
    const StatementTimes::Scope scope(times);
    const data::Piece statement[] = {"select PIN from Participant where PIN=", data::Text("4711")};
    for (const int taken : {7, 90, 30, 8, 2}) StatementTimes::Note(statement, std::chrono::milliseconds(taken));
  }
  const std::string text = "select PIN from Participant where PIN=?";
  EXPECT_EQ(times.Text(), "5 statements in 137 ms; 90 ms: " + text + "; 30 ms: " + text + "; 8 ms: " + text);
}

}  // namespace
}  // namespace surva::host
