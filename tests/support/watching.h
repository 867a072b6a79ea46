// What tests watch: whether something comes true, and what was logged.
#pragma once

#include <chrono>
#include <mutex>
#include <string>
#include <thread>

#include "wire/log.h"

namespace surva::test {

// Whether something comes true before a minute is over.
template <class Condition>
bool Becomes(const Condition& condition) {
  for (int i = 0; i < 12'000; ++i) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return false;
}

class KeptLog final : public wire::Log {
 public:
  void Access(const wire::AccessEntry&) override {}
  void Info(std::string_view) override {}
  void Warning(std::string_view text) override { Keep("warning: ", text); }
  void Error(std::string_view text) override { Keep("error: ", text); }
  // Warnings and errors, a line each.
  std::string text() const {
    const std::lock_guard lock(mutex_);
    return text_;
  }

 private:
  void Keep(const char* level, std::string_view text) {
    const std::lock_guard lock(mutex_);
    text_.append(level).append(text).append("\n");
  }

  mutable std::mutex mutex_;
  std::string text_;
};

}  // namespace surva::test
