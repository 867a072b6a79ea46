// Periods: the week and the month around a day, as the database's dates are compared with them.
#pragma once

#include "frame/values/date_time.h"

namespace surva {

// From a midnight to another, which is no longer within.
struct Period {
  DateTime begin;
  DateTime end;

  friend bool operator==(const Period&, const Period&) = default;
};

// The days with the same DATEPART('ww') and year: a week from Sunday, cut short at New Year on either side.
Period WeekOf(const DateTime& at);
Period MonthOf(const DateTime& at);

}  // namespace surva
