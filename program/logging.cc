#include "program/logging.h"

#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/null_sink.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <iterator>

#include "frame/values/ascii.h"
#include "frame/values/text.h"

namespace surva::program {

namespace {

constexpr std::size_t kLongestTarget = 300;
constexpr std::size_t kLongestText = 2000;
constexpr std::chrono::seconds kWriteEvery{1};
constexpr std::chrono::milliseconds kAskAgain{50};        // while a log's reader does not take its lines
constexpr std::chrono::milliseconds kLastPatience{1000};  // of the end of the program with such a reader

constexpr const char* kTextPattern = "%Y-%m-%dT%H:%M:%S.%e%z ";
constexpr const char* kJsonPattern = "{\"time\":\"%Y-%m-%dT%H:%M:%S.%e%z\",\"level\":\"%l\",%v}";

// The level as the journal reads it in front of a line (sd-daemon(3)).
class PriorityFlag final : public spdlog::custom_flag_formatter {
 public:
  void format(const spdlog::details::log_msg& message, const std::tm&, spdlog::memory_buf_t& line) override {
    std::string_view priority = "<6>";
    if (message.level == spdlog::level::debug) priority = "<7>";
    if (message.level == spdlog::level::warn) priority = "<4>";
    if (message.level >= spdlog::level::err) priority = "<3>";
    line.append(priority);
  }
  std::unique_ptr<custom_flag_formatter> clone() const override { return std::make_unique<PriorityFlag>(); }
};

spdlog::level::level_enum LevelOf(std::string_view name) {
  if (name == "debug") return spdlog::level::debug;
  if (name == "warning") return spdlog::level::warn;
  if (name == "error") return spdlog::level::err;
  return spdlog::level::info;
}

void AppendPrintable(spdlog::memory_buf_t& line, std::string_view text, std::size_t longest,
                     std::string_view escape = "\\x") {
  const std::string_view shown = text.substr(0, longest);
  for (const char c : shown) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte >= 0x7f || c == '"' || c == '\\') {
      line.append(escape);
      line.push_back(kHexDigits[byte >> 4]);
      line.push_back(kHexDigits[byte & 15]);
    } else {
      line.push_back(c);
    }
  }
  if (shown.size() < text.size()) line.append(std::string_view("..."));
}

// `,"name":"text"`, the text as a line of text would have it.
void AppendMember(spdlog::memory_buf_t& line, std::string_view name, std::string_view text, std::size_t longest) {
  if (line.size() > 0) line.push_back(',');
  fmt::format_to(std::back_inserter(line), "\"{}\":\"", name);
  AppendPrintable(line, text, longest, "\\\\x");
  line.push_back('"');
}

std::string_view View(const spdlog::memory_buf_t& line) {
  return {line.data(), line.size()};
}

}  // namespace

struct FileLog::Sink final : spdlog::sinks::base_sink<std::mutex> {
  Sink(FileLog& log_, LogFile& file_) : log(log_), file(file_) {}

  void sink_it_(const spdlog::details::log_msg& message) override {
    line.clear();
    formatter_->format(message, line);
    if (file.Append(View(line)) || message.level >= spdlog::level::err) log.Wake();
  }
  void flush_() override {}

  FileLog& log;
  LogFile& file;
  spdlog::memory_buf_t line;
};

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
    : json_(options.format == "json"),
      access_(MakeLogger("access", access_file_, options.access, STDOUT_FILENO)),
      error_(MakeLogger("error", error_file_, options.error, STDERR_FILENO)) {
  std::signal(SIGPIPE, SIG_IGN);  // a log's reader may go away
  if (error_file_) error_->set_level(LevelOf(options.level));
  writer_ = std::thread([this] { WriteAlways(); });
}

FileLog::~FileLog() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_one();
  writer_.join();
}

