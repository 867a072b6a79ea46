// StatementTimes: what the statements of one request have taken, for the log of slow requests. It keeps their texts as
// the program has them, with a question mark in place of each value: nobody's words come into a log by it.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <string>

#include "frame/data/statement.h"

namespace surva::host {

class StatementTimes {
 public:
  using Time = std::chrono::steady_clock::duration;

  // Lets the statements of this thread count for `times` as long as it stands.
  class Scope {
   public:
    explicit Scope(StatementTimes& times) { current_ = &times; }
    ~Scope() { current_ = nullptr; }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
  };

  // Counts a statement for whatever request this thread works on; for none, if on none.
  static void Note(data::Statement statement, Time taken) {
    if (current_ != nullptr) current_->Add(statement, taken);
  }

  // "12 statements in 803 ms; 790 ms: select * from Mark where ...; 8 ms: ...", the longest ones first.
  std::string Text() const;

 private:
  struct Taken {
    Time time{};
    std::string text;
  };

  void Add(data::Statement statement, Time taken);

  static thread_local StatementTimes* current_;
  std::size_t count_ = 0;
  Time all_{};
  std::array<Taken, 3> longest_;
};

}  // namespace surva::host
