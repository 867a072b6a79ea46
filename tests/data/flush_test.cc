// Commits of one moment share a flush, and maybe a transaction; each keeps its own success, and nobody is answered
// before the disk has it.
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <future>
#include <sstream>
#include <thread>

#include "frame/data/connection.h"
#include "frame/data/shared_flush.h"
#include "tests/support/recorded.h"
#include "tests/support/test_database.h"
#include "tests/support/watched_engine.h"

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

// What the disk has refused once it may have forgotten, though it takes the next flush.
TEST(SqliteFlush, NothingIsWrittenBehindAFailedOne) {
  TestDatabase database(Dialect::kSqlite);
  std::atomic<int> told = 0;
  database->OnBrokenLog([&](const char*) { ++told; });
  EXPECT_EQ(StoreMessage(*database, "thanked"), FaultNumber{});
  disk_fails = true;
  EXPECT_EQ(StoreMessage(*database, "in doubt"), FaultNumber::kCommitInDoubt);
  EXPECT_FALSE(disk_fails);
  EXPECT_EQ(told, 1);
  for (int again = 0; again < 2; ++again) EXPECT_EQ(StoreMessage(*database, "refused"), FaultNumber::kConnectionFailed);
  EXPECT_EQ(told, 1);
  database.Reopen();
  database->SettleLog();
  EXPECT_EQ(StoreMessage(*database, "afterwards"), FaultNumber{});
  EXPECT_EQ(Read(*database, {"select Message from Message order by MessageID"}), "thanked in doubt afterwards");
  // Nor behind one of the thread that takes the log over into the file: here of more than it waits for.
  std::promise<void> broken;
  database->OnBrokenLog([&](const char*) { broken.set_value(); });
  disk_fails = true;
  Connection db(*database);
  db.SetDurability(Durability::kMemory);
  db.Execute(
      {"insert into VisitorSession (SessionKey, Contents) values ('', ", Text(std::string(8'000'000, 'x')), ")"});
  db.Commit();
  EXPECT_EQ(broken.get_future().wait_for(60s), std::future_status::ready);
}

// Requests that share a transaction, and what each was told: "." for success, else how it failed.
class Sharing : public ::testing::Test {
 protected:
  // Writes rows of these texts, parted by "+"; a text that is too long is refused.
  void Ask(const std::string& texts, Durability durability = Durability::kDisk) {
    Connection db(*database);
    db.Share();
    db.SetDurability(durability);
    const std::size_t mine = told.size();
    told.emplace_back("?");
    try {
      std::istringstream parts(texts);
      for (std::string text; std::getline(parts, text, '+');) Add(db, text);
      db.Commit([this, mine](const std::exception_ptr& failure) { told[mine] = failure ? NumberOf(failure) : "."; });
    } catch (const Fault&) {
      told[mine] = NumberOf(std::current_exception());
    }
  }
  static void Add(Connection& db, const std::string& text) {
    db.AddNew(kFieldValue).Set("FieldValue", Value(text)).Update();
  }
  static std::string NumberOf(const std::exception_ptr& failure) {
    try {
      std::rethrow_exception(failure);
    } catch (const Fault& fault) {
      return fault.number() == FaultNumber::kCommitInDoubt ? "doubt" : fault.IsBusy() ? "busy" : "failed";
    }
  }
  // A full disk takes the whole transaction along: what is written behind that must not stand alone.
  void FillTheDisk() {
    Connection db(*database);
    db.Share();
    db.Execute({"pragma max_page_count=1"});
    EXPECT_THROW(db.Execute({"insert into VisitorSession (SessionKey, Contents) values ('', ",
                             Text(std::string(1'000'000, 'x')), ")"}),
                 Fault);
    EXPECT_THROW(Add(db, "behind"), Fault);
    EXPECT_THROW(db.Commit([](const std::exception_ptr&) {}), Fault);
  }
  // What all were told, and what others see.
  std::string State() {
    std::string all = "told";
    for (const std::string& one : told) all += " " + one;
    return all + ", seen: " + Read(*database, {"select FieldValue from FieldValue order by FieldValueID"});
  }

