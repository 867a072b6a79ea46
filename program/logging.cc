#include "program/logging.h"

#include <fcntl.h>
#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/null_sink.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <iterator>
#include <system_error>

#include "frame/values/ascii.h"
#include "frame/values/text.h"

namespace surva::program {

namespace {

constexpr std::size_t kLongestTarget = 300;
constexpr std::size_t kLongestText = 2000;

// Gathers lines in memory. spdlog's own sinks for the standard streams flush every line.
class GatheringSink final : public spdlog::sinks::base_sink<std::mutex> {
 public:
  GatheringSink(int descriptor, bool owned) : descriptor_(descriptor), owned_(owned) {}
  ~GatheringSink() override {
    WriteOut();
    if (owned_) ::close(descriptor_);
  }

 protected:
  void sink_it_(const spdlog::details::log_msg& message) override {
    formatter_->format(message, lines_);
    if (lines_.size() >= kMostGathered) WriteOut();
  }
  void flush_() override { WriteOut(); }

 private:
  static constexpr std::size_t kMostGathered = 64 * 1024;

  void WriteOut() {
    const char* at = lines_.data();
    std::size_t left = lines_.size();
    while (left > 0) {
      const ssize_t written = ::write(descriptor_, at, left);
      if (written < 0) {
        if (errno == EINTR) continue;
        break;  // a full disk or a closed pipe must not stop the server; these lines are lost
      }
      at += written;
      left -= static_cast<std::size_t>(written);
    }
    lines_.clear();
  }

  int descriptor_;
  bool owned_;
  spdlog::memory_buf_t lines_;
};

std::shared_ptr<spdlog::logger> MakeLogger(const std::string& name, const std::string& file, int standard_stream,
                                           const std::string& pattern) {
  std::shared_ptr<spdlog::sinks::sink> sink;
  if (file == "off") {
    sink = std::make_shared<spdlog::sinks::null_sink_st>();
  } else if (file == "-") {
    sink = std::make_shared<GatheringSink>(standard_stream, false);
  } else {
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0640);
    if (descriptor < 0) throw std::system_error(errno, std::generic_category(), file);
    sink = std::make_shared<GatheringSink>(descriptor, true);
  }
  auto logger = std::make_shared<spdlog::logger>(name, std::move(sink));
  logger->set_formatter(std::make_unique<spdlog::pattern_formatter>(pattern));
  logger->flush_on(spdlog::level::err);
  if (file == "off") logger->set_level(spdlog::level::off);
  return logger;
}

spdlog::level::level_enum LevelOf(std::string_view name) {
  if (name == "debug") return spdlog::level::debug;
  if (name == "warning") return spdlog::level::warn;
  if (name == "error") return spdlog::level::err;
  return spdlog::level::info;
}

void AppendPrintable(spdlog::memory_buf_t& line, std::string_view text, std::size_t longest) {
  const std::string_view shown = text.substr(0, longest);
  for (const char c : shown) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte >= 0x7f || c == '"' || c == '\\') {
      line.append(std::string_view("\\x"));
      line.push_back(kHexDigits[byte >> 4]);
      line.push_back(kHexDigits[byte & 15]);
    } else {
      line.push_back(c);
    }
  }
  if (shown.size() < text.size()) line.append(std::string_view("..."));
}

std::string_view View(const spdlog::memory_buf_t& line) {
  return {line.data(), line.size()};
}

void WriteText(spdlog::logger& logger, spdlog::level::level_enum level, std::string_view text) {
  if (!logger.should_log(level)) return;
  spdlog::memory_buf_t line;
  AppendPrintable(line, text, kLongestText);
  logger.log(level, View(line));
}

}  // namespace

std::string Printable(std::string_view text, std::size_t longest) {
  spdlog::memory_buf_t line;
  AppendPrintable(line, text, longest);
  return std::string(View(line));
}

std::string WithoutPin(std::string_view target) {
  std::string result;
  std::size_t at = target.find('?');
  if (at == std::string_view::npos) return std::string(target);
  result.append(target.substr(0, ++at));
  while (at < target.size()) {
    const std::size_t end = std::min(target.find('&', at), target.size());
    const std::string_view pair = target.substr(at, end - at);
    const std::size_t equals = pair.find('=');
    if (equals != std::string_view::npos && EqualNames(DecodeEscapes(pair.substr(0, equals)), "PIN")) {
      result.append(pair.substr(0, equals + 1)).append("...");
    } else {
      result.append(pair);
    }
    if (end < target.size()) result.push_back('&');
    at = end + 1;
  }
  return result;
}

FileLog::FileLog(const LogOptions& options)
    : access_(MakeLogger("access", options.access, STDOUT_FILENO, "%Y-%m-%dT%H:%M:%S.%e%z %v")),
      error_(MakeLogger("error", options.error, STDERR_FILENO, "%Y-%m-%dT%H:%M:%S.%e%z %l %v")) {
  std::signal(SIGPIPE, SIG_IGN);  // a log's reader may go away
  if (options.error != "off") error_->set_level(LevelOf(options.level));
  flusher_ = std::thread([this] { FlushEverySecond(); });
}

FileLog::~FileLog() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_one();
  flusher_.join();
  Flush();
}

void FileLog::Access(const wire::AccessEntry& entry) {
  if (!access_->should_log(spdlog::level::info)) return;
  spdlog::memory_buf_t line;
  line.append(entry.remote_addr.empty() ? std::string_view("-") : entry.remote_addr);
  line.append(std::string_view(" \""));
  AppendPrintable(line, entry.method.empty() ? "-" : entry.method, 20);
  line.push_back(' ');
  // A cut target needs no second look for what stands behind the cut, so long ones are cut before they are searched.
  if (entry.target.find('?') == std::string_view::npos) {
    AppendPrintable(line, entry.target, kLongestTarget);
  } else {
    AppendPrintable(line, WithoutPin(entry.target.substr(0, 4 * kLongestTarget)), kLongestTarget);
  }
  fmt::format_to(std::back_inserter(line), "\" {} {} {:.1f}ms", entry.status, entry.bytes, entry.milliseconds);
  access_->log(spdlog::level::info, View(line));
}

void FileLog::Debug(std::string_view text) {
  WriteText(*error_, spdlog::level::debug, text);
}
void FileLog::Info(std::string_view text) {
  WriteText(*error_, spdlog::level::info, text);
}
void FileLog::Warning(std::string_view text) {
  WriteText(*error_, spdlog::level::warn, text);
}
void FileLog::Error(std::string_view text) {
  WriteText(*error_, spdlog::level::err, text);
}

void FileLog::Flush() {
  access_->flush();
  error_->flush();
}

void FileLog::FlushEverySecond() {
  std::unique_lock lock(mutex_);
  while (!wake_.wait_for(lock, std::chrono::seconds(1), [this] { return stopping_; })) Flush();
}

}  // namespace surva::program
