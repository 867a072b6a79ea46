#include "frame/data/database.h"

#include <algorithm>
#include <condition_variable>
#include <filesystem>

#include "frame/data/postgres_engine.h"
#include "frame/data/schema_upgrade.h"
#include "frame/data/sqlite_engine.h"
#include "frame/values/fault.h"

namespace surva::data {
namespace {

// How long a request waits for a connection, and how often it looks whether the server has one again.
constexpr std::chrono::seconds kPatience{5};
constexpr std::chrono::milliseconds kAgain{100};

// How long writers may go ahead of one who waits.
constexpr std::chrono::milliseconds kMostOvertaken{20};

constexpr std::string_view kSqlitePrefix = "sqlite:";

Dialect DialectOf(std::string_view dsn) {
  if (dsn.starts_with(kSqlitePrefix) && dsn.size() > kSqlitePrefix.size()) return Dialect::kSqlite;
  if (dsn.starts_with("postgresql://") || dsn.starts_with("postgres://")) return Dialect::kPostgres;
  throw SchemaError("the database is named sqlite:PATH or by a postgresql:// address");
}

}  // namespace

struct WriteWaiter {
  std::chrono::steady_clock::time_point since = std::chrono::steady_clock::now();
  std::condition_variable turn;
};

bool WriteGate::Enter(std::chrono::milliseconds patience) {
  std::unique_lock lock(mutex_);
  if (taken_ || IsOverdue()) {
    if (patience.count() <= 0) return false;
    WriteWaiter waiter;
    waiting_.push_back(&waiter);
    const bool free = waiter.turn.wait_for(lock, patience, [&] { return !taken_; });
    std::erase(waiting_, &waiter);
    if (!free) return false;
  }
  taken_ = true;
  return true;
}

bool WriteGate::IsOverdue() const {
  return !waiting_.empty() && std::chrono::steady_clock::now() - waiting_.front()->since > kMostOvertaken;
}

// Who has waited longest is woken; a writer who comes meanwhile may go first, so that the gate need not stand idle
// until a thread has woken up; but not for long.
void WriteGate::Leave() {
  const std::lock_guard lock(mutex_);
  taken_ = false;
  if (!waiting_.empty()) waiting_.front()->turn.notify_one();
}

Database::Database(std::string dsn, Wrap wrap, MissingFile missing)
    : dsn_(std::move(dsn)),
      wrap_(std::move(wrap)),
      dialect_(DialectOf(dsn_)),
      address_(dialect_ == Dialect::kSqlite ? dsn_.substr(kSqlitePrefix.size()) : dsn_) {
  idle_.push_back(Open(missing));
  if (dialect_ == Dialect::kSqlite) identity_ = FileIdentity::Of(address_);
}

Database::~Database() = default;

std::unique_ptr<Engine> Database::Open(MissingFile missing) {
  if (dialect_ == Dialect::kSqlite && identity_ != FileIdentity{}) CheckIdentity();
  std::unique_ptr<Engine> engine = dialect_ == Dialect::kSqlite ? OpenSqlite(address_, missing, traffic_, change_log_)
                                                                : OpenPostgres(address_, traffic_);
  return wrap_ ? wrap_(std::move(engine)) : std::move(engine);
}

void Database::CheckIdentity() const {
  if (dialect_ != Dialect::kSqlite || FileIdentity::Of(address_) == identity_) return;
  throw Fault(FaultNumber::kConnectionFailed, "surva database", "The database does not answer.",
              address_ + " has been deleted or replaced while surva was using it; put it back, or restart surva");
}

void Database::BringUpToDate() {
  std::unique_ptr<Engine> engine = Take();
  data::BringUpToDate(*engine);
  Give(std::move(engine));
}

std::unique_ptr<Engine> Database::Take(Engine::Time deadline) {
  const Engine::Time patience = std::min(deadline, SteadyClock::now() + kPatience);
  while (true) {
    std::unique_ptr<Engine> engine = TakeIdle(patience);
    try {
      if (!engine) engine = Open();
      engine->SetDeadline(deadline);
      return engine;
    } catch (const Fault& fault) {
      std::unique_lock lock(mutex_);
      --in_use_;
      if (!IsFull(fault) || SteadyClock::now() >= patience) throw;
      given_.wait_for(lock, kAgain, [this] { return !idle_.empty(); });
    }
  }
}

// Null if another one may be opened, which then counts as in use.
std::unique_ptr<Engine> Database::TakeIdle(SteadyClock::time_point deadline) {
  std::unique_lock lock(mutex_);
  if (!given_.wait_until(lock, deadline, [this] { return !idle_.empty() || in_use_ < kMostConnections; })) {
    throw Fault::Busy("all connections are in use");
  }
  ++in_use_;
  if (idle_.empty()) return nullptr;
  std::unique_ptr<Engine> engine = std::move(idle_.back());
  idle_.pop_back();
  return engine;
}

void Database::Give(std::unique_ptr<Engine> engine) {
  const std::lock_guard lock(mutex_);
  if (in_use_ > 0) --in_use_;
  if (engine->Usable() && !engine->InTransaction()) {
    idle_.push_back(std::move(engine));
  } else if (!engine->Usable()) {
    // What broke this connection broke the others too.
    idle_.clear();
  }
  given_.notify_one();
}

void Database::SettleLog() {
  if (dialect_ != Dialect::kSqlite) return;
  std::unique_ptr<Engine> engine = Take();
  engine->Begin();
  RewriteLog(address_);
  engine->Rollback();
  Give(std::move(engine));
}

void Database::CommitShared() {
  if (dialect_ == Dialect::kSqlite) shared_transaction_.Commit();
}

void Database::Close() {
  shared_transaction_.Close();
  change_log_.Rest();
  std::vector<std::unique_ptr<Engine>> closing;
  {
    const std::lock_guard lock(mutex_);
    closing.swap(idle_);
  }
  if (dialect_ == Dialect::kSqlite && !change_log_.broken()) {
    if (closing.empty()) closing.push_back(Open());
    closing.front()->RunScript("PRAGMA wal_checkpoint(TRUNCATE)");
  }
  if (change_log_.overwritten()) {
    closing.clear();
    std::error_code ignored;
    std::filesystem::rename(address_ + "-wal", address_ + "-wal.overwritten", ignored);
  }
}

}  // namespace surva::data
