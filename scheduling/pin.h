// PINs: the code by which a participant logs on.
#pragma once

#include <string>
#include <string_view>

#include "frame/values/date_time.h"

namespace surva {

// Three numbers in a row: one of the clock, one of the clock and the event, and the student. An event that nobody
// named makes the second one 0; throws a type mismatch for one that is no number.
std::string MakePin(const Clock& clock, std::string_view event, std::string_view student);

}  // namespace surva
