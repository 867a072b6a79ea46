#include "frame/values/numbers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "frame/values/fault.h"

namespace surva {
namespace {

constexpr std::string_view kBlanks = " \t\r\n\f\v";

std::string_view Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

std::size_t SkipDigits(std::string_view text, std::size_t at) {
  while (at < text.size() && IsDigit(text[at])) ++at;
  return at;
}

// The shape of a number: where its whole digits end, and whether it is whole. npos if `text` is no number.
struct NumberShape {
  bool valid = false;
  bool whole = true;
  bool grouped = false;
};

NumberShape Look(std::string_view text, bool commas) {
  NumberShape shape;
  std::size_t at = 0;
  if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
  std::size_t end = SkipDigits(text, at);
  std::size_t digits = end - at;
  if (commas && digits >= 1 && digits <= 3) {
    while (end < text.size() && text[end] == ',') {
      if (SkipDigits(text, end + 1) != end + 4) return shape;
      end += 4;
      shape.grouped = true;
    }
  }
  at = end;
  if (at < text.size() && text[at] == '.') {
    end = SkipDigits(text, at + 1);
    digits += end - at - 1;
    shape.whole = false;
    at = end;
  }
  if (digits == 0) return shape;
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    ++at;
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
    end = SkipDigits(text, at);
    if (end == at) return shape;
    shape.whole = false;
    at = end;
  }
  shape.valid = at == text.size();
  return shape;
}

bool TakeSign(std::string_view& text) {
  if (!text.starts_with('-')) return false;
  text.remove_prefix(1);
  return true;
}

// from_chars knows no plus sign. A number beyond a double's range is no number.
std::optional<double> Convert(std::string_view text) {
  if (text.front() == '+') text.remove_prefix(1);
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc::result_out_of_range && number != 0 && !std::isinf(number)) return number;
  if (error != std::errc() || end != text.data() + text.size()) return {};
  return number;
}

std::int32_t Narrow(double number, double least, double most, Fault (*beyond)()) {
  const double rounded = RoundHalfEven(number);
  if (!(rounded >= least && rounded <= most)) throw beyond();
  return static_cast<std::int32_t>(rounded);
}

}  // namespace

std::optional<double> ReadNumeric(std::string_view text) {
  text = Trim(text);
  const NumberShape shape = Look(text, true);
  if (!shape.valid) return {};
  if (!shape.grouped) return Convert(text);
  std::string plain;
  for (const char c : text) {
    if (c != ',') plain += c;
  }
  return Convert(plain);
}

std::optional<Number64> ReadSqlNumber(std::string_view text) {
  // Who writes more is not naming a number; and what names one may be kept as it came.
  constexpr std::size_t kLongest = 400;
  if (text.size() > kLongest) return {};
  text = Trim(text);
  const NumberShape shape = Look(text, false);
  if (!shape.valid) return {};
  if (shape.whole) {
    std::string_view digits = text;
    if (digits.front() == '+') digits.remove_prefix(1);
    std::int64_t number = 0;
    if (std::from_chars(digits.data(), digits.data() + digits.size(), number).ec == std::errc()) return number;
  }
  const std::optional<double> number = Convert(text);
  if (!number) return {};
  return *number;
}

std::int32_t ToInt32(std::string_view text) {
  const std::optional<double> number = ReadNumeric(text);
  if (!number) throw Fault::TypeMismatch();
  return Narrow(*number, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max(),
                Fault::OutOfRange);
}

std::int16_t ToInt16(std::string_view text) {
  if (text.empty()) return 0;
  const std::optional<double> number = ReadNumeric(text);
  if (!number) throw Fault::TypeMismatch();
  return static_cast<std::int16_t>(Narrow(*number, std::numeric_limits<std::int16_t>::min(),
                                          std::numeric_limits<std::int16_t>::max(), Fault::Overflow));
}

double RoundHalfEven(double value) {
  return std::nearbyint(value);
}

void AppendNumber(std::string& out, double value) {
  if (value == 0) value = 0;  // no minus sign on a zero
  constexpr int kDigits = 15;
  std::array<char, 32> rounded{};
  const auto [end, error] =
      std::to_chars(rounded.data(), rounded.data() + rounded.size(), value, std::chars_format::scientific, kDigits - 1);
  if (error != std::errc() || !std::isfinite(value)) return;
  // -d.dddde-XX: the digits without the trailing zeros, and the place of the point among them.
  std::string_view text(rounded.data(), static_cast<std::size_t>(end - rounded.data()));
  if (TakeSign(text)) out += '-';
  std::string digits(1, text[0]);
  digits += text.substr(2, kDigits - 1);
  digits.erase(std::max<std::size_t>(digits.find_last_not_of('0') + 1, 1));
  std::string_view power = text.substr(2 + kDigits);
  if (power.front() == '+') power.remove_prefix(1);
  int point = 0;
  std::from_chars(power.data(), power.data() + power.size(), point);
  ++point;
  if (point <= 0) {
    out.append("0.").append(static_cast<std::size_t>(-point), '0').append(digits);
  } else if (const auto whole = static_cast<std::size_t>(point); whole >= digits.size()) {
    out.append(digits).append(whole - digits.size(), '0');
  } else {
    out.append(digits, 0, whole).append(".").append(digits, whole);
  }
}

void AppendNumber(std::string& out, std::int64_t value) {
  std::array<char, 24> text{};
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
  if (error == std::errc()) out.append(text.data(), end);
}

}  // namespace surva
