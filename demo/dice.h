// Dice: chance that falls the same way every time.
#pragma once

#include <cstdint>
#include <random>
#include <span>
#include <vector>

namespace surva::demo {

class Dice {
 public:
  explicit Dice(std::uint64_t seed) : engine_(seed) {}

  // From `least` to `most`.
  int Between(int least, int most) {
    return least + static_cast<int>(engine_() % static_cast<std::uint64_t>(most - least + 1));
  }
  bool Chance(int percent) { return Between(1, 100) <= percent; }
  // From -width to width, most of it near 0.
  double Bell(double width) { return width * (Between(-500, 500) + Between(-500, 500) + Between(-500, 500)) / 1500; }

  template <class T>
  const T& Pick(std::span<const T> from) {
    return from[static_cast<std::size_t>(Between(0, static_cast<int>(from.size()) - 1))];
  }
  template <class T>
  const T& Pick(const std::vector<T>& from) {
    return Pick(std::span<const T>(from));
  }

 private:
  std::mt19937_64 engine_;  // its numbers are fixed by the C++ standard
};

}  // namespace surva::demo
