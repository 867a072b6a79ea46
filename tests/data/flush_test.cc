// Commits of one moment share a flush; each keeps its own success, and nobody is answered before the disk has it.
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

#include "frame/data/connection.h"
#include "frame/data/shared_flush.h"
#include "frame/values/fault.h"
#include "tests/support/test_database.h"

namespace {
std::atomic<bool> disk_fails = false;
}

// In front of the C library's: SQLite flushes by it.
extern "C" int fdatasync(int handle) {
  if (disk_fails.exchange(false)) {
    errno = EIO;
    return -1;
  }
  return static_cast<int>(syscall(SYS_fdatasync, handle));
}

namespace surva::test {
namespace {

using namespace std::chrono_literals;
using namespace data;
using namespace data::tables;

TEST(SharedFlush, OneForAllWhoComeBeforeItBegins) {
  SharedFlush shared;
  std::atomic<int> written = 0;  // what callers have put down
  std::atomic<int> on_disk = 0;  // of that, what a flush has seen
  std::atomic<int> flushes = 0;
  std::atomic<int> too_early = 0;
  const auto flush = [&] {
    const int seen = written;
    ++flushes;
    std::this_thread::sleep_for(5ms);
    on_disk = seen;
  };
  constexpr int kThreads = 16;
  constexpr int kCommits = 10;
  std::atomic<int> answered = 0;
  AtOnce(kThreads, [&](int thread) {
    for (int commit = 0; commit < kCommits; ++commit) {
      const int mine = ++written;
      const auto check = [&, mine](std::exception_ptr) {
        if (on_disk < mine) ++too_early;
        ++answered;
      };
      if (thread % 2 == 0) {
        shared.Wait(flush);
        check(nullptr);
      } else {
        shared.Then(flush, check);
      }
    }
  });
  EXPECT_EQ(answered, kThreads * kCommits);
  EXPECT_EQ(too_early, 0);
  EXPECT_LT(flushes, kThreads * kCommits / 2);
}

TEST(SharedFlush, AFailureIsToldToThoseWhomItConcerns) {
  SharedFlush shared;
  EXPECT_THROW(shared.Wait([] { throw Fault(FaultNumber::kCommitInDoubt, "test", "no disk"); }), Fault);
  shared.Wait([] {});
  bool failed = false;
  shared.Then([] { throw Fault(FaultNumber::kCommitInDoubt, "test", "no disk"); },
              [&](std::exception_ptr failure) { failed = failure != nullptr; });
  EXPECT_TRUE(failed);
}

TEST(SqliteFlush, IsForWhatMustNotBeLostAlone) {
  TestDatabase database(Dialect::kSqlite);
  const auto commit = [&](Durability durability, bool writes, bool waits) {
    const std::uint64_t before = database->traffic().flushes;
    Connection db(*database);
    db.Lock("a thing");
    if (writes) db.AddNew(kMessage).Set("Message", Value("kept")).Update();
    db.ExecuteAtCommit({"insert into Message (Message) values (", Text("last"), ")"});
    db.SetDurability(durability);
    int done = 0;
    if (waits) {
      db.Commit();
    } else {
      db.Commit([&](std::exception_ptr failure) { done += failure ? 100 : 1; });
      EXPECT_EQ(done, 1);
    }
    return database->traffic().flushes - before;
  };
  EXPECT_EQ(commit(Durability::kDisk, true, true), 1U);
  EXPECT_EQ(commit(Durability::kDisk, true, false), 1U);
  EXPECT_EQ(commit(Durability::kMemory, false, true), 0U);
  EXPECT_EQ(commit(Durability::kMemory, true, false), 0U);
  EXPECT_EQ(Read(*database, {"select count(*) from Message where Message='last'"}), "4");
  const std::uint64_t before = database->traffic().flushes;
  Connection db(*database);
  db.Lock("a thing");
  db.Commit();
  EXPECT_EQ(database->traffic().flushes, before) << "nothing was written";
}

// What the disk has refused once it may have forgotten, though it takes the next flush.
TEST(SqliteFlush, NothingIsWrittenBehindAFailedOne) {
  TestDatabase database(Dialect::kSqlite);
  std::atomic<int> told = 0;
  database->OnBrokenLog([&] { ++told; });
  const auto commit = [&](const char* text) {
    Connection db(*database);
    try {
      db.AddNew(kMessage).Set("Message", Value(text)).Update();
      db.Commit();
    } catch (const Fault& fault) {
      return fault.number();
    }
    return FaultNumber{};
  };
  EXPECT_EQ(commit("thanked"), FaultNumber{});
  disk_fails = true;
  EXPECT_EQ(commit("in doubt"), FaultNumber::kCommitInDoubt);
  EXPECT_FALSE(disk_fails);
  EXPECT_EQ(told, 1);
  for (int again = 0; again < 2; ++again) EXPECT_EQ(commit("refused"), FaultNumber::kConnectionFailed);
  EXPECT_EQ(told, 1);
  database.Reopen();
  database->SettleLog();
  EXPECT_EQ(commit("afterwards"), FaultNumber{});
  EXPECT_EQ(Read(*database, {"select Message from Message order by MessageID"}), "thanked in doubt afterwards");
}

}  // namespace
}  // namespace surva::test
