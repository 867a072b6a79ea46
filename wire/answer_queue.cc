#include "wire/answer_queue.h"

#include <utility>

namespace surva::wire {

void AnswerQueue::Push(Slot& slot) noexcept {
  Slot dropped;
  const std::lock_guard lock(mutex_);
  if (!wake_) {
    dropped.swap(slot);
    return;
  }
  items_.splice(items_.end(), slot);
  if (woken_) return;
  try {
    wake_();
    woken_ = true;
  } catch (...) {  // no memory; the next one to come wakes it, or the server's own clock
  }
}

AnswerQueue::Slot AnswerQueue::TakeAll() noexcept {
  const std::lock_guard lock(mutex_);
  woken_ = false;
  return std::exchange(items_, {});
}

void AnswerQueue::Close() noexcept {
  Slot dropped;
  const std::lock_guard lock(mutex_);
  wake_ = nullptr;
  dropped.swap(items_);
}

std::function<void()> AnswerQueue::Resumption(const std::shared_ptr<Connection>& connection) {
  auto slot = std::make_shared<Slot>();
  slot->push_back({connection, std::nullopt});
  return [queue = shared_from_this(), slot] { queue->Push(*slot); };
}

}  // namespace surva::wire
