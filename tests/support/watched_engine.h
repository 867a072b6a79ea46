// WatchedEngine: an engine in front of the real one that counts the statements and can be told to fail.
#pragma once

#include <atomic>
#include <latch>
#include <memory>

#include "frame/data/database.h"
#include "frame/data/forwarding_engine.h"
#include "frame/values/fault.h"

namespace surva::test {

// Shared by all connections of one Database.
struct Watch {
  std::atomic<int> reads = 0;
  std::atomic<int> writes = 0;
  std::atomic<int> fail_write = 0;  // the how manieth write from now on fails; 0 is none
  std::atomic<bool> fail_commit = false;
  std::atomic<bool> lose_commit = false;  // it goes through, and its answer is lost
  std::atomic<int> flushed_commits = 0;
  std::atomic<bool> away = false;              // the database does not answer
  std::atomic<bool> replaces_at_once = false;  // rows that take others' places are one write
  std::atomic<std::latch*> hangs = nullptr;    // statements wait for it

  void Reset() { reads = writes = 0; }
};

class WatchedEngine : public data::ForwardingEngine {
 public:
  WatchedEngine(std::unique_ptr<data::Engine> engine, Watch& watch)
      : ForwardingEngine(std::move(engine)), watch_(watch) {}

  static data::Database::Wrap Around(Watch& watch) {
    return [&watch](std::unique_ptr<data::Engine> engine) {
      return std::make_unique<WatchedEngine>(std::move(engine), watch);
    };
  }

  data::Rows Run(data::Statement statement, data::Effect effect) override {
    if (std::latch* const release = watch_.hangs) release->wait();
    if (watch_.away) throw Fault(FaultNumber::kConnectionFailed, "test", "The database does not answer.");
    // Whether there are accounts is looked up once a second, by whichever page comes then.
    const bool of_guard = statement.front().text() == "select AccountKey from StaffAccount limit 1";
    if (!of_guard) (effect == data::Effect::kRead ? watch_.reads : watch_.writes)++;
    if (effect == data::Effect::kWrite && watch_.fail_write > 0 && --watch_.fail_write == 0) {
      throw Fault(FaultNumber::kValueRefused, "test", "The write was told to fail.");
    }
    return engine_->Run(statement, effect);
  }
  // Row by row, so that each counts, unless told otherwise.
  void Replace(data::Statement removal, const data::RowSet& rows) override {
    if (!watch_.replaces_at_once) return Engine::Replace(removal, rows);
    ++watch_.writes;
    engine_->Replace(removal, rows);
  }
  void Commit(data::Durability durability, data::Statement last) override {
    if (watch_.fail_commit.exchange(false)) throw Fault(FaultNumber::kConnectionFailed, "test", "The disk is full.");
    engine_->Commit(durability, last);
    if (durability == data::Durability::kDisk) ++watch_.flushed_commits;
    if (watch_.lose_commit.exchange(false)) throw Fault(FaultNumber::kCommitInDoubt, "test", "The line is cut.");
  }

 private:
  Watch& watch_;
};

}  // namespace surva::test