std::shared_ptr<spdlog::logger> FileLog::MakeLogger(const std::string& name, std::unique_ptr<LogFile>& file,
                                                    const std::string& path, int standard_stream) {
  if (path == "off") {
    auto none = std::make_shared<spdlog::logger>(name, std::make_shared<spdlog::sinks::null_sink_st>());
    none->set_level(spdlog::level::off);
    return none;
  }
  file = std::make_unique<LogFile>(path, standard_stream);
  auto logger = std::make_shared<spdlog::logger>(name, std::make_shared<Sink>(*this, *file));
  std::string pattern = json_ ? kJsonPattern : kTextPattern;
  if (!json_) pattern += name == "access" ? "%v" : "%l %v";
  if (file->is_journal()) pattern = "%*" + pattern;
  auto formatter = std::make_unique<spdlog::pattern_formatter>();
  formatter->add_flag<PriorityFlag>('*').set_pattern(pattern);
  logger->set_formatter(std::move(formatter));
  return logger;
}

void FileLog::Access(const wire::AccessEntry& entry) {
  if (!access_->should_log(spdlog::level::info)) return;
  const std::string_view client = entry.remote_addr.empty() ? "-" : entry.remote_addr;
  const std::string_view method = entry.method.empty() ? "-" : entry.method;
  // A cut target needs no second look for what stands behind the cut, so long ones are cut before they are searched.
  const std::string target = WithoutPin(entry.target.substr(0, 4 * kLongestTarget));
  spdlog::memory_buf_t line;
  if (json_) {
    AppendMember(line, "request", entry.request_id, kLongestText);
    AppendMember(line, "client", client, kLongestText);
    AppendMember(line, "method", method, 20);
    AppendMember(line, "target", target, kLongestTarget);
    fmt::format_to(std::back_inserter(line), ",\"status\":{},\"bytes\":{},\"milliseconds\":{:.1f}", entry.status,
                   entry.bytes, entry.milliseconds);
  } else {
    line.append(client);
    line.append(std::string_view(" \""));
    AppendPrintable(line, method, 20);
    line.push_back(' ');
    AppendPrintable(line, target, kLongestTarget);
    fmt::format_to(std::back_inserter(line), "\" {} {} {:.1f}ms {}", entry.status, entry.bytes, entry.milliseconds,
                   entry.request_id);
  }
  access_->log(spdlog::level::info, View(line));
}

void FileLog::Tell(int level, std::string_view text) {
  const auto spdlog_level = static_cast<spdlog::level::level_enum>(level);
  if (!error_->should_log(spdlog_level)) return;
  spdlog::memory_buf_t line;
  if (json_) {
    AppendMember(line, "text", text, kLongestText);
  } else {
    AppendPrintable(line, text, kLongestText);
  }
  error_->log(spdlog_level, View(line));
}

void FileLog::Debug(std::string_view text) {
  Tell(spdlog::level::debug, text);
}
void FileLog::Info(std::string_view text) {
  Tell(spdlog::level::info, text);
}
void FileLog::Warning(std::string_view text) {
  Tell(spdlog::level::warn, text);
}
void FileLog::Error(std::string_view text) {
  Tell(spdlog::level::err, text);
}

void FileLog::Reopen() {
  if (access_file_) access_file_->Reopen();
  if (error_file_) error_file_->Reopen();
}

void FileLog::Wake() {
  {
    const std::lock_guard lock(mutex_);
    awake_ = true;
  }
  wake_.notify_one();
}

void FileLog::WriteAlways() {
  bool all = true;
  std::unique_lock lock(mutex_);
  while (!stopping_) {
    wake_.wait_for(lock, all ? kWriteEvery : kAskAgain, [this] { return stopping_ || awake_; });
    awake_ = false;
    lock.unlock();
    all = WriteOut();
    lock.lock();
  }
  lock.unlock();
  const auto end = std::chrono::steady_clock::now() + kLastPatience;
  while (!WriteOut() && std::chrono::steady_clock::now() < end) std::this_thread::sleep_for(kAskAgain);
}

// True if nothing is left to be written.
bool FileLog::WriteOut() {
  bool all = true;
  for (LogFile* const file : {access_file_.get(), error_file_.get()}) {
    if (file == nullptr) continue;
    if (!file->WriteOut()) {
      all = false;
      continue;
    }
    if (const std::size_t dropped = file->TakeDropped(); dropped > 0) {
      Warning(std::to_string(dropped) + " lines of the " + (file == access_file_.get() ? "access" : "error") +
              " log were dropped, its reader is too slow");
    }
  }
  return all;
}

}  // namespace surva::program
