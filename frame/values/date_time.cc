#include "frame/values/date_time.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <ctime>

#include "frame/values/text.h"

namespace surva {
namespace {

constexpr auto kMonths =
    std::to_array<std::string_view>({"January", "February", "March", "April", "May", "June", "July", "August",
                                     "September", "October", "November", "December"});
static_assert(kMonths.size() == 12);

class SystemClock final : public Clock {
 public:
  DateTime Now() const override {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    // A leap second has no place in a stored date.
    return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
            local.tm_hour,        local.tm_min,     std::min(local.tm_sec, 59)};
  }
};

std::chrono::sys_days SysDays(const DateTime& at) {
  return std::chrono::year(at.year) / std::chrono::month(static_cast<unsigned>(at.month)) /
         std::chrono::day(static_cast<unsigned>(at.day));
}

// Takes `digits` digits off the front of `text`; -1 if they are not there.
int TakeDigits(std::string_view& text, std::size_t digits) {
  if (text.size() < digits) return -1;
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + digits, number);
  if (error != std::errc() || end != text.data() + digits || number < 0) return -1;
  text.remove_prefix(digits);
  return number;
}

bool TakeCharacter(std::string_view& text, char character) {
  if (text.empty() || text.front() != character) return false;
  text.remove_prefix(1);
  return true;
}

void SkipBlanks(std::string_view& text) {
  while (TakeCharacter(text, ' ')) {
  }
}

// Between two words stand blanks, a hyphen or both; a second hyphen, or one behind the last word, is a word of no
// meaning.
std::string_view TakeWord(std::string_view& text) {
  const std::size_t length = std::min(text.find_first_of("- "), text.size());
  const std::string_view word = text.substr(0, length);
  text.remove_prefix(length);
  SkipBlanks(text);
  std::string_view rest = text;
  if (TakeCharacter(rest, '-')) {
    SkipBlanks(rest);
    if (!rest.empty()) text = rest;
  }
  return word;
}

int ReadWholeNumber(std::string_view word, std::size_t most_digits) {
  if (word.empty() || word.size() > most_digits) return -1;
  return TakeDigits(word, word.size());
}

int ReadMonthName(std::string_view word) {
  for (std::size_t i = 0; i < kMonths.size(); ++i) {
    if (EqualNames(word, kMonths[i]) || EqualNames(word, kMonths[i].substr(0, 3))) return static_cast<int>(i) + 1;
  }
  return -1;
}

}  // namespace

const Clock& Clock::System() {
  static const SystemClock clock;
  return clock;
}

std::string IsoText(const DateTime& at) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d", at.year, at.month, at.day, at.hour,
                at.minute, at.second);
  return text.data();
}

std::optional<DateTime> ReadIso(std::string_view text) {
  DateTime at;
  at.year = TakeDigits(text, 4);
  if (!TakeCharacter(text, '-')) return {};
  at.month = TakeDigits(text, 2);
  if (!TakeCharacter(text, '-')) return {};
  at.day = TakeDigits(text, 2);
  if (!text.empty()) {
    if (!TakeCharacter(text, ' ') && !TakeCharacter(text, 'T')) return {};
    at.hour = TakeDigits(text, 2);
    if (!TakeCharacter(text, ':')) return {};
    at.minute = TakeDigits(text, 2);
    if (TakeCharacter(text, ':')) {
      at.second = TakeDigits(text, 2);
      if (TakeCharacter(text, '.')) {
        if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos) return {};
        text = {};
      }
    }
    if (!text.empty()) return {};
  }
  if (!IsCalendarDay(at.year, at.month, at.day)) return {};
  if (at.hour < 0 || at.hour > 23 || at.minute < 0 || at.minute > 59 || at.second < 0 || at.second > 59) return {};
  return at;
}

std::string PageText(const DateTime& at) {
  std::array<char, 64> text{};
  int length = std::snprintf(text.data(), text.size(), "%d/%d/%d", at.month, at.day, at.year);
  if (at.hour != 0 || at.minute != 0 || at.second != 0) {
    const int hour = at.hour % 12 == 0 ? 12 : at.hour % 12;
    std::snprintf(text.data() + length, text.size() - static_cast<std::size_t>(length), " %d:%02d:%02d %s", hour,
                  at.minute, at.second, at.hour < 12 ? "AM" : "PM");
  }
  return text.data();
}

std::optional<DateTime> ReadDateText(std::string_view text) {
  SkipBlanks(text);
  DateTime at;
  at.day = ReadWholeNumber(TakeWord(text), 2);
  at.month = ReadMonthName(TakeWord(text));
  const std::string_view year = TakeWord(text);
  at.year = ReadWholeNumber(year, 4);
  if (!text.empty()) return {};
  if (year.size() <= 2 && at.year >= 0) at.year += at.year < 30 ? 2000 : 1900;
  // The calendar of dates starts in the year 100.
  if (at.year < 100 || !IsCalendarDay(at.year, at.month, at.day)) return {};
  return at;
}

std::string_view MonthName(int month) {
  return kMonths.at(static_cast<std::size_t>(month - 1));
}

bool IsCalendarDay(int year, int month, int day) {
  if (year < 0 || month < 1 || month > 12 || day < 1) return false;
  return (std::chrono::year(year) / std::chrono::month(static_cast<unsigned>(month)) /
          std::chrono::day(static_cast<unsigned>(day)))
      .ok();
}

DateTime AddDays(const DateTime& at, int days) {
  const std::chrono::year_month_day day(SysDays(at) + std::chrono::days(days));
  DateTime moved = at;
  moved.year = static_cast<int>(day.year());
  moved.month = static_cast<int>(static_cast<unsigned>(day.month()));
  moved.day = static_cast<int>(static_cast<unsigned>(day.day()));
  return moved;
}

int DaysBetween(const DateTime& from, const DateTime& to) {
  return static_cast<int>((SysDays(to) - SysDays(from)).count());
}

int Weekday(const DateTime& at) {
  return static_cast<int>(std::chrono::weekday(SysDays(at)).iso_encoding());
}

int WeekOfYear(const DateTime& at) {
  const DateTime new_year{at.year, 1, 1};
  const int offset = Weekday(new_year) % 7;  // days from the Sunday on or before 1 January
  return (DaysBetween(new_year, at) + offset) / 7 + 1;
}

}  // namespace surva
