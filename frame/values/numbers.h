// Numbers as texts: what counts as one, what it is worth, and how a page prints it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace surva {

using Number64 = std::variant<std::int64_t, double>;

// The numeric test: blanks around, optional sign, digits with optional commas between thousands, optional point and
// decimals, optional exponent. Nothing for any other text, the empty one included.
std::optional<double> ReadNumeric(std::string_view text);

// A number as SQL writes one: as above without commas. Whole numbers of 64 bits keep every digit.
std::optional<Number64> ReadSqlNumber(std::string_view text);

// To a whole number of the given bounds: halves go to the even number. Throws Fault: a type mismatch for a text that
// is no number, an overflow beyond the bounds.
std::int32_t ToInt32(std::string_view text);
// As above for 16 bits; an empty text (a missing value) is 0.
std::int16_t ToInt16(std::string_view text);
double RoundHalfEven(double value);

// Plain, a point for decimals, no trailing zeros, no grouping, no exponent. A double has at most 15 significant digits.
void AppendNumber(std::string& out, double value);
void AppendNumber(std::string& out, std::int64_t value);

}  // namespace surva
