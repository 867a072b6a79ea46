#include "frame/data/shared_transaction.h"

#include <algorithm>
#include <utility>

#include "frame/data/database.h"
#include "frame/values/fault.h"

namespace surva::data {
namespace {

Fault Lost() {
  return {FaultNumber::kConnectionFailed, "surva database", "The database does not answer.",
          "a transaction that several requests shared had to be undone"};
}

// The first one's needs no mark: if it is undone, so is the transaction.
constexpr Piece kMark[] = {"SAVEPOINT part"};
constexpr Piece kKeep[] = {"RELEASE part"};
constexpr Piece kUndo[] = {"ROLLBACK TO part"};

}  // namespace

std::shared_ptr<Engine> SharedTransaction::Open() {
  return {database_.Take().release(), [this](Engine* engine) { database_.Give(std::unique_ptr<Engine>(engine)); }};
}

Engine* SharedTransaction::Enter(std::chrono::milliseconds patience) {
  if (!inside_.Enter(patience)) return nullptr;
  try {
    if (!engine_) {
      engine_ = Open();
      // The pages that most requests come by stay in memory.
      engine_->RunScript("PRAGMA cache_size=-16384");
    }
    if (!flusher_) flusher_ = Open();
  } catch (...) {
    inside_.Leave();
    throw;
  }
  return engine_.get();
}

void SharedTransaction::Begin(std::chrono::milliseconds patience) {
  if (open_) {
    engine_->Run(kMark, Effect::kWrite);
    part_ = Part::kFurther;
    return;
  }
  if (!gate_.Enter(patience)) throw Fault::Busy({});
  try {
    engine_->Begin();
  } catch (...) {
    gate_.Leave();
    throw;
  }
  open_ = true;
  part_ = Part::kFirst;
}

void SharedTransaction::Leave(Durability durability, Done done) {
  // After some failures, of the disk above all, SQLite has undone everybody's part.
  if (open_ && (!engine_->Usable() || !engine_->InTransaction())) throw Lost();
  members_.push_back({durability, std::move(done)});
  try {
    if (part_ == Part::kFurther) engine_->Run(kKeep, Effect::kWrite);
  } catch (...) {
    members_.pop_back();
    throw;
  }
  part_ = Part::kNone;
  inside_.Leave();
}

void SharedTransaction::Undo() noexcept {
  bool stands = part_ != Part::kFirst && engine_->Usable() && (!open_ || engine_->InTransaction());
  if (stands && part_ == Part::kFurther) {
    try {
      engine_->Run(kUndo, Effect::kWrite);
      engine_->Run(kKeep, Effect::kWrite);
    } catch (const std::exception&) {
      stands = false;
    }
  }
  Members lost;
  if (!stands && open_) {
    engine_->Rollback();
    lost = EndTransaction();
  }
  part_ = Part::kNone;
  DropBroken();
  inside_.Leave();
  Tell(lost, std::make_exception_ptr(Lost()));
}

void SharedTransaction::Commit() noexcept {
  if (!inside_.Enter({})) return;
  std::exception_ptr failure;
  const bool on_disk = std::any_of(members_.begin(), members_.end(),
                                   [](const Member& member) { return member.durability == Durability::kDisk; });
  Members members;
  if (open_) {
    try {
      engine_->Commit(on_disk ? Durability::kDisk : Durability::kMemory, {});
    } catch (const std::exception&) {
      failure = std::current_exception();
      engine_->Rollback();
    }
    members = EndTransaction();
  }
  const std::shared_ptr<Engine> flusher = flusher_;
  DropBroken();
  inside_.Leave();
  if (failure || !on_disk) return Tell(members, failure);
  const auto in_memory = std::stable_partition(
      members.begin(), members.end(), [](const Member& member) { return member.durability == Durability::kDisk; });
  for (auto member = in_memory; member != members.end(); ++member) member->done(nullptr);
  members.erase(in_memory, members.end());
  database_.shared_flush().Then([flusher] { flusher->Flush(); },
                                [members = std::move(members)](const std::exception_ptr& how) { Tell(members, how); });
}

SharedTransaction::Members SharedTransaction::EndTransaction() noexcept {
  open_ = false;
  gate_.Leave();
  return std::exchange(members_, {});
}

// What broke the one broke the other.
void SharedTransaction::DropBroken() noexcept {
  if (!engine_ || !flusher_) return;
  if (engine_->Usable() && flusher_->Usable() && (open_ || !engine_->InTransaction())) return;
  engine_.reset();
  flusher_.reset();
}

void SharedTransaction::Tell(const Members& members, const std::exception_ptr& failure) {
  for (const Member& member : members) member.done(failure);
}

void SharedTransaction::Close() {
  Commit();
  engine_.reset();
  flusher_.reset();
}

}  // namespace surva::data
