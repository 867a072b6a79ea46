// Slowdown: who guesses waits. Wrong tries are counted in the database by a key (an address, an account), so that all
// nodes count together. Some are free; each further one makes the next wait longer, up to a bound; quiet time lets them
// be forgotten one by one.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "frame/data/connection.h"

namespace surva::guard {

class Slowdown {
 public:
  struct Rule {
    int free = 10;                    // tries that cost no wait
    std::int64_t longest_wait = 60;   // seconds
    std::int64_t forgotten_in = 120;  // seconds of quiet for each
  };

  constexpr explicit Slowdown(Rule rule) : rule_(rule) {}

  // Tries that a key has left, and the seconds until the next one if there are none.
  struct Standing {
    int free = 0;
    std::int64_t wait = 0;
    bool has_wrong = false;  // whether there are any that are not forgotten yet
  };
  Standing Ask(data::Connection& connection, std::string_view key, std::int64_t now) const;
  // Counts a wrong try.
  void Count(data::Connection& connection, std::string_view key, std::int64_t now) const;
  // Takes one back that was counted before it proved right.
  void Uncount(data::Connection& connection, std::string_view key) const;
  // Forgets all of them.
  static void Forget(data::Connection& connection, std::string_view key);
  // Deletes a portion of what is forgotten. Whether there may be more.
  static bool Purge(data::Connection& connection, std::int64_t now);

 private:
  // Beyond this many wrong tries the wait grows no longer.
  int most() const;

  Rule rule_;
};

}  // namespace surva::guard
