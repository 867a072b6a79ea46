// Log: where the wire tells what was asked and what went wrong.
#pragma once

#include <cstddef>
#include <string_view>

namespace surva::wire {

struct AccessEntry {
  std::string_view request_id;
  std::string_view remote_addr;
  std::string_view method;  // empty if no request could be read
  std::string_view target;  // as it was sent
  unsigned status = 0;
  std::size_t bytes = 0;  // of the body
  double milliseconds = 0;
};

// May be called from any thread. Texts may hold anything.
class Log {
 public:
  virtual ~Log() = default;

  // One that waits for its reader may lose lines, but does not make its callers wait.
  virtual void Access(const AccessEntry& entry) = 0;
  virtual void Info(std::string_view text) = 0;
  virtual void Warning(std::string_view text) = 0;
  virtual void Error(std::string_view text) = 0;
};

}  // namespace surva::wire
