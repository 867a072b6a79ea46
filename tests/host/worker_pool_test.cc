#include "host/worker_pool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <latch>
#include <string>

namespace surva::host {
namespace {

using Turn = std::shared_ptr<WorkerPool::Turn>;
using std::chrono::milliseconds;

// Who was served, in what order, and who was refused.
class Protocol {
 public:
  std::function<void(Turn)> Serve(char name) {
    return [this, name](const Turn&) { Note(name); };
  }
  std::function<void()> Refuse(char name) {
    return [this, name] { Note(name); };
  }
  void Note(char name) {
    const std::lock_guard lock(mutex_);
    text_ += name;
  }
  std::string text() const {
    const std::lock_guard lock(mutex_);
    return text_;
  }
  bool Becomes(std::size_t length) const {
    for (int i = 0; i < 5000 && text().size() < length; ++i) std::this_thread::sleep_for(milliseconds(1));
    return text().size() >= length;
  }

 private:
  mutable std::mutex mutex_;
  std::string text_;
};

// Keeps a worker until it is released.
class Brake {
 public:
  WorkerPool::Job In(Lane lane) {
    return {.lane = lane,
            .address = "brake",
            .run =
                [this](const Turn&) {
                  held_.count_down();
                  release_.wait();
                },
            .refuse = [] {}};
  }
  void Hold(WorkerPool& pool, Lane lane) {
    pool.Post(In(lane));
    held_.wait();
  }
  void Release() { release_.count_down(); }

