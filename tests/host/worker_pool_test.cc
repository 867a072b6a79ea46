#include "host/worker_pool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <latch>

#include "tests/support/test_database.h"
#include "tests/support/watching.h"

namespace surva::host {
namespace {

using Turn = std::shared_ptr<WorkerPool::Turn>;
using Job = WorkerPool::Job;
using std::chrono::milliseconds;

// A pool whose jobs note who was served, in what order, and who was refused ('!').
class Served {
 public:
  explicit Served(WorkerPool::Options options) : pool(std::move(options)) {}
  ~Served() {
    if (braked_) Release();
  }

  void Post(char name, Job job) {
    if (!job.run) job.run = [this, name](const Turn&) { Note(name); };
    job.refuse = [this] { Note('!'); };
    pool.Post(std::move(job));
  }
  // Keeps a worker of the lane until Release.
  void Brake(Lane lane) {
    braked_ = true;
    Post('!', {.lane = lane, .address = "brake", .run = [this](const Turn&) {
                 held_.count_down();
                 release_.wait();
               }});
    held_.wait();
  }
  void Release() {
    braked_ = false;
    release_.count_down();
  }
  void Note(char name) {
    const std::lock_guard lock(mutex_);
    text_ += name;
  }
  std::string text() const {
    const std::lock_guard lock(mutex_);
    return text_;
  }
  std::size_t Count(char name) const {
    const std::string all = text();
    return static_cast<std::size_t>(std::count(all.begin(), all.end(), name));
  }
  // What has been noted as soon as it is so long.
  std::string Await(std::size_t length) const {
    test::Becomes([&] { return text().size() >= length; });
    return text();
  }

 private:
  mutable std::mutex mutex_;
  std::string text_;
  std::latch held_{1};
  std::latch release_{1};
  bool braked_ = false;

