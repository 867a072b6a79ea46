#include "host/delay_line.h"

#include <algorithm>
#include <utility>

namespace surva::host {

DelayLine::DelayLine() : thread_([this] { Run(); }) {}

DelayLine::~DelayLine() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_one();
  thread_.join();
}

void DelayLine::Add(std::chrono::milliseconds pace, std::chrono::milliseconds most, std::function<void()> work) {
  const Time now = std::chrono::steady_clock::now();
  {
    const std::lock_guard lock(mutex_);
    last_ = std::min(std::max(now, last_ + pace), now + most);
    waiting_.emplace(last_, std::move(work));
  }
  wake_.notify_one();
}

void DelayLine::Run() {
  std::unique_lock lock(mutex_);
  while (!stopping_ || !waiting_.empty()) {
    if (waiting_.empty()) {
      wake_.wait(lock);
      continue;
    }
    const auto first = waiting_.begin();
    if (!stopping_ && std::chrono::steady_clock::now() < first->first) {
      wake_.wait_until(lock, Time(first->first));
      continue;
    }
    const std::function<void()> work = std::move(first->second);
    waiting_.erase(first);
    lock.unlock();
    work();
    lock.lock();
  }
}

}  // namespace surva::host