  Watch watch;
  TestDatabase made{Dialect::kSqlite};
  std::optional<Database> database{std::in_place, made.dsn(), WatchedEngine::Around(watch)};
  std::vector<std::string> told;
};

TEST_F(Sharing, Cases) {
  const auto share = [this](const std::vector<std::string>& steps) {
    database.emplace(made.dsn(), WatchedEngine::Around(watch));
    Write(*database, {"delete from FieldValue"});
    told.clear();
    std::string all;
    for (const std::string& step : steps) {
      const std::uint64_t flushes = database->traffic().flushes;
      watch.fail_commit = step == "commit-fails";
      disk_fails = step == "flush-fails";
      if (step.starts_with("commit") || step == "flush-fails") {
        database->CommitShared();
        all += step + ": " + State() + ", flushes: " + std::to_string(database->traffic().flushes - flushes) + "; ";
      } else if (step == "dropped" || step == "reads") {
        Connection db(*database);
        db.Share();
        if (step == "dropped") Add(db, step);
        const std::size_t rows = db.Query({"select FieldValue from FieldValue"}).size();
        all +=
            step + ": sees " + std::to_string(rows) + (db.NeedsCommit() ? ", not sure yet, " : ", ") + State() + "; ";
      } else if (step == "full") {
        FillTheDisk();
        all += "full: " + State() + "; ";
      } else if (step == "own") {  // does not wait for those who have left
        Write(*database, {"insert into FieldValue (FieldValue) values ('own')"});
      } else {
        Ask(step, step == "in-memory" ? Durability::kMemory : Durability::kDisk);
      }
    }
    return all + "at last: " + State();
  };
  // A request alone, which begins with a lock.
  const auto alone = [this](const std::vector<std::string>& words) {
    const auto has = [&](const char* word) { return std::find(words.begin(), words.end(), word) != words.end(); };
    Write(*database, {"delete from FieldValue"});
    const std::uint64_t flushes = database->traffic().flushes;
    Connection db(*database);
    db.Lock("a thing");
    if (has("writes")) Add(db, "written");
    if (has("writes-at-commit")) db.ExecuteAtCommit({"insert into FieldValue (FieldValue) values ('last')"});
    if (has("in-memory")) db.SetDurability(Durability::kMemory);
    told.assign(1, "?");
    has("waits") ? db.Commit()
                 : db.Commit([this](const auto& failure) { told[0] = failure ? NumberOf(failure) : "."; });
    return State() + ", flushes: " + std::to_string(database->traffic().flushes - flushes);
  };
  PlayCases("tests/data/sharing.cases", {.lines = {{"share", share}, {"alone", alone}}});
}

TEST_F(Sharing, ManyAtOnceAreEachAnsweredOnceAndRightly) {
  constexpr int kThreads = 6;
  constexpr int kRequests = 60;
  std::atomic<int> stored = 0;
  std::atomic<int> answers = 0;
  AtOnce(kThreads, [&](int thread) {
    for (int request = 0; request < kRequests; ++request) {
      Connection db(*database);
      if (thread > 0) db.Share();
      db.Query({"select max(FieldValueID) as Last from FieldValue"});
      db.AddNew(kFieldValue).Set("FieldValue", Value("x")).Update();
      if (request % 5 == 4) continue;
      const auto done = [&](const std::exception_ptr& failure) { ++(failure ? answers : stored); };
      if (thread == 1) {
        db.Commit();
        ++stored;
      } else {
        db.Commit(done);
      }
      if (thread > 1 && request % 3 == 0) database->CommitShared();
    }
    database->CommitShared();
  });
  database->CommitShared();
  EXPECT_EQ(answers, 0);
  EXPECT_EQ(stored, kThreads * kRequests * 4 / 5);
  EXPECT_EQ(Read(*database, {"select count(*) from FieldValue"}), std::to_string(stored));
}

}  // namespace
}  // namespace surva::test
