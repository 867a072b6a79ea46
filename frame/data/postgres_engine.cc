#include "frame/data/postgres_engine.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <vector>

#include "frame/data/assembly.h"
#include "frame/data/postgres_link.h"
#include "frame/data/postgres_values.h"
#include "frame/data/prepared_texts.h"
#include "frame/data/schema.h"
#include "frame/values/fault.h"
#include "frame/values/text.h"

namespace surva::data {
namespace {

// How many savepoints may stand one within the other before they are folded into one: each costs the server memory.
constexpr std::size_t kMostMarks = 16;

// How much longer than a statement may take its answer is waited for.
constexpr std::chrono::milliseconds kSilence{5'000};

// How long the server goes by the patience that it was told.
constexpr std::chrono::seconds kToldFor{1};

std::string MarkName(std::size_t depth) {
  return "s" + std::to_string(depth);
}

std::string_view ArrayCast(const Column& column) {
  switch (column.type) {
    case ColumnType::kKey:
    case ColumnType::kLong:
      return "::integer[]";
    case ColumnType::kBig:
      return "::bigint[]";
    case ColumnType::kDate:
      return "::timestamp[]";
    default:
      return "::text[]";
  }
}

class PostgresEngine final : public Engine {
 public:
  PostgresEngine(const std::string& address, Traffic& traffic) : link_(address, traffic) {
    LearnTables();
    LearnPatience();
  }

  Dialect dialect() const override { return Dialect::kPostgres; }
  void SetDeadline(Time deadline) override {
    deadline_ = deadline;
    const bool bounded = deadline != Time::max() && longest_statement_.count() > 0;
    link_.SetPatience(bounded ? longest_statement_ + kSilence : std::chrono::milliseconds::zero());
  }
  Rows Run(Statement statement, Effect effect) override;
  std::int64_t RowsTouched() const override { return rows_touched_; }
  void Replace(Statement removal, const RowSet& rows) override;
  void RunScript(const std::string& script) override;
  void Begin() override;
  void Lock(std::int64_t name) override { wanted_.push_back(name); }
  void SetAuthor(const Author& author) override { author_ = author; }
  void Commit(Durability durability, Statement last) override;
  void Rollback() noexcept override;
  bool InTransaction() const override { return begun_ || link_.in_transaction(); }
  void BeginInner() override;
  void CommitInner() override;
  void RollbackInner() noexcept override;
  bool Usable() const override { return link_.usable(); }

 private:
  struct Prepared {
    std::string name;
    bool known = false;  // to the server
    std::shared_ptr<Shape> shape;
  };

  void LearnTables();
  void LearnPatience();
  std::string LockPatience() const;
  Rows RunAssembled(Effect effect);
  enum class Keeps { kNothing, kOldRows };
  void AddAhead(Keeps keeps);
  Keeps WhatKeeps() const;
  PostgresResult Send(Prepared& prepared);
  Prepared& Recall();
  void AddStatement(Prepared& prepared);
  void NotePreparation(Prepared& prepared, const PGresult* result);
  void StepBack();
  void LoseLocks(std::size_t kept);
  void Forget();

  PostgresLink link_;
  TableNames table_names_;
  PreparedTexts<Prepared> prepared_;
  std::int64_t names_given_ = 0;
  std::chrono::milliseconds longest_patience_{0};   // that a lock is waited for, whatever the deadline says; 0: none
  std::chrono::milliseconds longest_statement_{0};  // that the server lets run; 0: any
  Time deadline_ = Time::max();
  Time told_at_;  // how long a lock is to be waited for
  std::int64_t rows_touched_ = 0;

  // The statement under way.
  std::string sql_;
  std::vector<std::string> values_;

  // The transaction under way.
  Author author_;
  bool author_told_ = false;          // to the server
  bool begun_ = false;                // it was asked for
  bool opened_ = false;               // and the server has it open
  bool dirty_ = false;                // something was written or locked since the last savepoint
  std::vector<std::int64_t> wanted_;  // locks to be asked for ahead of the next statement
  std::vector<std::int64_t> held_;    // locks, in the order of their coming
  std::vector<std::size_t> marks_;    // the savepoints that stand: how many locks were held at each
  // Of the inner transaction: the savepoints and locks that stood when it began.
  std::size_t marks_outside_ = 0;
  std::size_t locks_outside_ = 0;
};

// A result names a column's table by number only.
void PostgresEngine::LearnTables() {
  link_.Add("select c.oid, c.relname from pg_class c join pg_namespace n on n.oid = c.relnamespace "
            "where c.relkind = 'r' and n.nspname = any(current_schemas(false))");
  const PostgresResult result = link_.Finish();
  if (!PostgresLink::Succeeded(result.get())) link_.Fail(result.get());
  for (int row = 0; row < PQntuples(result.get()); ++row) {
    table_names_[static_cast<Oid>(std::strtoul(PQgetvalue(result.get(), row, 0), nullptr, 10))] =
        PQgetvalue(result.get(), row, 1);
  }
}

void PostgresEngine::LearnPatience() {
  link_.Add("select (extract(epoch from current_setting('lock_timeout')::interval) * 1000)::bigint, "
            "(extract(epoch from current_setting('statement_timeout')::interval) * 1000)::bigint");
  const PostgresResult result = link_.Finish();
  if (!PostgresLink::Succeeded(result.get())) link_.Fail(result.get());
  const auto time = [&](int column) {
    return std::chrono::milliseconds(std::strtoll(PQgetvalue(result.get(), 0, column), nullptr, 10));
  };
  longest_patience_ = time(0);
  longest_statement_ = time(1);
}

// How long the server is to wait for a lock now, in milliseconds.
std::string PostgresEngine::LockPatience() const {
  auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - std::chrono::steady_clock::now());
  if (longest_patience_.count() > 0) left = std::min(left, longest_patience_);
  return std::to_string(std::max<std::int64_t>(left.count(), 1));
}

Rows PostgresEngine::Run(Statement statement, Effect effect) {
  std::vector<const Piece*> places;
  Assemble(statement, Dialect::kPostgres, sql_, places);
  values_.clear();
  for (const Piece* piece : places) values_.push_back(PostgresText(*piece));
  return RunAssembled(effect);
}

Rows PostgresEngine::RunAssembled(Effect effect) {
  Prepared& prepared = Recall();
  const bool known = prepared.known;
  PostgresResult result = Send(prepared);
  if (known && PostgresLink::IsOutdated(result.get())) {
    if (begun_) StepBack();
    link_.Add("DEALLOCATE " + prepared.name);
    prepared = {};
    result = Send(prepared);
  }
  if (!PostgresLink::Succeeded(result.get())) {
    if (begun_ && link_.usable()) StepBack();
    link_.Fail(result.get());
  }
  opened_ = begun_;
  dirty_ = begun_ && (dirty_ || effect == Effect::kWrite);
  rows_touched_ = std::strtoll(PQcmdTuples(result.get()), nullptr, 10);
  if (!prepared.shape) prepared.shape = ShapeOf(result.get(), table_names_);
  return RowsOf(result.get(), prepared.shape);
}

PostgresResult PostgresEngine::Send(Prepared& prepared) {
  if (begun_) AddAhead(WhatKeeps());
  AddStatement(prepared);
  PostgresResult result = link_.Finish();
  NotePreparation(prepared, result.get());
  return result;
}

// What the statement under way is prepared as. The server forgets another one for it ahead of all that may fail: a name
// that it still knew and nobody else would stay there for the connection's life.
PostgresEngine::Prepared& PostgresEngine::Recall() {
  Prepared& prepared = prepared_.Recall(sql_);
  if (const auto surplus = prepared_.TakeSurplus(); surplus && surplus->known) {
    link_.Add("DEALLOCATE " + surplus->name);
  }
  return prepared;
}

// A text that was taken in stays so, though its statement failed; under one that was not, its name is free.
void PostgresEngine::NotePreparation(Prepared& prepared, const PGresult* result) {
  prepared.known = prepared.known || PostgresLink::Succeeded(result) || link_.prepared();
}

void PostgresEngine::AddStatement(Prepared& prepared) {
  if (prepared.name.empty()) prepared.name = "p" + std::to_string(++names_given_);
  if (!prepared.known) link_.AddPrepare(prepared.name, sql_);
  link_.AddPrepared(prepared.name, values_);
}

// What goes out ahead of a statement: the transaction's beginning, or a place to come back to if the statement fails;
// then, in one question, the locks that were asked for, which a failure must not cost either, and who it is that asks
// and when, by the program's clock, for the triggers that keep the old rows.
void PostgresEngine::AddAhead(Keeps keeps) {
  const bool opens = !opened_;
  if (opens) {
    link_.Add("BEGIN");
  } else if (dirty_) {
    if (marks_.size() >= marks_outside_ + kMostMarks) {
      link_.Add("RELEASE SAVEPOINT " + MarkName(marks_outside_ + 1));
      marks_.resize(marks_outside_);
    }
    link_.Add("SAVEPOINT " + MarkName(marks_.size() + 1));
    marks_.push_back(held_.size());
  }
  if (opened_) dirty_ = false;
  std::string asked;
  const Time now = std::chrono::steady_clock::now();
  if (deadline_ != Time::max() && (opens || !wanted_.empty() || now - told_at_ > kToldFor)) {
    told_at_ = now;
    if (wanted_.empty()) {
      link_.Add("SET LOCAL lock_timeout TO " + LockPatience());
    } else {
      asked = ", set_config('lock_timeout', '" + LockPatience() + "', true)";
    }
  }
  for (const std::int64_t name : wanted_) asked += ", pg_advisory_xact_lock(" + std::to_string(name) + ")";
  if (!wanted_.empty()) dirty_ = true;
  held_.insert(held_.end(), wanted_.begin(), wanted_.end());
  wanted_.clear();
  if (keeps == Keeps::kOldRows && !author_told_ && !(author_.person.empty() && author_.request.empty())) {
    const auto quoted = [](std::string_view text) {
      std::string literal = "'";
      for (const char c : text) literal.append(c == '\'' ? 2 : 1, c);
      return literal + "'";
    };
    asked += ", set_config('surva.person', " + quoted(author_.person) + ", true), set_config('surva.request', " +
             quoted(author_.request) + ", true), set_config('surva.now', " + quoted(IsoText(Clock::System().Now())) +
             ", true)";
    author_told_ = true;
  }
  if (!asked.empty()) link_.Add("SELECT " + asked.substr(2));
}

// Whether the statement may change or delete rows that stand: what only adds some has none to keep.
PostgresEngine::Keeps PostgresEngine::WhatKeeps() const {
  const std::string_view verb = std::string_view(sql_).substr(0, 6);
  const bool overwrites =
      (!EqualNames(verb, "select") && !EqualNames(verb, "insert")) || sql_.find("on conflict") != std::string::npos;
  return overwrites ? Keeps::kOldRows : Keeps::kNothing;
}

// Undoes a failed statement, and what went out ahead of it since the last savepoint.
void PostgresEngine::StepBack() {
  const bool has_mark = opened_ && !marks_.empty();
  link_.TryRun(has_mark ? "ROLLBACK TO SAVEPOINT " + MarkName(marks_.size()) : "ROLLBACK");
  if (!has_mark) opened_ = false;
  LoseLocks(has_mark ? marks_.back() : 0);
  told_at_ = {};
  dirty_ = author_told_ = false;
}

// Locks go with what is undone; they are asked for again.
void PostgresEngine::LoseLocks(std::size_t kept) {
  const auto lost = held_.begin() + static_cast<std::ptrdiff_t>(kept);
  wanted_.insert(wanted_.begin(), lost, held_.end());
  held_.erase(lost, held_.end());
}

// Removal and addition are one statement, however many rows there are. If it fails, nothing of it stands, and the rows
// go one by one up to the one that fails.
void PostgresEngine::Replace(Statement removal, const RowSet& rows) {
  if (rows.size() == 0) {
    Run(removal, Effect::kWrite);
    return;
  }
  std::vector<const Piece*> places;
  Assemble(removal, Dialect::kPostgres, sql_, places);
  values_.clear();
  for (const Piece* piece : places) values_.push_back(PostgresText(*piece));

  std::string names;
  std::string arrays;
  std::vector<PostgresArray> columns(rows.columns.size());
  for (std::size_t i = 0; i < rows.cells.size(); ++i) columns[i % columns.size()].Add(rows.cells[i]);
  for (std::size_t i = 0; i < columns.size(); ++i) {
    values_.push_back(columns[i].TakeText());
    names.append(i > 0 ? ", " : "").append(rows.columns[i]->name);
    arrays.append(i > 0 ? ", $" : "$").append(std::to_string(values_.size()));
    arrays += ArrayCast(*rows.columns[i]);
  }
  sql_ = "with gone as (" + sql_ + ") insert into " + std::string(rows.table->name) + " (" + names +
         ") select * from unnest(" + arrays + ") as added";
  try {
    RunAssembled(Effect::kWrite);
  } catch (const Fault& fault) {
    if (fault.number() == FaultNumber::kConnectionFailed) throw;
    Engine::Replace(removal, rows);
  }
}

void PostgresEngine::RunScript(const std::string& script) {
  if (begun_ && !opened_) {
    link_.Run("BEGIN");
    opened_ = true;
  }
  link_.Run(script);
  dirty_ = begun_;
  LearnTables();
}

void PostgresEngine::Forget() {
  begun_ = opened_ = dirty_ = author_told_ = false;
  wanted_.clear();
  held_.clear();
  marks_.clear();
  marks_outside_ = locks_outside_ = 0;
}

void PostgresEngine::Begin() {
  Forget();
  begun_ = true;
}

// The last statement needs no place to come back to: it stands with all the others or nothing does.
void PostgresEngine::Commit(Durability durability, Statement last) {
  const bool opened = opened_;
  if (!opened && last.empty()) return Forget();
  dirty_ = false;
  std::vector<const Piece*> places;
  Prepared* prepared = nullptr;
  if (!last.empty()) {
    Assemble(last, Dialect::kPostgres, sql_, places);
    values_.clear();
    for (const Piece* piece : places) values_.push_back(PostgresText(*piece));
    prepared = &Recall();
    AddAhead(Keeps::kNothing);
    AddStatement(*prepared);
  }
  if (durability == Durability::kMemory) link_.Add("SET LOCAL synchronous_commit TO OFF");
  link_.Add("COMMIT");
  link_.TakeWarning();
  const PostgresResult result = link_.Finish();
  const bool succeeded = PostgresLink::Succeeded(result.get());
  if (prepared != nullptr) NotePreparation(*prepared, result.get());
  // A server that gave up waiting for its standby warns, and says that the commit is done.
  if (!link_.usable() || link_.TakeWarning()) {
    Forget();
    throw Fault(FaultNumber::kCommitInDoubt, "surva database", "The database does not answer.", "a commit in doubt");
  }
  if (!succeeded) {
    Rollback();
    link_.Fail(result.get());
  }
  Forget();
  if (std::string_view(PQcmdStatus(result.get())) != "COMMIT") {
    throw Fault(FaultNumber::kConnectionFailed, "surva database", "The database does not answer.",
                "a commit was refused");
  }
}

void PostgresEngine::Rollback() noexcept {
  Forget();
  if (link_.in_transaction()) link_.TryRun("ROLLBACK");
}

void PostgresEngine::BeginInner() {
  link_.Run(begun_ && !opened_ ? "BEGIN; SAVEPOINT inner_transaction" : "SAVEPOINT inner_transaction");
  if (!opened_) told_at_ = {};
  opened_ = dirty_ = true;
  marks_outside_ = marks_.size();
  locks_outside_ = held_.size();
}

void PostgresEngine::CommitInner() {
  link_.Run("RELEASE SAVEPOINT inner_transaction");
  marks_.resize(marks_outside_);
  marks_outside_ = 0;
  dirty_ = true;
}

void PostgresEngine::RollbackInner() noexcept {
  link_.TryRun("ROLLBACK TO SAVEPOINT inner_transaction; RELEASE SAVEPOINT inner_transaction");
  marks_.resize(marks_outside_);
  LoseLocks(locks_outside_);
  told_at_ = {};
  marks_outside_ = 0;
  dirty_ = true;
  author_told_ = false;
}

}  // namespace

// The protocol's number of it (53300) does not reach a client whose connection is refused; the server's words do.
bool IsFull(const Fault& fault) {
  for (const std::string_view words : {"too many clients", "too many connections", "connection slots"}) {
    if (fault.detail().find(words) != std::string::npos) return true;
  }
  return false;
}

std::unique_ptr<Engine> OpenPostgres(const std::string& address, Traffic& traffic) {
  return std::make_unique<PostgresEngine>(address, traffic);
}

}  // namespace surva::data
