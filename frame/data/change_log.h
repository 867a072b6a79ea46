// ChangeLog: what all connections to one SQLite file have in common about its log of changes (the write-ahead log). A
// thread of its own takes the log over into the file when it has grown long, so that no commit waits for that.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace surva::data {

class WriteGate;

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

  // A flush has failed. The system may have let go of what it could not write, and the next flush would succeed all
  // the same: nothing may be written behind that, and what stands is to be read anew by a fresh program.
  void Break();
  bool broken() const { return broken_; }
  // Throws a Fault if the log is broken.
  void RequireWhole() const;
  // Is called once, when the log breaks.
  void OnBreak(std::function<void()> act);

 private:
  void Keep();

  const std::string path_;
  WriteGate& gate_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::thread keeper_;
  bool ends_ = false;
  bool wanted_ = false;
  int pages_ = 0;  // at the last commit
  int next_ = 0;   // at how many it is to be taken over; 0 for the first time
  std::atomic<bool> broken_ = false;
  std::function<void()> on_break_;
};

// Writes the log anew, byte for byte, and flushes it. What a program that died has left in the log may be known to the
// system alone, also where a flush has failed; whoever goes on writing behind it must have it on disk. To be called by
// the one who holds the file's write lock.
void RewriteLog(const std::string& path);

}  // namespace surva::data
