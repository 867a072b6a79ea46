#include "frame/data/database.h"

#include <algorithm>
#include <condition_variable>

#include "frame/data/postgres_engine.h"
#include "frame/data/schema_upgrade.h"
#include "frame/data/sqlite_engine.h"
#include "frame/values/fault.h"

namespace surva::data {

struct WriteWaiter {
  std::condition_variable turn;
};

bool WriteGate::Enter(std::chrono::milliseconds patience) {
  std::unique_lock lock(mutex_);
  if (taken_) {
    WriteWaiter waiter;
    waiting_.push_back(&waiter);
    const bool free = waiter.turn.wait_for(lock, patience, [&] { return !taken_; });
    std::erase(waiting_, &waiter);
    if (!free) return false;
  }
  taken_ = true;
  return true;
}

// Who has waited longest is woken; a writer who comes meanwhile may go first, so that the gate need not stand idle
// until a thread has woken up.
void WriteGate::Leave() {
  const std::lock_guard lock(mutex_);
  taken_ = false;
  if (!waiting_.empty()) waiting_.front()->turn.notify_one();
}

Database::Database(std::string dsn, Wrap wrap) : dsn_(std::move(dsn)), wrap_(std::move(wrap)) {
  constexpr std::string_view kSqlitePrefix = "sqlite:";
  if (dsn_.starts_with(kSqlitePrefix) && dsn_.size() > kSqlitePrefix.size()) {
    address_ = dsn_.substr(kSqlitePrefix.size());
  } else if (dsn_.starts_with("postgresql://") || dsn_.starts_with("postgres://")) {
    dialect_ = Dialect::kPostgres;
    address_ = dsn_;
  } else {
    throw SchemaError("the database is named sqlite:PATH or by a postgresql:// address");
  }
  idle_.push_back(Open());
}

Database::~Database() = default;

std::unique_ptr<Engine> Database::Open() const {
  std::unique_ptr<Engine> engine = dialect_ == Dialect::kSqlite ? OpenSqlite(address_) : OpenPostgres(address_);
  return wrap_ ? wrap_(std::move(engine)) : std::move(engine);
}

void Database::BringUpToDate() {
  std::unique_ptr<Engine> engine = Take();
  data::BringUpToDate(*engine);
  Give(std::move(engine));
}

std::unique_ptr<Engine> Database::Take() {
  {
    const std::lock_guard lock(mutex_);
    if (!idle_.empty()) {
      std::unique_ptr<Engine> engine = std::move(idle_.back());
      idle_.pop_back();
      return engine;
    }
  }
  return Open();
}

void Database::Give(std::unique_ptr<Engine> engine) {
  const std::lock_guard lock(mutex_);
  if (engine->Usable() && !engine->InTransaction()) {
    idle_.push_back(std::move(engine));
  } else if (!engine->Usable()) {
    // What broke this connection broke the others too.
    idle_.clear();
  }
}

void Database::Close() {
  std::vector<std::unique_ptr<Engine>> closing;
  {
    const std::lock_guard lock(mutex_);
    closing.swap(idle_);
  }
  if (dialect_ == Dialect::kSqlite) {
    if (closing.empty()) closing.push_back(Open());
    closing.front()->RunScript("PRAGMA wal_checkpoint(TRUNCATE)");
  }
}

}  // namespace surva::data
