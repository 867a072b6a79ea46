// Short dates, as an event's head lines print them.
#pragma once

#include "frame/response.h"

namespace surva {

// Day and month with a slash between, without the year. Of a null date the slash alone.
inline void WriteShortDate(Response& out, const Field& date) {
  if (date.IsNull()) return out.Write("/");
  out.Write(date.Date().day, "/", date.Date().month);
}

}  // namespace surva
