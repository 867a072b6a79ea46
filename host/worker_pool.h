// WorkerPool: the threads that do the pages' work, behind a queue of bounded length.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace surva::host {

class WorkerPool {
 public:
  WorkerPool(std::size_t threads, std::size_t queue_length);
  ~WorkerPool();  // finishes what is queued
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // Queues a job; false if the queue is full or the pool has stopped. Jobs do not throw.
  bool TryPost(std::function<void()> job);
  // From inside a job: queues what must follow it, however long the queue is and also while the pool is stopping.
  void PostFollowing(std::function<void()> job);
  // Takes no more jobs and waits until the queued ones are done.
  void Stop();

 private:
  void Run();

  const std::size_t queue_length_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::function<void()>> jobs_;
  std::size_t idle_ = 0;
  bool waking_ = false;  // a worker was woken and has not run yet
  bool stopping_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace surva::host
