// Dates and numbers as visitors write them: whatever the text, reading ends, and what was read is in its bounds.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "frame/values/date_time.h"
#include "frame/values/fault.h"
#include "frame/values/numbers.h"
#include "frame/values/text.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

template <class Convert>
void MayRefuse(Convert convert) {
  try {
    convert();
  } catch (const surva::Fault&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace surva;
  const std::string_view text(reinterpret_cast<const char*>(data), size);

  if (const auto at = ReadDateText(text)) {
    Require(IsCalendarDay(at->year, at->month, at->day));
    const auto again = ReadIso(IsoText(*at));
    Require(again && *again == *at);
    Require(Weekday(*at) >= 1 && Weekday(*at) <= 7 && WeekOfYear(*at) >= 1 && WeekOfYear(*at) <= 54);
  }
  if (const auto at = ReadIso(text)) Require(ReadIso(IsoText(*at)) == at);

  const auto number = ReadNumeric(text);
  if (number) Require(!std::isnan(*number));
  MayRefuse([&] {
    const std::int32_t whole = ToInt32(text);
    Require(number.has_value() && std::abs(*number - whole) <= 0.5);
  });
  MayRefuse([&] { ToInt16(text); });
  if (const auto sql = ReadSqlNumber(text)) {
    std::string printed;
    std::visit([&](auto value) { AppendNumber(printed, value); }, *sql);
    Require(!printed.empty());
  }

  // What the wire can carry comes back as it was.
  const std::string decoded = FromWindows1252(text);
  Require(ToWindows1252(decoded) == text);
  ToWindows1252(text);

  const std::size_t half = size / 2;
  const std::string_view left = text.substr(0, half);
  const std::string_view right = text.substr(half);
  Require(CompareTexts(left, right) == -CompareTexts(right, left));
  Require(CompareTexts(left, left) == 0);
  Require(Like(left, "%"));
  Like(left, right);
  return 0;
}
