// WatchedEngine: an engine in front of the real one that counts the statements and can be told to fail.
#pragma once

#include <atomic>
#include <memory>

#include "frame/data/database.h"
#include "frame/values/fault.h"

namespace surva::test {

// Shared by all connections of one Database.
struct Watch {
  std::atomic<int> reads = 0;
  std::atomic<int> writes = 0;
  std::atomic<int> fail_write = 0;  // the how manieth write from now on fails; 0 is none
  std::atomic<bool> fail_commit = false;

  void Reset() { reads = writes = 0; }
};

class WatchedEngine final : public data::Engine {
 public:
  WatchedEngine(std::unique_ptr<data::Engine> engine, Watch& watch) : engine_(std::move(engine)), watch_(watch) {}

  static data::Database::Wrap Around(Watch& watch) {
    return [&watch](std::unique_ptr<data::Engine> engine) {
      return std::make_unique<WatchedEngine>(std::move(engine), watch);
    };
  }

  data::Dialect dialect() const override { return engine_->dialect(); }
  data::Rows Run(data::Statement statement, data::Effect effect) override {
    (effect == data::Effect::kRead ? watch_.reads : watch_.writes)++;
    if (effect == data::Effect::kWrite && watch_.fail_write > 0 && --watch_.fail_write == 0) {
      throw Fault(FaultNumber::kValueRefused, "test", "The write was told to fail.");
    }
    return engine_->Run(statement, effect);
  }
  std::int64_t RowsTouched() const override { return engine_->RowsTouched(); }
  void RunScript(const std::string& script) override { engine_->RunScript(script); }
  void Begin() override { engine_->Begin(); }
  void Lock(std::int64_t name) override { engine_->Lock(name); }
  void Commit(data::Durability durability) override {
    if (watch_.fail_commit.exchange(false)) throw Fault(FaultNumber::kConnectionFailed, "test", "The disk is full.");
    engine_->Commit(durability);
  }
  void Rollback() noexcept override { engine_->Rollback(); }
  bool InTransaction() const override { return engine_->InTransaction(); }
  void BeginInner() override { engine_->BeginInner(); }
  void CommitInner() override { engine_->CommitInner(); }
  void RollbackInner() noexcept override { engine_->RollbackInner(); }
  bool Usable() const override { return engine_->Usable(); }

 private:
  std::unique_ptr<data::Engine> engine_;
  Watch& watch_;
};

}  // namespace surva::test
