// Background: work that outlasts the page that began it, on threads of its own, a few at a time, so that no worker of
// other visitors' pages is taken.
#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace surva::desk {

class Background {
 public:
  using OnFailure = std::function<void(const std::exception& failure)>;

  explicit Background(OnFailure on_failure, std::size_t most = 4) : on_failure_(std::move(on_failure)), most_(most) {}
  // Waits for what is under way; whoever reads its result must have gone by then.
  ~Background();
  Background(const Background&) = delete;
  Background& operator=(const Background&) = delete;

  // False if as much as may be is under way.
  bool TryRun(std::function<void()> work);

 private:
  struct Lane {
    std::thread thread;
    bool ended = false;
  };

  const OnFailure on_failure_;
  const std::size_t most_;
  std::mutex mutex_;
  std::vector<std::unique_ptr<Lane>> lanes_;
};

}  // namespace surva::desk
