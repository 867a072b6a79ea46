#include "frame/data/connection.h"

#include <algorithm>

#include "frame/values/fault.h"

namespace surva::data {
namespace {

constexpr std::chrono::seconds kWritersPatience{10};

}  // namespace

Connection::~Connection() {
  Rollback();
}

Engine& Connection::Open() {
  if (!engine_) {
    engine_ = database_.Take(deadline_);
    fresh_ = true;
  }
  return *engine_;
}

void Connection::Reopen() {
  database_.Give(std::move(engine_));
  Open();
  if (!begun_) return;
  engine_->Begin();
  engine_->SetAuthor(author_);
  for (const std::int64_t lock : locks_) engine_->Lock(lock);
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
  Reopen();
  fresh_ = false;
  return engine_->Run(statement, effect);
}

Rows Connection::Query(Statement statement) {
  return Run(statement, Effect::kRead);
}

void Connection::Begin() {
  if (begun_) return;
  Open();
  if (WriteGate* gate = database_.write_gate(); gate != nullptr) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - std::chrono::steady_clock::now());
    if (!gate->Enter(std::clamp<std::chrono::milliseconds>(left, {}, kWritersPatience))) throw Fault::Busy({});
    in_gate_ = true;
  }
  try {
    engine_->Begin();
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
  locks_.push_back(static_cast<std::int64_t>(internal::HashName(thing)));
  engine_->Lock(locks_.back());
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
  engine_->BeginInner();
}

void Connection::CommitTrans() {
  engine_->CommitInner();
}

void Connection::RollbackTrans() noexcept {
  if (engine_ && begun_) engine_->RollbackInner();
}

void Connection::ExecuteAtCommit(std::initializer_list<Piece> statement) {
  if (!may_write_) throw WritingForbidden();
  at_commit_.emplace_back(Statement(statement));
}

void Connection::Commit() {
  CommitTo([this](Engine& engine) { database_.shared_flush().Wait([&engine] { engine.Flush(); }); });
}

void Connection::Commit(SharedFlush::Done done) {
  bool passed_on = false;
  CommitTo([&](Engine& engine) {
    passed_on = true;
    database_.shared_flush().Then([&engine] { engine.Flush(); }, done);
  });
  if (!passed_on) done(nullptr);
}

// `flush` is called where the commit is not on disk by itself.
void Connection::CommitTo(const std::function<void(Engine&)>& flush) {
  try {
    if (!at_commit_.empty()) {
      Begin();
      written_ = true;
      for (std::size_t i = 0; i + 1 < at_commit_.size(); ++i) Run(at_commit_[i].statement(), Effect::kWrite);
    }
    if (begun_) {
      const Durability durability = written_ ? durability_ : Durability::kMemory;
      engine_->Commit(durability, at_commit_.empty() ? Statement() : at_commit_.back().statement());
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
  if (engine_ && begun_) engine_->Rollback();
  begun_ = written_ = false;
  locks_.clear();
  at_commit_.clear();
  LeaveGate();
  if (engine_) database_.Give(std::move(engine_));
}

}  // namespace surva::data