 public:
  WorkerPool pool;
};

TEST(WorkerPool, AddressesTakeTurnsAndOneVisitorsJobsKeepTheirOrder) {
  Served served({.threads = 1});
  served.Brake(Lane::kReading);
  for (const char name : {'a', 'b', 'c'}) served.Post(name, {.address = "greedy"});
  for (const char name : {'1', '2'}) served.Post(name, {.address = "shared", .visitor = "v"});
  served.Post('x', {.address = "shared"});
  served.Post('y', {.address = "third"});
  EXPECT_EQ(served.pool.waiting(), 7U);
  served.Release();
  // The second job of the visitor waits for the first, and then stands where it came.
  EXPECT_EQ(served.Await(7), "a1yb2cx");
}

TEST(WorkerPool, ReadersPassWritersThatAreStuck) {
  Served served({.threads = 1, .patience = milliseconds(500)});
  std::this_thread::sleep_for(milliseconds(150));  // also when nobody has come for a while
  served.Brake(Lane::kWriting);
  served.Post('w', {.lane = Lane::kWriting});
  served.Post('r', {.lane = Lane::kReading});
  EXPECT_EQ(served.Await(1), "r");
  // Whoever has waited too long is refused, though no worker is free.
  EXPECT_EQ(served.Await(2), "r!");
  EXPECT_EQ(served.pool.waiting(), 0U);
}

// Nobody waits behind a writer that is held up, and behind all of them, or 32 in a row, comes a settling.
TEST(WorkerPool, WritersWhoShareAreSettledSoon) {
  Served* noting = nullptr;
  Served served({.threads = 3, .settle = [&] { noting->Note('|'); }});
  noting = &served;
  served.Post('w', {.lane = Lane::kWriting});
  EXPECT_EQ(served.Await(2), "w|");
  served.Brake(Lane::kWriting);
  for (int i = 0; i < 100; ++i) served.Post('w', {.lane = Lane::kWriting});
  EXPECT_TRUE(test::Becomes([&] { return served.Count('w') == 101 && served.Count('|') >= 5; }));
  EXPECT_EQ(served.text().back(), '|');
}

TEST(WorkerPool, AVisitorsNextJobBeginsWhenTheTurnIsLetGo) {
  Served served({.threads = 1});
  // A job that passes to another lane keeps its turn.
  served.Post('1', {.visitor = "v", .run = [&](Turn turn) {
                      served.Note(turn->lane() == Lane::kReading ? 'r' : 'w');
                      if (turn->lane() == Lane::kReading) served.pool.Pass(std::move(turn), Lane::kWriting);
                    }});
  served.Post('2', {.visitor = "v"});
  EXPECT_EQ(served.Await(3), "rw2");
  Turn kept;
  served.Post('3', {.visitor = "v", .run = [&](Turn turn) {
                      kept = std::move(turn);
                      served.Note('k');
                    }});
  served.Post('4', {.visitor = "v"});
  served.Post('o', {.visitor = "w"});
  EXPECT_EQ(served.Await(5), "rw2ko");
  EXPECT_EQ(served.pool.waiting(), 1U);
  kept.reset();
  EXPECT_EQ(served.Await(6), "rw2ko4");
}

TEST(WorkerPool, AnAddressFillsNoMoreRoomThanItLeaves) {
  Served served({.threads = 1, .most_bytes = 20 * 1024, .most_of_visitor = 2});
  served.Brake(Lane::kReading);
  for (int i = 0; i < 10; ++i) served.Post('.', {.address = "greedy", .bytes = 1024});
  EXPECT_EQ(served.text(), "!!!!!");
  for (int i = 0; i < 2; ++i) served.Post('.', {.address = "modest", .bytes = 1024});
  EXPECT_EQ(served.text(), "!!!!!");
  // One browser asks for more than it may, and many addresses for more than there is.
  for (int i = 0; i < 4; ++i) served.Post('.', {.address = "third" + std::to_string(i), .visitor = "v"});
  EXPECT_EQ(served.text(), "!!!!!!");
  for (int i = 0; i < 4; ++i) served.Post('.', {.address = "other" + std::to_string(i), .bytes = 1024});
  EXPECT_EQ(served.text(), "!!!!!!!!!");
  served.Release();
  served.pool.Stop();
  EXPECT_EQ(served.text().size(), 9U + 5 + 2 + 3 + 1);
  served.Post('.', {.address = "late"});
  EXPECT_EQ(served.text().back(), '!');
}

// The second comes while a worker is on its way to the first, who waits for it.
TEST(WorkerPool, TwoAtOnceHaveTwoWorkers) {
  for (int times = 0; times < 20; ++times) {
    std::latch both(2);
    Served served({.threads = 2});
    const auto meet = [&](const Turn&) {
      both.count_down();
      if (test::Becomes([&] { return both.try_wait(); })) served.Note('.');
    };
    for (int job = 0; job < 2; ++job) served.Post('.', {.run = meet});
    ASSERT_EQ(served.Await(2), "..");
  }
}

TEST(WorkerPool, LosesNoJobInARush) {
  constexpr int kJobs = 20'000;
  Served served({.threads = 4, .patience = std::chrono::hours(1), .most_bytes = 64 * 1024});
  test::AtOnce(2, [&](int number) {
    const std::string address = std::to_string(number);
    for (int i = 0; i < kJobs; ++i) {
      served.Post('.', {.lane = static_cast<Lane>(i % 3),
                        .address = address,
                        .visitor = i % 2 == 0 ? address + std::to_string(i % 7) : "",
                        .run = [&](Turn turn) {
                          if (turn->lane() == Lane::kReading) return served.pool.Pass(std::move(turn), Lane::kWriting);
                          served.Note('.');
                        }});
    }
  });
  // Without Stop's wake: whoever is left asleep would leave jobs behind.
  EXPECT_EQ(served.Await(2 * kJobs).size(), 2U * kJobs);
  EXPECT_GT(served.Count('.'), 0U);
}

}  // namespace
}  // namespace surva::host
