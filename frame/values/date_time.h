// Dates: local wall time of the server, to the second, without a zone.
#pragma once

#include <compare>
#include <optional>
#include <string>
#include <string_view>

namespace surva {

struct DateTime {
  int year = 0;
  int month = 1;  // 1 to 12
  int day = 1;    // 1 to 31
  int hour = 0;
  int minute = 0;
  int second = 0;

  friend auto operator<=>(const DateTime&, const DateTime&) = default;
};

// The time, given to the pages so that a test can hold it still.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual DateTime Now() const = 0;  // local time

  static const Clock& System();
};

// The form in which SQLite keeps a date and both engines exchange it: YYYY-MM-DD HH:MM:SS.
std::string IsoText(const DateTime& at);
// Reads IsoText, with or without a time and with or without fractions of a second (which are dropped).
std::optional<DateTime> ReadIso(std::string_view text);

// A date as pages print it: M/D/YYYY h:mm:ss AM or PM, without the time at midnight.
std::string PageText(const DateTime& at);

// A date text that a visitor's controls or a page's arithmetic built: day, month name (in full or its first three
// letters, in any letter case), year, with hyphens or blanks between. Years 0 to 29 are 2000 to 2029, 30 to 99 are
// 1930 to 1999. Nothing for a text that names no day of the calendar.
std::optional<DateTime> ReadDateText(std::string_view text);

// January to December for 1 to 12.
std::string_view MonthName(int month);

bool IsCalendarDay(int year, int month, int day);
DateTime AddDays(const DateTime& at, int days);
// Whole days from `from` to `to`; their times do not count.
int DaysBetween(const DateTime& from, const DateTime& to);
// Monday 1 to Sunday 7.
int Weekday(const DateTime& at);

// DATEPART('ww', ...): week 1 holds 1 January, weeks start on Sunday.
int WeekOfYear(const DateTime& at);

}  // namespace surva
