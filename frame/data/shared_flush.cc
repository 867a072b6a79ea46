#include "frame/data/shared_flush.h"

#include <utility>

namespace surva::data {

void SharedFlush::Lead(std::unique_lock<std::mutex>& lock, const Flush& flush) {
  leading_ = true;
  std::vector<Done> served = std::exchange(asked_, {});
  lock.unlock();
  std::exception_ptr failure;
  try {
    flush();
  } catch (...) {
    failure = std::current_exception();
  }
  for (const Done& done : served) done(failure);
  lock.lock();
  leading_ = false;
  changed_.notify_all();
}

void SharedFlush::Wait(const Flush& flush) {
  bool ended = false;
  std::exception_ptr failure;
  std::unique_lock lock(mutex_);
  asked_.push_back([&](std::exception_ptr how) {
    const std::lock_guard guard(mutex_);
    ended = true;
    failure = std::move(how);
  });
  ++waiting_;
  while (!ended) {
    if (leading_) {
      changed_.wait(lock);
    } else {
      Lead(lock, flush);
    }
  }
  --waiting_;
  // Who has asked meanwhile and does not wait needs somebody who flushes.
  while (!leading_ && waiting_ == 0 && !asked_.empty()) Lead(lock, flush);
  if (failure) std::rethrow_exception(failure);
}

void SharedFlush::Then(const Flush& flush, Done done) {
  std::unique_lock lock(mutex_);
  asked_.push_back(std::move(done));
  while (!leading_ && !asked_.empty()) Lead(lock, flush);
}

}  // namespace surva::data
