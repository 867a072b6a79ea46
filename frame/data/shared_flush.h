// SharedFlush: one flush to disk for all who ask at the same moment.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <vector>

namespace surva::data {

class SharedFlush {
 public:
  using Flush = std::function<void()>;
  using Done = std::function<void(std::exception_ptr failure)>;

  // Waits until a flush that began after the call has ended: this caller's own, or that of another one. Throws what
  // the flush threw.
  void Wait(const Flush& flush);
  // Does not wait for a flush that another caller has under way: that one calls `done` after the next. Otherwise this
  // caller flushes, for himself and for all who come meanwhile.
  void Then(const Flush& flush, Done done);

 private:
  // Flushes for all who have asked. `lock` is held before and after, not meanwhile.
  void Lead(std::unique_lock<std::mutex>& lock, const Flush& flush);

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Done> asked_;
  std::size_t waiting_ = 0;  // callers in Wait
  bool leading_ = false;
};

}  // namespace surva::data
