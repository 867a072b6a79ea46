#include "frame/data/change_log.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <system_error>
#include <utility>
#include <vector>

#include "frame/data/database.h"
#include "frame/values/fault.h"

namespace surva::data {
namespace {

// Pages of 4 KiB. The log is taken over by so many at a time; when it has become too long, because there was always
// somebody who wrote, the writers are held up for as long as the rest takes.
constexpr int kMany = 1000;
constexpr int kTooMany = 8000;
constexpr std::chrono::milliseconds kGatePatience{1000};
// How soon what could not be taken over is tried again: where somebody has written or read meanwhile, a pause lets the
// log begin anew without holding anybody up.
constexpr std::chrono::milliseconds kAgain{50};
constexpr int kReadersPatience = 20;  // milliseconds in which they may end what they read, while writers are held up

[[noreturn]] void FailToRead(const std::string& path) {
  throw Fault(FaultNumber::kConnectionFailed, "surva database", "The database does not answer.",
              path + ": the log of changes cannot be read or written");
}

// Null if it cannot be opened.
sqlite3* OpenToCheckpoint(const std::string& path) {
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(path.c_str(), &opened,
                                   SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
  if (code == SQLITE_OK) {
    sqlite3_busy_timeout(opened, kReadersPatience);
    // The log is known only after the first read.
    if (sqlite3_exec(opened, "SELECT count(*) FROM sqlite_master", nullptr, nullptr, nullptr) == SQLITE_OK)
      return opened;
  }
  sqlite3_close_v2(opened);
  return nullptr;
}

}  // namespace

void ChangeLog::Grown(int pages) noexcept {
  const std::lock_guard lock(mutex_);
  // Shorter than it was: it has begun anew.
  if (pages < pages_ || next_ == 0) next_ = kMany;
  pages_ = pages;
  if (pages < next_ || ends_) return;
  wanted_ = true;
  try {
    if (!keeper_.joinable()) keeper_ = std::thread([this] { Keep(); });
  } catch (const std::system_error&) {
    // The commit stands all the same; the next one tries again.
  }
  wake_.notify_one();
}

void ChangeLog::Rest() {
  std::thread keeper;
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
    keeper.swap(keeper_);
  }
  wake_.notify_one();
  if (keeper.joinable()) keeper.join();
  const std::lock_guard lock(mutex_);
  ends_ = wanted_ = false;
}

void ChangeLog::Keep() {
  const auto close = [this](sqlite3* database) {
    if (broken_) sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    sqlite3_close_v2(database);
  };
  std::unique_ptr<sqlite3, decltype(close)> database(nullptr, close);
  bool rest_is_left = false;
  std::unique_lock lock(mutex_);
  while (true) {
    if (rest_is_left) {
      wake_.wait_for(lock, kAgain, [this] { return wanted_ || ends_; });
    } else {
      wake_.wait(lock, [this] { return wanted_ || ends_; });
    }
    if (ends_) return;
    wanted_ = false;
    lock.unlock();
    // What it would read from another log than that of the commits is not theirs.
    if (!database) {
      database.reset(OpenToCheckpoint(path_));
      if (!IsInPlace()) database.reset();
    }
    int length = 0;
    int done = 0;
    // What cannot be opened now, because there are no descriptors left, can be a moment later.
    if (!database) {
      lock.lock();
      rest_is_left = wanted_ = true;
      wake_.wait_for(lock, kAgain, [this] { return ends_; });
      continue;
    }
    try {
      RequireSound(database.get());
    } catch (const Fault&) {
      return;
    }
    int outcome = sqlite3_wal_checkpoint_v2(database.get(), nullptr, SQLITE_CHECKPOINT_PASSIVE, &length, &done);
    if (outcome == SQLITE_OK && length > kTooMany && gate_.Enter(kGatePatience)) {
      outcome = sqlite3_wal_checkpoint_v2(database.get(), nullptr, SQLITE_CHECKPOINT_RESTART, &length, &done);
      gate_.Leave();
    }
    if (outcome == SQLITE_IOERR_FSYNC) FailFlush();
    watch_.Look(database.get());
    lock.lock();
    rest_is_left = outcome == SQLITE_OK && done < pages_;
    next_ = pages_ + kMany;
  }
}

void ChangeLog::Join() {
  const std::lock_guard lock(mutex_);
  const Files now = FilesNow();
  if (connections_ == 0) {
    files_ = now;
    watch_.Forget();
  }
  if (files_ != now) {
    throw Fault(FaultNumber::kConnectionFailed, "surva database", "The database does not answer.",
                path_ + ": the log of changes beside it has been deleted or replaced while surva was using it");
  }
  ++connections_;
}

void ChangeLog::Part() {
  const std::lock_guard lock(mutex_);
  --connections_;
}

bool ChangeLog::IsInPlace() const {
  const Files now = FilesNow();
  const std::lock_guard lock(mutex_);
  return files_ == now;
}

bool ChangeLog::Rescue(sqlite3* holder) {
  int length = 0;
  int done = 0;
  if (sqlite3_wal_checkpoint_v2(holder, nullptr, SQLITE_CHECKPOINT_FULL, &length, &done) != SQLITE_OK) return false;
  if (done < length) return false;
  Break("the log of changes beside the database file has been deleted or replaced");
  return true;
}

void ChangeLog::RequireSound(sqlite3* connection) {
  switch (watch_.Look(connection)) {
    case FileWatch::Sight::kSound:
      break;
    case FileWatch::Sight::kLogCut:
      Break("the log of changes beside the database file has been cut off");
      break;
    case FileWatch::Sight::kOverwritten: {
      // A program that is started anew finds what was put there, and nobody tells it that the log is another's: this
      // one stays, and refuses.
      overwritten_ = true;
      const char* whole = nullptr;
      broken_.compare_exchange_strong(whole, "something else has been written into the database file");
    }
  }
  RequireWhole();
}

void ChangeLog::Break(const char* why) {
  const char* whole = nullptr;
  if (!broken_.compare_exchange_strong(whole, why)) return;
  std::function<void(const char*)> act;
  {
    const std::lock_guard lock(mutex_);
    act = on_break_;
  }
  if (act) act(why);
}

void ChangeLog::RequireWhole() const {
  const char* why = broken_;
  if (why == nullptr) return;
  throw Fault(FaultNumber::kConnectionFailed, "surva database", "The database does not answer.",
              path_ + ": " + why + ", and nothing more is written before surva is started anew");
}

void ChangeLog::OnBreak(std::function<void(const char* why)> act) {
  const std::lock_guard lock(mutex_);
  on_break_ = std::move(act);
}

FileIdentity FileIdentity::Of(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return {};
  return {status.st_dev, status.st_ino};
}

void RewriteLog(const std::string& path) {
  const std::string name = path + "-wal";
  // The file's locks lie on another one of its files: none is lost when this is closed.
  const int handle = open(name.c_str(), O_RDWR | O_CLOEXEC);
  if (handle < 0) return;
  const std::unique_ptr<const int, void (*)(const int*)> closing(&handle, [](const int* at) { close(*at); });
  std::vector<char> bytes(1U << 20U);
  off_t at = 0;
  while (true) {
    const ssize_t got = pread(handle, bytes.data(), bytes.size(), at);
    if (got == 0) break;
    if (got < 0 || pwrite(handle, bytes.data(), static_cast<std::size_t>(got), at) != got) FailToRead(name);
    at += got;
  }
  if (at > 0 && fdatasync(handle) != 0) FailToRead(name);
}

}  // namespace surva::data
