#include "frame/data/connection.h"

#include <algorithm>
#include <cassert>
#include <future>
#include <utility>

#include "frame/values/fault.h"

namespace surva::data {
namespace {

constexpr std::chrono::seconds kWritersPatience{10};
// How long who only reads, so far, waits for those inside the shared transaction before he goes his own way.
constexpr std::chrono::milliseconds kMoment{2};

}  // namespace

Connection::~Connection() {
  Rollback();
}

Engine& Connection::Open() {
  if (engine_ == nullptr && shared_ != nullptr) Enter(std::min(kMoment, Patience()));
  if (engine_ == nullptr) {
    own_ = database_.Take(deadline_);
    engine_ = own_.get();
    fresh_ = true;
    if (begun_) BeginAnew();
  }
  return *engine_;
}

// What had begun on a connection that was lost.
void Connection::BeginAnew() {
  try {
    engine_->Begin();
  } catch (...) {
    LetGo();
    throw;
  }
  engine_->SetAuthor(author_);
  for (const std::int64_t lock : locks_) engine_->Lock(lock);
}

void Connection::Enter(std::chrono::milliseconds patience) {
  engine_ = shared_->Enter(patience);
  inside_ = engine_ != nullptr;
  if (!inside_) return;
  engine_->SetDeadline(deadline_);
  fresh_ = true;
}

// How long a writer waits for the others.
std::chrono::milliseconds Connection::Patience() const {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - std::chrono::steady_clock::now());
  return std::clamp<std::chrono::milliseconds>(left, {}, kWritersPatience);
}

void Connection::LetGo() noexcept {
  if (inside_) shared_->Undo();
  if (own_) database_.Give(std::move(own_));
  engine_ = nullptr;
  inside_ = false;
}

Rows Connection::Run(Statement statement, Effect effect) {
  Open();
  try {
    Rows rows = engine_->Run(statement, effect);
    fresh_ = false;
    return rows;
  } catch (const Fault&) {
    // A kept connection may have been lost while nobody used it: the statement, the first of all, has reached nothing.
    const bool lost = fresh_ && !engine_->Usable();
    fresh_ = false;
    if (!lost) throw;
  }
  LetGo();
  Open();
  fresh_ = false;
  return engine_->Run(statement, effect);
}

Rows Connection::Query(Statement statement) {
  return Run(statement, Effect::kRead);
}

void Connection::Begin() {
  if (begun_) return;
  Open();
  try {
    if (shared_ != nullptr) {
      if (!inside_) {
        LetGo();
        Enter(Patience());
        if (!inside_) throw Fault::Busy({});
      }
      shared_->Begin(Patience());
      fresh_ = false;
    } else {
      if (WriteGate* gate = database_.write_gate(); gate != nullptr) {
        database_.CommitShared();
        if (!gate->Enter(Patience())) throw Fault::Busy({});
        in_gate_ = true;
      }
      engine_->Begin();
    }
    engine_->SetAuthor(author_);
  } catch (...) {
    Rollback();
    throw;
  }
  begun_ = true;
}

void Connection::BeginWrite() {
  if (!may_write_) throw WritingForbidden();
  Begin();
}

Rows Connection::Write(Statement statement) {
  BeginWrite();
  written_ = true;
  return Run(statement, Effect::kWrite);
}

std::int64_t Connection::Execute(Statement statement) {
  Write(statement);
  return engine_->RowsTouched();
}

void Connection::Lock(std::string_view thing) {
  BeginWrite();
  HoldNow(thing);
}

void Connection::HoldNow(std::string_view thing) {
  Begin();
  Engine& engine = Open();
  locks_.push_back(static_cast<std::int64_t>(internal::HashName(thing)));
  engine.Lock(locks_.back());
}

void Connection::Hold(std::string_view thing) {
  if (database_.write_gate() == nullptr) HoldNow(thing);
}

