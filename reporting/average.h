// The average of one question's answers. A single word among them is enough to have none.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace surva {

class Average {
 public:
  // Throws Fault (an overflow) where the sum leaves the range of numbers.
  void Add(std::string_view answer, std::int64_t times);

  // Nothing where there is none.
  std::optional<double> Mean() const;
  // With one decimal at most, halves going to the even digit.
  std::optional<double> Rounded() const;
  // The standard deviation of the answers.
  std::optional<double> Spread() const;
  std::int64_t count() const { return count_; }

 private:
  double sum_ = 0;
  double squares_ = 0;
  std::int64_t count_ = 0;
  bool words_ = false;
};

}  // namespace surva
