#include "scheduling/pin.h"

#include "frame/values/fault.h"
#include "frame/values/numbers.h"

namespace surva {

std::string MakePin(const Clock& clock, std::string_view event, std::string_view student) {
  const DateTime first = clock.Now();
  std::string pin = std::to_string(first.second * first.hour + first.minute);
  const auto number = event.empty() ? 0.0 : ReadNumeric(event);
  if (!number) throw Fault::TypeMismatch();
  AppendNumber(pin, clock.Now().second * *number);
  pin += student;
  return pin;
}

}  // namespace surva
