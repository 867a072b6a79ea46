#include "program/log_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace surva::program {

namespace {

// The journal says in JOURNAL_STREAM which file is its own (systemd.exec(5)); streams may have been led elsewhere.
bool IsJournal(int descriptor) {
  const char* const stream = std::getenv("JOURNAL_STREAM");
  struct stat status {};
  return stream != nullptr && ::fstat(descriptor, &status) == 0 &&
         std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}

bool IsRegular(int descriptor) {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

LogFile::LogFile(std::string path, int standard_stream)
    : path_(std::move(path)), descriptor_(path_ == "-" ? standard_stream : Open()) {
  is_regular_ = IsRegular(descriptor_);
  is_journal_ = path_ == "-" && IsJournal(descriptor_);
}

LogFile::~LogFile() {
  if (path_ == "-") return;
  ::close(descriptor_);
  if (next_descriptor_ >= 0) ::close(next_descriptor_);
}

int LogFile::Open() const {
  const int descriptor = ::open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0640);
  if (descriptor < 0) throw std::system_error(errno, std::generic_category(), path_);
  return descriptor;
}

void LogFile::Reopen() {
  if (path_ == "-") return;
  int descriptor = Open();
  const std::lock_guard lock(mutex_);
  std::swap(next_descriptor_, descriptor);
  if (descriptor >= 0) ::close(descriptor);
}

bool LogFile::Append(std::string_view lines) {
  const std::lock_guard lock(mutex_);
  if (lines_.size() + lines.size() > kMostBuffered) {
    ++dropped_;
    return false;
  }
  const bool was_small = lines_.size() < kMostBuffered / 16;
  lines_.append(lines);
  return was_small && lines_.size() >= kMostBuffered / 16;
}

std::size_t LogFile::TakeDropped() {
  const std::lock_guard lock(mutex_);
  return std::exchange(dropped_, 0);
}

bool LogFile::IsReady() const {
  pollfd ready{descriptor_, POLLOUT, 0};
  return ::poll(&ready, 1, 0) > 0;
}

bool LogFile::WriteOut() {
  // Not for ever, however fast lines come: there is another log to write.
  for (int round = 0; round < 3; ++round) {
    if (writing_.empty() && !TakeLines()) return true;
    if (!WriteTaken()) return false;
  }
  return false;
}

bool LogFile::TakeLines() {
  const std::lock_guard lock(mutex_);
  writing_.swap(lines_);
  if (next_descriptor_ >= 0) {
    ::close(std::exchange(descriptor_, std::exchange(next_descriptor_, -1)));
    is_regular_ = IsRegular(descriptor_);
  }
  return !writing_.empty();
}

bool LogFile::WriteTaken() {
  while (written_ < writing_.size()) {
    if (!IsReady()) return false;
    // A pipe that is ready takes so much without making its writer wait.
    const std::size_t left = writing_.size() - written_;
    const ssize_t written =
        ::write(descriptor_, writing_.data() + written_, is_regular_ ? left : std::min<std::size_t>(left, PIPE_BUF));
    if (written < 0) {
      if (errno == EINTR) continue;
      if (errno == EAGAIN) return false;
      break;  // a full disk or a closed pipe; these lines are lost
    }
    written_ += static_cast<std::size_t>(written);
  }
  written_ = 0;
  writing_.clear();
  return true;
}

}  // namespace surva::program
