#include "frame/data/file_watch.h"

#include <cstddef>

namespace surva::data {
namespace {

// The index of the log of changes, as "WAL-mode File Format" in SQLite's manual has it: places of two bytes, and of
// four.
constexpr int kIndexBytes = 32768;
constexpr std::size_t kPageBytes = 7;
constexpr std::size_t kFrames = 4;
constexpr std::size_t kSalt = 8;
constexpr std::size_t kTakenOver = 24;
constexpr std::size_t kToBeTakenOver = 32;
// The log itself: what stands before its frames, and before the page in each.
constexpr sqlite3_int64 kLogHead = 32;
constexpr sqlite3_int64 kFrameHead = 24;

sqlite3_file* FileOf(sqlite3* connection, int which) {
  sqlite3_file* file = nullptr;
  sqlite3_file_control(connection, "main", which, static_cast<void*>(&file));
  return file != nullptr && file->pMethods != nullptr ? file : nullptr;
}

}  // namespace

std::optional<FileWatch::Progress> FileWatch::ProgressNow(sqlite3_file* file) {
  volatile void* index = nullptr;
  if (file->pMethods->iVersion < 2 || file->pMethods->xShmMap(file, 0, kIndexBytes, 0, &index) != SQLITE_OK ||
      index == nullptr) {
    return {};
  }
  const auto* words = static_cast<const volatile std::uint32_t*>(index);
  const std::uint32_t page_bytes = static_cast<const volatile std::uint16_t*>(index)[kPageBytes];
  return Progress{words[kFrames],
                  page_bytes == 1 ? 65536U : page_bytes,  // which two bytes cannot hold
                  {words[kSalt], words[kSalt + 1]},
                  words[kTakenOver],
                  words[kToBeTakenOver]};
}

FileWatch::Sight FileWatch::Look(sqlite3* connection) {
  sqlite3_file* const file = FileOf(connection, SQLITE_FCNTL_FILE_POINTER);
  sqlite3_file* const log = FileOf(connection, SQLITE_FCNTL_JOURNAL_POINTER);
  if (file == nullptr || log == nullptr) return Sight::kSound;
  const std::lock_guard lock(mutex_);
  const std::optional<Progress> before = ProgressNow(file);
  Seen now;
  sqlite3_int64 log_bytes = 0;
  const bool known = log->pMethods->xFileSize(log, &log_bytes) == SQLITE_OK &&
                     file->pMethods->xFileSize(file, &now.face.bytes) == SQLITE_OK;
  const int read = file->pMethods->xRead(file, now.face.head.data(), static_cast<int>(now.face.head.size()), 0);
  const std::optional<Progress> after = ProgressNow(file);
  // What moves while it is being looked at tells nothing.
  if (!known || (read != SQLITE_OK && read != SQLITE_IOERR_SHORT_READ) || !before || before != after) {
    seen_.reset();
    return Sight::kSound;
  }
  now.progress = *before;
  const Progress& progress = now.progress;
  if (progress.frames > 0 && log_bytes < kLogHead + progress.frames * (kFrameHead + progress.page_bytes)) {
    return Sight::kLogCut;
  }
  // SQLite writes into the file only while it takes the log over.
  const bool rests = progress.taken_over == progress.to_be_taken_over;
  const bool moved = !seen_ || seen_->progress.salt != progress.salt ||
                     seen_->progress.taken_over != progress.taken_over ||
                     seen_->progress.to_be_taken_over != progress.to_be_taken_over;
  if (rests && !moved && seen_->face != now.face) return Sight::kOverwritten;
  seen_ = now;
  return Sight::kSound;
}

void FileWatch::Forget() {
  const std::lock_guard lock(mutex_);
  seen_.reset();
}

}  // namespace surva::data
