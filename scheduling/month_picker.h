// Month picker: the months and years above a calendar, and the dates behind them.
#pragma once

#include <string>
#include <string_view>

#include "frame/page_object.h"

namespace surva {

// As the visitor gave them: the year may have any number of digits, the month may be none of the twelve.
struct PickedMonth {
  int year = 0;
  int month = 0;
};

// Y and M of the query string, each in today's place where it is empty; posted ones do not count. Throws a Fault for
// a text that is no 16-bit number.
PickedMonth ReadPickedMonth(const Request& request, const Clock& clock);

// The picker's table. `link` is the start of its links up to the month, "<a href=schedule.asp?Action=P&M=".
void WriteMonthPicker(Response& out, const PickedMonth& picked, std::string_view link);

// " selected " for an option that is the chosen one, otherwise nothing.
inline std::string_view SelectedIf(int a, int b) {
  return a == b ? " selected " : "";
}

// January to December; a Fault for any other number.
std::string_view NameOfMonth(int month);

// The form in which dates travel: day, full name of the month, year, with hyphens between.
std::string DateTextOf(std::string_view day, int month, std::string_view year);
// The date of such a text; a type mismatch if it names none.
DateTime DateOf(std::string_view text);

}  // namespace surva