 private:
  std::latch held_{1};
  std::latch release_{1};
};

TEST(WorkerPool, AddressesTakeTurnsAndOneVisitorsJobsKeepTheirOrder) {
  Protocol protocol;
  Brake brake;
  WorkerPool pool({.threads = 1});
  brake.Hold(pool, Lane::kReading);
  const auto post = [&](char name, const char* address, const char* visitor) {
    pool.Post({.address = address, .visitor = visitor, .run = protocol.Serve(name), .refuse = protocol.Refuse('!')});
  };
  for (const char name : {'a', 'b', 'c'}) post(name, "greedy", "");
  post('1', "shared", "v");
  post('2', "shared", "v");
  post('x', "shared", "");
  post('y', "third", "");
  EXPECT_EQ(pool.waiting(), 7U);
  brake.Release();
  ASSERT_TRUE(protocol.Becomes(7));
  // The second job of the visitor waits for the first, and then stands where it came.
  EXPECT_EQ(protocol.text(), "a1yb2cx");
}

TEST(WorkerPool, ReadersPassWritersThatAreStuck) {
  Protocol protocol;
  Brake brake;
  WorkerPool pool({.threads = 1, .patience = milliseconds(100)});
  brake.Hold(pool, Lane::kWriting);
  pool.Post({.lane = Lane::kWriting, .run = protocol.Serve('w'), .refuse = protocol.Refuse('!')});
  pool.Post({.lane = Lane::kReading, .run = protocol.Serve('r'), .refuse = protocol.Refuse('?')});
  pool.Post({.lane = Lane::kStaff, .run = protocol.Serve('s'), .refuse = protocol.Refuse('?')});
  // Whoever has waited too long is refused, though no worker is free.
  ASSERT_TRUE(protocol.Becomes(3));
  EXPECT_EQ(protocol.text().back(), '!');
  EXPECT_EQ(pool.waiting(), 0U);
  brake.Release();
}

// Nobody waits behind a writer that is held up, and behind all of them, or 32 in a row, comes a settling.
TEST(WorkerPool, WritersWhoShareAreSettledSoon) {
  Protocol protocol;
  Brake brake;
  WorkerPool pool({.threads = 3, .settle = [&] { protocol.Note('|'); }});
  const auto post = [&] {
    pool.Post({.lane = Lane::kWriting, .run = protocol.Serve('w'), .refuse = protocol.Refuse('?')});
  };
  const auto count = [&](char name) {
    const std::string text = protocol.text();
    return std::count(text.begin(), text.end(), name);
  };
  post();
  ASSERT_TRUE(protocol.Becomes(2));
  EXPECT_EQ(protocol.text(), "w|");
  brake.Hold(pool, Lane::kWriting);
  for (int i = 0; i < 100; ++i) post();
  for (int i = 0; i < 5000 && (count('w') < 101 || count('|') < 5); ++i) std::this_thread::sleep_for(milliseconds(1));
  EXPECT_EQ(count('w'), 101);
  EXPECT_GE(count('|'), 5);
  EXPECT_EQ(protocol.text().back(), '|');
  brake.Release();
}

TEST(WorkerPool, AJobThatPassesToAnotherLaneKeepsItsTurn) {
  Protocol protocol;
  WorkerPool pool({.threads = 1});
  pool.Post({.lane = Lane::kReading,
             .visitor = "v",
             .run =
                 [&](Turn turn) {
                   protocol.Note(turn->lane() == Lane::kReading ? 'r' : 'w');
                   if (turn->lane() == Lane::kReading) pool.Pass(std::move(turn), Lane::kWriting);
                 },
             .refuse = protocol.Refuse('!')});
  pool.Post({.lane = Lane::kReading, .visitor = "v", .run = protocol.Serve('2'), .refuse = protocol.Refuse('!')});
  ASSERT_TRUE(protocol.Becomes(3));
  EXPECT_EQ(protocol.text(), "rw2");
}

TEST(WorkerPool, TheNextJobOfAVisitorBeginsWhenTheTurnIsLetGo) {
  Protocol protocol;
  WorkerPool pool({.threads = 2});
  Turn kept;
  std::latch has_run(1);
  pool.Post({.visitor = "v",
             .run =
                 [&](Turn turn) {
                   kept = std::move(turn);
                   has_run.count_down();
                 },
             .refuse = protocol.Refuse('!')});
  pool.Post({.visitor = "v", .run = protocol.Serve('2'), .refuse = protocol.Refuse('!')});
  pool.Post({.visitor = "w", .run = protocol.Serve('o'), .refuse = protocol.Refuse('!')});
  has_run.wait();
  ASSERT_TRUE(protocol.Becomes(1));
  EXPECT_EQ(protocol.text(), "o");
  EXPECT_EQ(pool.waiting(), 1U);
  kept.reset();
  ASSERT_TRUE(protocol.Becomes(2));
  EXPECT_EQ(protocol.text(), "o2");
}

TEST(WorkerPool, AnAddressFillsNoMoreRoomThanItLeaves) {
  Protocol protocol;
  Brake brake;
  WorkerPool pool({.threads = 1, .most_bytes = 20 * 1024, .most_of_visitor = 2});
  brake.Hold(pool, Lane::kReading);
  const auto post = [&](const char* address, const char* visitor) {
    pool.Post({.address = address,
               .visitor = visitor,
               .bytes = 1024,
               .run = protocol.Serve('.'),
               .refuse = protocol.Refuse('!')});
  };
  for (int i = 0; i < 10; ++i) post("greedy", "");
  EXPECT_EQ(protocol.text(), "!!!!!");
  post("modest", "");
  post("modest", "");
  EXPECT_EQ(protocol.text(), "!!!!!");
  // One browser asks for more than it may.
  for (int i = 0; i < 4; ++i) post("third", "v");
  EXPECT_EQ(protocol.text(), "!!!!!!!");
  brake.Release();
  pool.Stop();
  EXPECT_EQ(protocol.text().size(), 7U + 5 + 2 + 2);
  post("late", "");
  EXPECT_EQ(protocol.text().back(), '!');
}

TEST(WorkerPool, LosesNoJobInARush) {
  std::atomic<int> done = 0;
  std::atomic<int> refused = 0;
  constexpr int kJobs = 20'000;
  {
    WorkerPool pool({.threads = 4, .most_bytes = 64 * 1024});
    const auto rush = [&](const std::string& address) {
      for (int i = 0; i < kJobs; ++i) {
        pool.Post({.lane = static_cast<Lane>(i % 3),
                   .address = address,
                   .visitor = i % 2 == 0 ? address + std::to_string(i % 7) : "",
                   .run =
                       [&](Turn turn) {
                         if (turn->lane() == Lane::kReading) return pool.Pass(std::move(turn), Lane::kWriting);
                         ++done;
                       },
                   .refuse = [&] { ++refused; }});
      }
    };
    std::thread other([&] { rush("b"); });
    rush("a");
    other.join();
    // Without Stop's wake: whoever is left asleep would leave jobs behind.
    for (int i = 0; i < 2000 && done + refused < 2 * kJobs; ++i) std::this_thread::sleep_for(milliseconds(1));
  }
  EXPECT_EQ(done + refused, 2 * kJobs);
  EXPECT_GT(done, 0);
}

}  // namespace
}  // namespace surva::host
