// A value never becomes syntax.
#include <gtest/gtest.h>

#include <functional>

#include "frame/data/statement.h"
#include "frame/values/fault.h"

namespace surva::test {
namespace {

using namespace std::literals;
using namespace data;

FaultNumber FaultOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const Fault& fault) {
    return fault.number();
  }
  return {};
}

TEST(StatementValues, NumberPlacesTakeNumbersOnly) {
  for (const char* text : {"",     " ",    "abc",  "1 or 1=1", "1;delete from Mark",
                           "1--",  "(1)",  "1+1",  "'1'",      "1,000",
                           "0x10", "1e",   "nan",  "inf",      ".",
                           "-",    "1 2",  "1\n2", "\uff11",   "StudentID",
                           "null", "1e999"}) {
    EXPECT_EQ(FaultOf([&] { Number(std::string_view(text)); }), FaultNumber::kStatementFailed) << text;
  }
  EXPECT_EQ(FaultOf([] { Number(std::string_view("1\0", 2)); }), FaultNumber::kStatementFailed);
  EXPECT_EQ(FaultOf([] { Number(Value()); }), FaultNumber::kStatementFailed) << "an unset session key";
  EXPECT_EQ(FaultOf([] { Number(Value(DateTime{2004, 1, 1})); }), FaultNumber::kStatementFailed);
  for (const char* text : {"7", " 7 ", "+7", "-7", "7.", ".5", "7e2", "9223372036854775807", "9223372036854775808"}) {
    EXPECT_EQ(FaultOf([&] { Number(std::string_view(text)); }), FaultNumber{}) << text;
  }
  EXPECT_EQ(std::get<std::int64_t>(Number("9223372036854775807"sv).content().content()), INT64_MAX)
      << "every digit counts";
}

TEST(StatementValues, TextPlacesRefuseQuotes) {
  for (const std::string_view text :
       {std::string_view("'"), std::string_view("it's"), std::string_view("' or ''='"), std::string_view("a\0b", 3)}) {
    EXPECT_EQ(FaultOf([&] { Text(text); }), FaultNumber::kStatementFailed) << text;
    EXPECT_EQ(FaultOf([&] { Pattern(text); }), FaultNumber::kStatementFailed) << text;
    EXPECT_EQ(FaultOf([&] { DateText(text); }), FaultNumber::kStatementFailed) << text;
  }
}

}  // namespace
}  // namespace surva::test
