#include "desk/background.h"

namespace surva::desk {

Background::~Background() {
  for (const auto& lane : lanes_) lane->thread.join();
}

bool Background::TryRun(std::function<void()> work) {
  const std::lock_guard lock(mutex_);
  std::erase_if(lanes_, [](const std::unique_ptr<Lane>& lane) {
    if (lane->ended) lane->thread.join();
    return lane->ended;
  });
  if (lanes_.size() >= most_) return false;
  Lane& lane = *lanes_.emplace_back(std::make_unique<Lane>());
  lane.thread = std::thread([this, &lane, work = std::move(work)] {
    try {
      work();
    } catch (const std::exception& failure) {
      on_failure_(failure);
    }
    const std::lock_guard ending(mutex_);
    lane.ended = true;
  });
  return true;
}

}  // namespace surva::desk
