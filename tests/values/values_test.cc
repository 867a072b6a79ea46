// Dates, numbers, texts and values.
#include <gtest/gtest.h>

#include <ctime>
#include <sstream>
#include <string>
#include <utility>

#include "frame/values/date_time.h"
#include "frame/values/fault.h"
#include "frame/values/numbers.h"
#include "frame/values/text.h"
#include "frame/values/value.h"

namespace surva::test {
namespace {

TEST(Dates, ReadFromText) {
  const std::pair<const char*, const char*> cases[] = {
      {"1-January-2001", "2001-01-01"}, {"31 dec 99", "1999-12-31"},  {"1-jan-0", "2000-01-01"},
      {"01-JAN-29", "2029-01-01"},      {"1-Jan-30", "1930-01-01"},   {"29-february-2000", "2000-02-29"},
      {"2 May-2004", "2004-05-02"},     {"1-Jan-0100", "0100-01-01"}, {"31-October-9999", "9999-10-31"}};
  for (const auto& [text, iso] : cases) {
    const auto at = ReadDateText(text);
    EXPECT_EQ(at ? IsoText(*at) : "none", std::string(iso) + " 00:00:00") << text;
  }
  for (const char* text : {"", " ", "1-May-2001- ", "1-May-2001 - ", "1-May-2001 10:00", "1-May-50 AD"}) {
    EXPECT_FALSE(ReadDateText(text)) << text;
  }
  std::istringstream more(
      "- 1 1-January 29-February-1900 29-Feb-2001 31-April-2001 0-May-2001 32-May-2001 1-Janu-2001 1-J-2001 1-5-2001 "
      "May-1-2001 1-May-20011 1-May-2001-5 1-May-2001- 001-May-2001 1.May.2001 1/May/2001 1-May-+1 1-May-0x1 1-May-1e3 "
      "2001-05-01 1-May-99999999999999999999 1-Maj-2001 \u0661-May-2001");
  for (std::string text; more >> text;) EXPECT_FALSE(ReadDateText(text)) << text;
  for (int month = 1; month <= 12; ++month) {
    const auto at = ReadDateText("5-" + std::string(MonthName(month)) + "-2004");
    EXPECT_EQ(at, (DateTime{2004, month, 5}));
  }
}

TEST(Dates, OnAPage) {
  const std::pair<DateTime, const char*> cases[] = {{DateTime{2004, 3, 1}, "3/1/2004"},
                                                    {DateTime{2004, 12, 31, 0, 0, 1}, "12/31/2004 12:00:01 AM"},
                                                    {DateTime{2004, 1, 2, 9, 5, 0}, "1/2/2004 9:05:00 AM"},
                                                    {DateTime{2004, 1, 2, 11, 59, 59}, "1/2/2004 11:59:59 AM"},
                                                    {DateTime{2004, 1, 2, 12, 0, 0}, "1/2/2004 12:00:00 PM"},
                                                    {DateTime{1999, 1, 2, 23, 0, 9}, "1/2/1999 11:00:09 PM"}};
  for (const auto& [at, text] : cases) {
    EXPECT_EQ(PageText(at), text);
  }
}

TEST(Dates, Stored) {
  const std::pair<const char*, const char*> cases[] = {{"2004-02-29", "2004-02-29 00:00:00"},
                                                       {"2004-02-29 23:59:59", "2004-02-29 23:59:59"},
                                                       {"2004-02-29T10:07", "2004-02-29 10:07:00"},
                                                       {"2004-02-29 10:07:08.999999", "2004-02-29 10:07:08"},
                                                       {"0001-01-01 00:00:00", "0001-01-01 00:00:00"}};
  for (const auto& [text, iso] : cases) {
    const auto at = ReadIso(text);
    EXPECT_EQ(at ? IsoText(*at) : "none", iso) << text;
  }
  for (const char* text : {"", "2004", "2004-02-30", "2004-13-01", "2004-2-9", "2004-02-29 24:00:00", "2004-02-29 10",
                           "2004-02-29 10:60", "2004-02-29 10:07:08x", "2004-02-29 10:07:08.", "2004-02-29 10:07:08.5x",
                           "-004-02-29", "2004-02-29 -1:00", "2004-02-29 "}) {
    EXPECT_FALSE(ReadIso(text)) << text;
  }
}

TEST(Dates, DaysAndWeeks) {
  EXPECT_EQ(Weekday({2004, 3, 1}), 1);
  EXPECT_EQ(Weekday({2004, 2, 29}), 7);
  EXPECT_EQ(AddDays({2004, 2, 28, 13, 5, 9}, 2), (DateTime{2004, 3, 1, 13, 5, 9}));
  EXPECT_EQ(AddDays({2001, 1, 1}, -1), (DateTime{2000, 12, 31}));
  EXPECT_EQ(DaysBetween({2004, 3, 1, 0, 0, 1}, {2004, 2, 29, 23, 59, 59}), -1);
  // The C library numbers weeks from 0 and gives the days before the first Sunday the 0.
  for (DateTime at{1998, 1, 1}; at.year < 2008; at = AddDays(at, 1)) {
    std::tm day{};
    day.tm_year = at.year - 1900;
    day.tm_mon = at.month - 1;
    day.tm_mday = at.day;
    day.tm_hour = 12;
    timegm(&day);
    std::string text(8, '\0');
    text.resize(std::strftime(text.data(), text.size(), "%U", &day));
    const bool starts_on_sunday = Weekday({at.year, 1, 1}) == 7;
    ASSERT_EQ(WeekOfYear(at), std::stoi(text) + (starts_on_sunday ? 0 : 1)) << IsoText(at);
  }
}

TEST(Numbers, NumericTest) {
  const std::pair<const char*, double> cases[] = {
      {"0", 0.0},        {"-5", -5.0},          {" 7 ", 7.0},
      {"\t+7\n", 7.0},   {"1,234", 1234.0},     {"12,345,678.5", 12345678.5},
      {"5.", 5.0},       {"-.5", -0.5},         {"1e3", 1000.0},
      {"1.5E-1", 0.15},  {"1,000e2", 100000.0}, {"007", 7.0},
      {"1e-300", 1e-300}};
  for (const auto& [text, value] : cases) {
    const auto number = ReadNumeric(text);
    ASSERT_TRUE(number) << text;
    EXPECT_DOUBLE_EQ(*number, value) << text;
  }
  for (const char* text :
       {"",     " ",      "abc",    ".",      "-",        "+",     "e5",    "1e",     "1e+",    "1,23", "1234,567",
        ",123", "1,2345", "1,,234", "1,234,", "--1",      "+-1",   "- 1",   "1 2",    "5%",     "$5",   "(5)",
        "0x1F", "1_000",  "inf",    "nan",    "infinity", "1e400", "1.2.3", "\u0661", "\uff11", "1d3"}) {
    EXPECT_FALSE(ReadNumeric(text)) << text;
  }
}

TEST(Numbers, ToSixteenBits) {
  const std::pair<const char*, int> cases[] = {
      {"", 0},      {"0.5", 0},      {"1.5", 2},       {"2.5", 2},         {"-0.5", 0},        {"-1.5", -2},
      {" 12 ", 12}, {"1,234", 1234}, {"32767", 32767}, {"32767.4", 32767}, {"-32768", -32768}, {"-32768.5", -32768}};
  for (const auto& [text, value] : cases) {
    EXPECT_EQ(ToInt16(text), value) << text;
  }
  const std::pair<const char*, FaultNumber> refused[] = {
      {"32768", FaultNumber::kOverflow},   {"32767.5", FaultNumber::kOverflow}, {"-32769", FaultNumber::kOverflow},
      {"1e300", FaultNumber::kOverflow},   {"abc", FaultNumber::kTypeMismatch}, {" ", FaultNumber::kTypeMismatch},
      {"1, 2", FaultNumber::kTypeMismatch}};
  for (const auto& [text, number] : refused) {
    try {
      ToInt16(text);
      ADD_FAILURE() << text;
    } catch (const Fault& fault) {
      EXPECT_EQ(fault.number(), number) << text;
    }
  }
}

TEST(Numbers, OnAPage) {
  const std::pair<double, const char*> cases[] = {{0.0, "0"},
                                                  {-0.0, "0"},
                                                  {2.0, "2"},
                                                  {2.50, "2.5"},
                                                  {-0.125, "-0.125"},
                                                  {1e15, "1000000000000000"},
                                                  {1e21, "1000000000000000000000"},
                                                  {0.1 + 0.2, "0.3"},
                                                  {1.4999 + 1, "2.4999"},
                                                  {-2.0 / 3, "-0.666666666666667"},
                                                  {123456.0 / 7, "17636.5714285714"},
                                                  {99999999999999.96, "100000000000000"},
                                                  {123456789012345678, "123456789012346000"},
                                                  {0.00012, "0.00012"},
                                                  {1e-7, "0.0000001"}};
  for (const auto& [number, text] : cases) {
    EXPECT_EQ(Field(number).Text(), text);
  }
  EXPECT_EQ(Field(INT64_MIN).Text(), "-9223372036854775808");
}

TEST(Texts, Windows1252BothWays) {
  for (int byte = 0; byte < 256; ++byte) {
    // At every place of a text, as the plain stretch before it is copied in larger steps.
    for (std::size_t before : {0U, 1U, 7U, 8U, 9U, 17U}) {
      std::string bytes(before, 'x');
      bytes += static_cast<char>(byte);
      bytes += 'y';
      const std::string text = FromWindows1252(bytes);
      ASSERT_EQ(ToWindows1252(text), bytes) << byte;
      ASSERT_EQ(CharacterCount(text), bytes.size()) << byte;
      ASSERT_EQ(IsAscii(text), byte < 128);
    }
  }
  EXPECT_EQ(FromWindows1252("\x80 \x8A \xE9"), "\u20ac \u0160 \u00e9");
  EXPECT_EQ(ToWindows1252("\u0142\u00f3d\u017a \xF0\x9F\x98\x80"), "&#322;\xF3"
                                                                   "d&#378; &#128512;");
  EXPECT_EQ(ToWindows1252("a\xff\xc3"), "a??") << "bytes that are no text";
}

TEST(Texts, Compare) {
  const char* const ordered[] = {
      "", " ", "10", "9", "_", "a", "aa", "b", "z", "\u00e9", "\u00e9t\u00e9", "\u0142", "\u20ac", "\xF0\x9F\x98\x80"};
  for (std::size_t i = 0; i < std::size(ordered); ++i) {
    for (std::size_t j = 0; j < std::size(ordered); ++j) {
      const int sign = CompareTexts(ordered[i], ordered[j]);
      EXPECT_EQ((sign > 0) - (sign < 0), (i > j) - (i < j)) << ordered[i] << " and " << ordered[j];
    }
  }
  EXPECT_EQ(CompareTexts("\u00c9T\u00c9 \u0141", "\u00e9t\u00c9 \u0142"), 0);
  EXPECT_NE(CompareTexts("e", "\u00e9"), 0);
  EXPECT_NE(CompareTexts("\xff", "\xfe"), 0);
  EXPECT_NE(CompareTexts("a\xc3", "a\xc3\xa9"), 0);
}

TEST(Texts, LikeEndsInTime) {
  const std::string text(20'000, 'a');
  EXPECT_FALSE(Like(text, "%a%a%a%a%a%a%a%a%a%a%b"));
  EXPECT_TRUE(Like(text + "b", "%a%a%a%a%a%a%a%a%a%a%b"));
}

TEST(Values, ComparedWithNumbers) {
  for (const Value& value : {Value(), Value(0), Value(""), Value("0"), Value("0.0"), Value(-0.0)}) {
    EXPECT_TRUE(value.Is(0)) << value.Text();
    EXPECT_FALSE(value.IsTrue()) << value.Text();
  }
  for (const Value& value : {Value(-1), Value(1), Value("-1"), Value(0.5), Value(" 1 ")})
    EXPECT_TRUE(value.IsTrue()) << value.Text();
  EXPECT_TRUE(Value("1").Is(1));
  EXPECT_THROW(Value("yes").IsTrue(), Fault);
  EXPECT_EQ(Value("12").view().Integer(), 12);
  EXPECT_EQ(Value().view().Integer(), 0);
  EXPECT_THROW(Value("x").view().Integer(), Fault);
  EXPECT_THROW(Value("1-May-2004").view().Date(), Fault);
}

}  // namespace
}  // namespace surva::test
