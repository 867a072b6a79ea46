// DelayLine: work that waits for its time without holding a thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace surva::host {

class DelayLine {
 public:
  DelayLine();
  ~DelayLine();  // does at once what still waits
  DelayLine(const DelayLine&) = delete;
  DelayLine& operator=(const DelayLine&) = delete;

  // Does the work in its turn: `pace` after the one before it, but no later than `most` from now.
  void Add(std::chrono::milliseconds pace, std::chrono::milliseconds most, std::function<void()> work);

 private:
  using Time = std::chrono::steady_clock::time_point;
  void Run();

  std::mutex mutex_;
  std::condition_variable wake_;
  std::multimap<Time, std::function<void()>> waiting_;
  Time last_ = Time::min();  // the clock may have begun a moment ago
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace surva::host
