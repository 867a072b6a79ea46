// ChangeLog: what all connections to one SQLite file have in common about its log of changes (the write-ahead log). A
// thread of its own takes the log over into the file when it has grown long, so that no commit waits for that.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "frame/data/file_watch.h"

namespace surva::data {

class WriteGate;

// A file as the system knows it: another one under the same name is another.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t number = 0;
  bool operator==(const FileIdentity&) const = default;

  // Zeros if there is no such file.
  static FileIdentity Of(const std::string& path);
};

class ChangeLog {
 public:
  ChangeLog(std::string path, WriteGate& gate) : path_(std::move(path)), gate_(gate) {}
  ~ChangeLog() { Rest(); }
  ChangeLog(const ChangeLog&) = delete;
  ChangeLog& operator=(const ChangeLog&) = delete;

  // A commit has left so many pages in the log.
  void Grown(int pages) noexcept;
  // Ends the thread, until the log grows again.
  void Rest();

  // A connection has been opened, or is about to close. As long as one is open, the log's files are the same for all:
  // throws a Fault, and the connection does not count, if they are others than those of the connections before it.
  void Join();
  void Part();
  // Whether the files under the log's names are those that the connections have open.
  bool IsInPlace() const;
  // For a log that is not in place. What stands in it is lost with the last who has it open: `holder`, which does and
  // has no transaction under way, takes it over into the database file, and the log breaks. False if that fails.
  bool Rescue(sqlite3* holder);

  // Throws a Fault, and the log is broken, if what stands in the files that `connection` has open is not what SQLite
  // has put there.
  void RequireSound(sqlite3* connection);
  // Whether something else has been put into the database file: what is in the log does not belong to it.
  bool overwritten() const { return overwritten_; }

  // A flush has failed. The system may have let go of what it could not write, and the next flush would succeed all
  // the same: nothing may be written behind that, and what stands is to be read anew by a fresh program.
  void FailFlush() { Break("a flush to disk has failed"); }
  bool broken() const { return broken_ != nullptr; }
  // Throws a Fault if the log is broken.
  void RequireWhole() const;
  // Is called once, when the log breaks.
  void OnBreak(std::function<void(const char* why)> act);

 private:
  struct Files {
    FileIdentity log;
    FileIdentity index;
    bool operator==(const Files&) const = default;
  };

  Files FilesNow() const { return {FileIdentity::Of(path_ + "-wal"), FileIdentity::Of(path_ + "-shm")}; }
  void Break(const char* why);
  void Keep();

  const std::string path_;
  WriteGate& gate_;
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::thread keeper_;
  bool ends_ = false;
  bool wanted_ = false;
  int pages_ = 0;  // at the last commit
  int next_ = 0;   // at how many it is to be taken over; 0 for the first time
  std::size_t connections_ = 0;
  Files files_;  // while there are connections
  FileWatch watch_;
  std::atomic<const char*> broken_ = nullptr;  // why
  std::atomic<bool> overwritten_ = false;
  std::function<void(const char* why)> on_break_;
};

// Writes the log anew, byte for byte, and flushes it. What a program that died has left in the log may be known to the
// system alone, also where a flush has failed; whoever goes on writing behind it must have it on disk. To be called by
// the one who holds the file's write lock.
void RewriteLog(const std::string& path);

}  // namespace surva::data
