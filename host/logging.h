// Log: the access log and the error log, one line an entry. Entries are gathered and written once a second, at once
// from level "error" up, so that an entry costs no system call.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace spdlog {
class logger;
}

namespace surva::host {

struct LogOptions {
  // A file's path; "-" is the standard output for the access log, the standard error for the error log; "off" is none.
  std::string access = "-";
  std::string error = "-";
  std::string level = "info";  // of the error log: debug, info, warning or error
};

struct AccessEntry {
  std::string_view remote_addr;
  std::string_view method;  // empty if no request could be read
  std::string_view target;  // as it was sent
  unsigned status = 0;
  std::size_t bytes = 0;  // of the body
  double milliseconds = 0;
};

class Log {
 public:
  // Throws a std::system_error that names the file if one cannot be opened.
  explicit Log(const LogOptions& options);
  ~Log();
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  void Access(const AccessEntry& entry);

  // Texts may hold anything: what could break a line or a terminal is written as an escape.
  void Debug(std::string_view text);
  void Info(std::string_view text);
  void Warning(std::string_view text);
  void Error(std::string_view text);

  void Flush();

 private:
  void FlushEverySecond();

  std::shared_ptr<spdlog::logger> access_;
  std::shared_ptr<spdlog::logger> error_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool stopping_ = false;
  std::thread flusher_;
};

// The text with control characters, quotes, backslashes and bytes beyond ASCII as \xNN, cut to `longest` characters.
std::string Printable(std::string_view text, std::size_t longest);

// A request's target without what gives access: the value of a PIN in its query string becomes "...".
std::string WithoutPin(std::string_view target);

}  // namespace surva::host
