#include "reporting/period.h"

#include <algorithm>

namespace surva {

Period WeekOf(const DateTime& at) {
  const DateTime day{at.year, at.month, at.day};
  const DateTime sunday = AddDays(day, -(Weekday(day) % 7));
  return {std::max(sunday, DateTime{at.year, 1, 1}), std::min(AddDays(sunday, 7), DateTime{at.year + 1, 1, 1})};
}

Period MonthOf(const DateTime& at) {
  return {{at.year, at.month, 1}, at.month == 12 ? DateTime{at.year + 1, 1, 1} : DateTime{at.year, at.month + 1, 1}};
}

}  // namespace surva
