// Dates, numbers, texts and values.
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <iomanip>
#include <sstream>
#include <string>

#include "frame/values/date_time.h"
#include "frame/values/numbers.h"
#include "frame/values/text.h"
#include "frame/values/value.h"
#include "tests/support/recorded.h"

namespace surva::test {
namespace {

std::string Iso(const std::optional<DateTime>& at) {
  return at ? IsoText(*at) : "none";
}

TEST(Values, Cases) {
  const auto number = [](const std::string& text) {
    const auto value = ReadNumeric(text);
    return value ? (std::ostringstream() << std::setprecision(15) << *value).str() : "none";
  };
  const auto sorted = [](std::vector<std::string> words) {
    std::sort(words.begin(), words.end(), [](const auto& a, const auto& b) { return CompareTexts(a, b) < 0; });
    std::string all;
    for (const std::string& word : words) all += all.empty() ? "\"" + word + "\"" : " \"" + word + "\"";
    return all;
  };
  const auto compare = [](const std::vector<std::string>& words) {
    const int sign = CompareTexts(words.at(0), words.at(1));
    return std::string(sign == 0 ? "the same" : sign < 0 ? "before" : "behind");
  };
  PlayCases("tests/values/values.cases",
            {.each = {{"date", [](const auto& text) { return Iso(ReadDateText(text)); }},
                      {"page-date", [](const auto& text) { return PageText(ReadIso(text).value()); }},
                      {"stored-date", [](const auto& text) { return Iso(ReadIso(text)); }},
                      {"number", number},
                      {"16-bits", [](const auto& text) { return std::to_string(ToInt16(text)); }},
                      {"page-number", [](const auto& text) { return Field(std::stod(text)).Text(); }},
                      {"page-integer", [](const auto& text) { return Field(std::int64_t{std::stoll(text)}).Text(); }},
                      {"windows-1252", [](const auto& text) { return ToWindows1252(text); }},
                      {"from-windows-1252", [](const auto& text) { return FromWindows1252(text); }},
                      {"is-true", [](const auto& text) { return Value(text).IsTrue() ? "yes" : "no"; }},
                      {"is-0", [](const auto& text) { return Value(text).Is(0) ? "yes" : "no"; }},
                      {"integer", [](const auto& text) { return std::to_string(Value(text).view().Integer()); }},
                      {"day", [](const auto& text) { return IsoText(Value(text).view().Date()); }}},
             .lines = {{"sorted", sorted}, {"compare", compare}}});
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
}

TEST(Texts, LikeEndsInTime) {
  const std::string text(20'000, 'a');
  EXPECT_FALSE(Like(text, "%a%a%a%a%a%a%a%a%a%a%b"));
  EXPECT_TRUE(Like(text + "b", "%a%a%a%a%a%a%a%a%a%a%b"));
}

TEST(Values, OfOtherKindsThanTexts) {
  EXPECT_TRUE(Value().Is(0) && Value(0).Is(0) && Value(-0.0).Is(0) && !Value(1).Is(0));
  EXPECT_FALSE(Value().IsTrue() || Value(0).IsTrue() || Value(-0.0).IsTrue());
  EXPECT_TRUE(Value(-1).IsTrue() && Value(1).IsTrue() && Value(0.5).IsTrue());
  EXPECT_EQ(Value().view().Integer(), 0);
}

}  // namespace
}  // namespace surva::test
