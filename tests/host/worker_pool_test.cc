#include "host/worker_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>

namespace surva::host {
namespace {

TEST(WorkerPool, TurnsAwayWhatItsQueueCannotHold) {
  std::atomic<int> done = 0;
  std::latch release(1);
  {
    WorkerPool pool(2, 3);
    std::latch busy(2);
    // Both workers must come, though the second job follows before the first worker runs.
    for (int i = 0; i < 2; ++i) {
      EXPECT_TRUE(pool.TryPost([&] {
        busy.count_down();
        release.wait();
        ++done;
      }));
    }
    busy.wait();
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(pool.TryPost([&] { ++done; }));
    EXPECT_FALSE(pool.TryPost([&] { done += 100; }));
    release.count_down();
  }
  EXPECT_EQ(done, 5);
}

TEST(WorkerPool, LosesNoJobInARush) {
  std::atomic<int> done = 0;
  int posted = 0;
  WorkerPool pool(4, 64);
  for (int i = 0; i < 100'000; ++i) posted += pool.TryPost([&] { ++done; }) ? 1 : 0;
  // Without Stop's wake: whoever is left asleep would leave jobs behind.
  for (int i = 0; i < 2000 && done < posted; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  EXPECT_EQ(done, posted);
  pool.Stop();
  EXPECT_FALSE(pool.TryPost([] {}));
}

}  // namespace
}  // namespace surva::host
