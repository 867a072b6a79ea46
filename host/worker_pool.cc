#include "host/worker_pool.h"

#include <utility>

namespace surva::host {

WorkerPool::WorkerPool(std::size_t threads, std::size_t queue_length) : queue_length_(queue_length) {
  threads_.reserve(threads);
  for (std::size_t i = 0; i < threads; ++i) threads_.emplace_back([this] { Run(); });
}

WorkerPool::~WorkerPool() {
  Stop();
}

bool WorkerPool::TryPost(std::function<void()> job) {
  bool wake = false;
  {
    std::lock_guard lock(mutex_);
    if (stopping_ || jobs_.size() >= queue_length_) return false;
    jobs_.push_back(std::move(job));
    // One worker on its way is enough: it wakes the next if it finds more than it takes.
    wake = idle_ > 0 && !waking_;
    if (wake) waking_ = true;
  }
  if (wake) wake_.notify_one();
  return true;
}

void WorkerPool::PostFollowing(std::function<void()> job) {
  // The worker that runs the present job comes back for this one, so nobody need be woken.
  const std::lock_guard lock(mutex_);
  jobs_.push_back(std::move(job));
}

void WorkerPool::Stop() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  for (std::thread& thread : threads_) {
    if (thread.joinable()) thread.join();
  }
}

void WorkerPool::Run() {
  std::unique_lock lock(mutex_);
  while (true) {
    while (jobs_.empty() && !stopping_) {
      ++idle_;
      wake_.wait(lock);
      --idle_;
      waking_ = false;
    }
    if (jobs_.empty()) return;
    std::function<void()> job = std::move(jobs_.front());
    jobs_.pop_front();
    const bool wake = !jobs_.empty() && idle_ > 0 && !waking_;
    if (wake) waking_ = true;
    lock.unlock();
    if (wake) wake_.notify_one();
    job();
    job = nullptr;
    lock.lock();
  }
}

}  // namespace surva::host
