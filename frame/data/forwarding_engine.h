// ForwardingEngine: an engine in front of another one, which does all that is not said otherwise.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "frame/data/engine.h"

namespace surva::data {

class ForwardingEngine : public Engine {
 public:
  explicit ForwardingEngine(std::unique_ptr<Engine> engine) : engine_(std::move(engine)) {}

  Dialect dialect() const override { return engine_->dialect(); }
  void SetDeadline(Time deadline) override { engine_->SetDeadline(deadline); }
  Rows Run(Statement statement, Effect effect) override { return engine_->Run(statement, effect); }
  std::int64_t RowsTouched() const override { return engine_->RowsTouched(); }
  void Replace(Statement removal, const RowSet& rows) override { engine_->Replace(removal, rows); }
  void RunScript(const std::string& script) override { engine_->RunScript(script); }
  void Begin() override { engine_->Begin(); }
  void Lock(std::int64_t name) override { engine_->Lock(name); }
  void SetAuthor(const Author& author) override { engine_->SetAuthor(author); }
  void Commit(Durability durability, Statement last) override { engine_->Commit(durability, last); }
  void Flush() override { engine_->Flush(); }
  void Rollback() noexcept override { engine_->Rollback(); }
  bool InTransaction() const override { return engine_->InTransaction(); }
  void BeginInner() override { engine_->BeginInner(); }
  void CommitInner() override { engine_->CommitInner(); }
  void RollbackInner() noexcept override { engine_->RollbackInner(); }
  bool Usable() const override { return engine_->Usable(); }

 protected:
  const std::unique_ptr<Engine> engine_;
};

}  // namespace surva::data