RowWriter Connection::Edit(const Table& table, const Piece& id) {
  const Rows rows = Query({"select ", Name(table.key()), " from ", Name(table), " where ", Name(table.key()), "=", id});
  RowWriter writer(*this, table);
  writer.adding_ = false;
  writer.key_ = rows.First()[0].Integer();
  return writer;
}

void Connection::Replace(std::string_view thing, std::initializer_list<Piece> removal, const RowBatch& batch,
                         const std::function<void()>& fill) {
  std::exception_ptr failure;
  try {
    fill();
  } catch (const Fault&) {
    failure = std::current_exception();
  }
  // Behind what `fill` has read, so that it costs no round trip of its own.
  Lock(thing);
  written_ = true;
  fresh_ = false;
  engine_->Replace(removal, batch.rows());
  if (failure) std::rethrow_exception(failure);
}

void Connection::BeginTrans() {
  BeginWrite();
  written_ = true;
  Open().BeginInner();
  fresh_ = false;
}

void Connection::CommitTrans() {
  assert(begun_ && "the end of an inner transaction that nobody began");
  engine_->CommitInner();
}

void Connection::RollbackTrans() noexcept {
  if (engine_ != nullptr && begun_) engine_->RollbackInner();
}

void Connection::ExecuteAtCommit(std::initializer_list<Piece> statement) {
  if (!may_write_) throw WritingForbidden();
  at_commit_.emplace_back(Statement(statement));
}

bool Connection::NeedsCommit() const {
  return HasWritten() || (inside_ && shared_->HoldsOthers());
}

void Connection::Commit() {
  if (shared_ != nullptr) {
    std::promise<void> ended;
    LeaveShared(
        [&ended](const std::exception_ptr& failure) { failure ? ended.set_exception(failure) : ended.set_value(); });
    database_.CommitShared();
    return ended.get_future().get();
  }
  CommitTo([this](Engine& engine) { database_.shared_flush().Wait([&engine] { engine.Flush(); }); });
}

void Connection::Commit(SharedFlush::Done done) {
  if (shared_ != nullptr) return LeaveShared(std::move(done));
  bool passed_on = false;
  CommitTo([&](Engine& engine) {
    passed_on = true;
    database_.shared_flush().Then([&engine] { engine.Flush(); }, done);
  });
  if (!passed_on) done(nullptr);
}

void Connection::LeaveShared(SharedFlush::Done done) {
  try {
    if (!at_commit_.empty()) {
      Begin();
      written_ = true;
      for (const KeptStatement& last : at_commit_) Run(last.statement(), Effect::kWrite);
    }
    if (NeedsCommit()) {
      shared_->Leave(written_ ? durability_ : Durability::kMemory, std::exchange(done, nullptr));
      inside_ = begun_ = false;
    }
  } catch (...) {
    Rollback();
    throw;
  }
  Rollback();
  if (done) done(nullptr);
}

// `flush` is called where the commit is not on disk by itself.
void Connection::CommitTo(const std::function<void(Engine&)>& flush) {
  try {
    if (!at_commit_.empty()) {
      Begin();
      written_ = true;
      for (std::size_t i = 0; i + 1 < at_commit_.size(); ++i) Run(at_commit_[i].statement(), Effect::kWrite);
    }
    // Without an engine, what had begun has reached nothing.
    if (begun_ && (engine_ != nullptr || !at_commit_.empty())) {
      const Durability durability = written_ ? durability_ : Durability::kMemory;
      Open().Commit(durability, at_commit_.empty() ? Statement() : at_commit_.back().statement());
      begun_ = false;
      LeaveGate();
      if (durability == Durability::kDisk && engine_->dialect() == Dialect::kSqlite) flush(*engine_);
    }
  } catch (...) {
    Rollback();
    throw;
  }
  Rollback();
}

void Connection::LeaveGate() {
  if (in_gate_) database_.write_gate()->Leave();
  in_gate_ = false;
}

void Connection::Rollback() noexcept {
  if (own_ && begun_) own_->Rollback();
  begun_ = written_ = false;
  locks_.clear();
  at_commit_.clear();
  LeaveGate();
  LetGo();
}

}  // namespace surva::data
