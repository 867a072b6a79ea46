// The answers and pieces of them on their way from other threads to the I/O thread.
#pragma once

#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>

#include "wire/connection.h"

namespace surva::wire {

class AnswerQueue : public std::enable_shared_from_this<AnswerQueue> {
 public:
  struct Item {
    std::weak_ptr<Connection> connection;
    std::optional<HttpResponse> response;  // none: more of a streamed body is there
  };
  // A place in the queue, made beforehand, so that no answer is lost for want of memory.
  using Slot = std::list<Item>;

  // `wake` has the queue emptied soon, on the I/O thread; if it throws, whoever comes by must do it.
  explicit AnswerQueue(std::function<void()> wake) : wake_(std::move(wake)) {}

  // From any thread. The first of a batch wakes the I/O thread, the others ride along.
  void Push(Slot& slot) noexcept;
  Slot TakeAll() noexcept;
  // What comes from now on is dropped.
  void Close() noexcept;

  // A call that pushes an item without a response, once.
  std::function<void()> Resumption(const std::shared_ptr<Connection>& connection);

 private:
  std::mutex mutex_;
  std::function<void()> wake_;
  Slot items_;
  bool woken_ = false;
};

}  // namespace surva::wire
