#include "host/health.h"

#include <sodium.h>

#include <algorithm>
#include <utility>

#include "frame/data/connection.h"
#include "frame/data/postgres_engine.h"
#include "frame/values/fault.h"
#include "guard/gate.h"
#include "version/version.h"

namespace surva::host {
namespace {

using data::Bound;
using data::Number;

constexpr std::chrono::milliseconds kPatience{1800};
constexpr std::chrono::seconds kHolds{1};
constexpr std::chrono::seconds kWriteEvery{5};
constexpr std::chrono::seconds kRoomEvery{30};
// Who writes much may keep others from writing for a while; who is kept longer than this is cut off.
constexpr std::chrono::milliseconds kWritersTurn{1000};
constexpr std::chrono::seconds kWritersPatience{30};
constexpr const char* kSilent = "the database has not answered in time";

// What is changed in place finds room on a full disk for long, what is added does not. A temporary table begins empty,
// and goes with the transaction: one that stays would keep the server from freezing old transactions' numbers.
void FindRoom(data::Connection& connection) try {
  connection.Execute({"create temporary table HealthzRoom (Filler integer) on commit drop"});
  connection.Execute({"insert into HealthzRoom values (1)"});
} catch (const Fault& fault) {
  // Whoever may make no such tables says nothing of the disk.
  if (fault.number() == FaultNumber::kConnectionFailed) throw;
}

}  // namespace

Health::Health(data::Database& database, wire::Log& log, Parts parts)
    : database_(database),
      log_(log),
      parts_(std::move(parts)),
      row_("healthz " + std::to_string(randombytes_random())),
      last_write_(std::chrono::steady_clock::now() - kWriteEvery),
      checker_([this] { Check(); }),
      watcher_([this] { Watch(); }) {}

Health::~Health() {
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
  }
  wake_.notify_all();
  checker_.join();
  watcher_.join();
}

void Health::Answer(bool verbose, wire::Respond respond) {
  const Time now = std::chrono::steady_clock::now();
  {
    const std::lock_guard lock(mutex_);
    const bool fresh = checked_ && now - *checked_ < kHolds;
    const bool hangs = checking_ && trouble_ == kSilent;
    if (!fresh && !hangs && !ended_) {
      askers_.push_back({verbose, std::move(respond), now + kPatience});
      wake_.notify_all();
      return;
    }
  }
  respond(Told(verbose));
}

// On the checking thread, which may hang for as long as the database does.
void Health::Check() {
  std::unique_lock lock(mutex_);
  while (true) {
    wake_.wait(lock, [this] { return ended_ || !askers_.empty(); });
    if (ended_) break;
    checking_ = true;
    lock.unlock();
    std::string trouble = Trouble();
    lock.lock();
    checking_ = false;
    checked_ = std::chrono::steady_clock::now();
    lock.unlock();
    Settle(std::move(trouble));
    lock.lock();
  }
}

// On the other thread: answers when the check does not end in time.
void Health::Watch() {
  std::unique_lock lock(mutex_);
  while (!ended_) {
    if (askers_.empty()) {
      wake_.wait(lock);
      continue;
    }
    const Time until = askers_.front().until;
    if (wake_.wait_until(lock, until, [&] { return ended_ || askers_.empty() || askers_.front().until > until; })) {
      continue;
    }
    lock.unlock();
    Settle(kSilent);
    lock.lock();
  }
}

// Tells all who wait.
void Health::Settle(std::string trouble) {
  std::vector<Asker> askers;
  {
    const std::lock_guard lock(mutex_);
    askers.swap(askers_);
    if (trouble != trouble_) {
      if (trouble.empty()) {
        log_.Info("/healthz: all is well again");
      } else {
        log_.Error("/healthz: " + trouble);
      }
      trouble_ = std::move(trouble);
    }
  }
  wake_.notify_all();
  for (const Asker& asker : askers) asker.respond(Told(asker.verbose));
}

wire::HttpResponse Health::Told(bool verbose) {
  std::string trouble;
  {
    const std::lock_guard lock(mutex_);
    trouble = trouble_;
  }
  wire::HttpResponse answer;
  answer.status = trouble.empty() ? 200 : 503;
  answer.content_type = "text/plain; charset=utf-8";
  answer.headers.emplace_back("Cache-Control", "no-store");
  answer.body = trouble.empty() ? "ok\n" : "not well\n";
  if (verbose) {
    answer.body += std::string("version: ") + Version() + "\n";
    answer.body += "database: ";
    answer.body += database_.dialect() == data::Dialect::kSqlite ? "SQLite" : "PostgreSQL";
    answer.body += trouble.empty() ? ", reads and writes\n" : ", see the error log\n";
    answer.body += parts_();
  }
  return answer;
}

std::string Health::Trouble() try {
  TryDatabase();
  return {};
} catch (const Fault& fault) {
  own_.reset();
  return fault.description() + " " + fault.detail();
} catch (const std::exception& failure) {
  own_.reset();
  return failure.what();
}

// Where the server has no connection to spare, pages share those they have, and so does this.
void Health::OpenOwn() try {
  own_.emplace(database_.dsn());
  data::Connection(*own_).Query({"select set_config('lock_timeout', '1s', false) as Done"});
} catch (const Fault& fault) {
  own_.reset();
  if (!data::IsFull(fault)) throw;
}

void Health::TryDatabase() {
  // SQLite's writers pass one gate, which stands in the pages' own database; its readers wait for nobody.
  if (database_.dialect() == data::Dialect::kPostgres && !own_) OpenOwn();
  data::Database& database = own_ ? *own_ : database_;
  database.CheckIdentity();
  data::Connection(database).Query({"select 1 as Alive"});

  // A read says nothing of a full disk, a standby, a file that was made read-only or is gone.
  const Time now = std::chrono::steady_clock::now();
  if (now - last_write_ < kWriteEvery && writes_) return;
  try {
    data::Connection connection(database);
    connection.SetDeadline(now + kWritersTurn);
    if (own_ && now - last_room_ >= kRoomEvery) {
      FindRoom(connection);
      last_room_ = now;
    }
    connection.Execute({"insert into VisitorSession (SessionKey, Contents, LastUse, TimeoutMinutes) values (",
                        Bound(Field(row_)), ", '', ", Number(guard::SecondsNow()),
                        ", 1) on conflict (SessionKey) do update set LastUse=excluded.LastUse"});
    connection.Commit();
    last_write_ = now;
    writes_ = true;
  } catch (const Fault& fault) {
    if (fault.IsBusy() && now - last_write_ < kWritersPatience) return;
    writes_ = false;
    throw;
  }
}

}  // namespace surva::host
