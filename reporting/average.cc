#include "reporting/average.h"

#include <algorithm>
#include <cmath>

#include "frame/values/fault.h"
#include "frame/values/numbers.h"

namespace surva {
namespace {

double Finite(double number) {
  if (!std::isfinite(number)) throw Fault::Overflow();
  return number;
}

}  // namespace

void Average::Add(std::string_view answer, std::int64_t times) {
  const std::optional<double> number = words_ ? std::nullopt : ReadNumeric(answer);
  if (!number) {
    words_ = true;
    return;
  }
  sum_ = Finite(sum_ + *number * static_cast<double>(times));
  squares_ += *number * *number * static_cast<double>(times);
  count_ += times;
}

std::optional<double> Average::Mean() const {
  if (words_ || count_ == 0) return {};
  return sum_ / static_cast<double>(count_);
}

std::optional<double> Average::Rounded() const {
  const std::optional<double> mean = Mean();
  if (!mean) return {};
  return RoundHalfEven(Finite(*mean * 10)) / 10;
}

std::optional<double> Average::Spread() const {
  const std::optional<double> mean = Mean();
  if (!mean) return {};
  return std::sqrt(std::max(0.0, squares_ / static_cast<double>(count_) - *mean * *mean));
}

}  // namespace surva
