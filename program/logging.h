// FileLog: the access log and the error log, one line an entry. Callers only fill buffers; a thread of the log's own
// writes them once a second, and at once from level "error" up. Where a log's reader is too slow, lines are dropped and
// their number is told.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "program/log_file.h"
#include "wire/log.h"

namespace spdlog {
class logger;
}

namespace surva::program {

struct LogOptions {
  // A file's path; "-" is the standard output for the access log, the standard error for the error log; "off" is none.
  std::string access = "-";
  std::string error = "-";
  std::string level = "info";   // of the error log: debug, info, warning or error
  std::string format = "text";  // or json
};

class FileLog final : public wire::Log {
 public:
  // Throws a std::system_error that names the file if one cannot be opened.
  explicit FileLog(const LogOptions& options);
  ~FileLog() override;
  FileLog(const FileLog&) = delete;
  FileLog& operator=(const FileLog&) = delete;

  void Access(const wire::AccessEntry& entry) override;

  // Texts may hold anything: what could break a line or a terminal is written as an escape.
  void Debug(std::string_view text);
  void Info(std::string_view text) override;
  void Warning(std::string_view text) override;
  void Error(std::string_view text) override;

  // Opens the files anew, as after their rotation. Throws as the constructor does; what could not be opened stays.
  void Reopen();

 private:
  struct Sink;

  std::shared_ptr<spdlog::logger> MakeLogger(const std::string& name, std::unique_ptr<LogFile>& file,
                                             const std::string& path, int standard_stream);
  void Tell(int level, std::string_view text);
  void Wake();
  void WriteAlways();
  bool WriteOut();

  const bool json_;
  std::unique_ptr<LogFile> access_file_;  // none if off
  std::unique_ptr<LogFile> error_file_;
  std::shared_ptr<spdlog::logger> access_;
  std::shared_ptr<spdlog::logger> error_;

  std::mutex mutex_;
  std::condition_variable wake_;
  bool awake_ = false;
  bool stopping_ = false;
  std::thread writer_;
};

// The text with control characters, quotes, backslashes and bytes beyond ASCII as \xNN, cut to `longest` characters.
std::string Printable(std::string_view text, std::size_t longest);

// A request's target without what gives access: the value of a PIN in its query string becomes "...".
std::string WithoutPin(std::string_view target);

}  // namespace surva::program
