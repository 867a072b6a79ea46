#include "frame/data/postgres_engine.h"

#include <libpq-fe.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cstdlib>
#include <unordered_map>
#include <vector>

#include "frame/data/assembly.h"
#include "frame/data/schema.h"
#include "frame/values/fault.h"

namespace surva::data {
namespace {

struct ClearResult {
  void operator()(PGresult* result) const { PQclear(result); }
};
struct Finish {
  void operator()(PGconn* connection) const { PQfinish(connection); }
};
using Result = std::unique_ptr<PGresult, ClearResult>;

// Type numbers of the server's catalogue (pg_type.dat).
enum TypeOid : Oid {
  kBool = 16,
  kInt8 = 20,
  kInt2 = 21,
  kInt4 = 23,
  kFloat4 = 700,
  kFloat8 = 701,
  kDateOnly = 1082,
  kTimestamp = 1114,
  kTimestampZone = 1184,
  kNumeric = 1700,
};

// The name of this machine's time zone, as the server understands it; empty if it has none.
std::string TimeZoneName() {
  if (const char* zone = std::getenv("TZ"); zone != nullptr && *zone != '\0') return *zone == ':' ? zone + 1 : zone;
  std::array<char, 4096> target{};
  const ssize_t length = readlink("/etc/localtime", target.data(), target.size());
  const std::string_view path(target.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
  constexpr std::string_view kFolder = "zoneinfo/";
  const std::size_t at = path.find(kFolder);
  return at == std::string_view::npos ? std::string() : std::string(path.substr(at + kFolder.size()));
}

template <class Number>
Field NumberField(std::string_view text) {
  Number number{};
  std::from_chars(text.data(), text.data() + text.size(), number);
  return Field(number);
}

class PostgresEngine final : public Engine {
 public:
  explicit PostgresEngine(const std::string& address);

  Dialect dialect() const override { return Dialect::kPostgres; }
  Rows Run(Statement statement, Effect effect) override;
  std::int64_t RowsTouched() const override { return rows_touched_; }
  void RunScript(const std::string& script) override;
  void Begin() override;
  void Lock(std::int64_t name) override { wanted_.push_back(name); }
  void Commit(Durability durability) override;
  void Rollback() noexcept override;
  bool InTransaction() const override { return begun_ || PQtransactionStatus(connection_.get()) != PQTRANS_IDLE; }
  void BeginInner() override;
  void CommitInner() override;
  void RollbackInner() noexcept override;
  bool Usable() const override { return !broken_ && PQstatus(connection_.get()) == CONNECTION_OK; }

 private:
  struct Prepared {
    std::string name;
    bool known = false;  // to the server
    std::shared_ptr<Shape> shape;
  };

  [[noreturn]] void Fail(const PGresult* result);
  void Send(int sent) {
    if (sent != 1) {
      broken_ = true;
      Fail(nullptr);
    }
    ++sent_;
  }
  void SendPlain(const char* sql) {
    Send(PQsendQueryParams(connection_.get(), sql, 0, nullptr, nullptr, nullptr, nullptr, 0));
  }
  // Opens the transaction that Begin announced, or marks a place to go back to, ahead of a statement.
  void SendAhead();
  void SendLocks();
  void LoseLocks(std::size_t kept);
  void MarkHere();
  Result Receive();
  void LearnTables();
  std::shared_ptr<Shape> ShapeOf(const PGresult* result) const;
  Field Cell(const PGresult* result, int row, int column) const;
  void BindValues();
  void Plain(const char* sql);
  void Open();
  void End();

  std::unique_ptr<PGconn, Finish> connection_;
  std::unordered_map<std::string, Prepared> prepared_;
  std::unordered_map<Oid, std::string> table_names_;
  std::string sql_;
  std::vector<const Piece*> values_;
  std::vector<std::string> texts_;
  std::vector<const char*> pointers_;
  std::vector<int> lengths_;
  std::int64_t rows_touched_ = 0;
  int sent_ = 0;
  std::int64_t names_given_ = 0;
  bool broken_ = false;
  bool begun_ = false;                // a transaction was asked for
  bool opened_ = false;               // and the server has it open
  bool marked_ = false;               // the savepoint stands
  bool dirty_ = false;                // something was written or locked since the savepoint
  std::vector<std::int64_t> wanted_;  // locks to be asked for ahead of the next statement
  std::vector<std::int64_t> held_;    // locks of this transaction, in the order of their coming
  std::size_t held_at_inner_ = 0;     // when the inner transaction began
  std::size_t held_at_mark_ = 0;      // of those, how many stand when the savepoint is gone back to
  bool warned_ = false;               // the server has given a warning
};

PostgresEngine::PostgresEngine(const std::string& address) {
  // What stands before the address, the address may say otherwise.
  static constexpr std::pair<const char*, const char*> kDefaults[] = {
      {"connect_timeout", "5"},  {"keepalives_idle", "15"},     {"keepalives_interval", "5"},
      {"keepalives_count", "3"}, {"tcp_user_timeout", "15000"}, {"application_name", "surva"},
  };
  std::vector<const char*> keywords;
  std::vector<const char*> values;
  for (const auto& [keyword, value] : kDefaults) {
    keywords.push_back(keyword);
    values.push_back(value);
  }
  keywords.insert(keywords.end(), {"dbname", "client_encoding", nullptr});
  values.insert(values.end(), {address.c_str(), "UTF8", nullptr});
  connection_.reset(PQconnectdbParams(keywords.data(), values.data(), 1));
  if (PQstatus(connection_.get()) != CONNECTION_OK) Fail(nullptr);
  // Notices (a table that stands already) are of no use to anybody, but for a warning behind a commit.
  PQsetNoticeReceiver(
      connection_.get(),
      [](void* engine, const PGresult* notice) {
        const char* severity = PQresultErrorField(notice, PG_DIAG_SEVERITY_NONLOCALIZED);
        if (severity != nullptr && std::string_view(severity) == "WARNING")
          static_cast<PostgresEngine*>(engine)->warned_ = true;
      },
      this);
  // The system's own now() stands before the server's.
  Plain("select set_config('search_path', current_setting('search_path') || ', pg_catalog', false), "
        "set_config('DateStyle', 'ISO', false), "
        "set_config('standard_conforming_strings', 'on', false)");
  // What the address's options, the user or the database have set stands.
  Plain("select set_config(name, value, false) from (values ('statement_timeout', '30s'), ('lock_timeout', '15s'), "
        "('idle_in_transaction_session_timeout', '60s')) as wanted(name, value) where current_setting(name)='0'");
  const std::string zone = TimeZoneName();
  if (!zone.empty()) {
    const char* const parameter[] = {zone.c_str()};
    // A zone that the server does not know leaves it on its own.
    Result(PQexecParams(connection_.get(), "select set_config('TimeZone', $1, false)", 1, nullptr, parameter, nullptr,
                        nullptr, 0));
  }
  LearnTables();
}

void PostgresEngine::Plain(const char* sql) {
  const Result result(PQexec(connection_.get(), sql));
  const ExecStatusType status = PQresultStatus(result.get());
  if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) Fail(result.get());
}

// A result names a column's table by number only.
void PostgresEngine::LearnTables() {
  const Result result(PQexec(connection_.get(),
                             "select c.oid, c.relname from pg_class c join pg_namespace n on n.oid = c.relnamespace "
                             "where c.relkind = 'r' and n.nspname = any(current_schemas(false))"));
  for (int row = 0; row < PQntuples(result.get()); ++row) {
    table_names_[static_cast<Oid>(std::strtoul(PQgetvalue(result.get(), row, 0), nullptr, 10))] =
        PQgetvalue(result.get(), row, 1);
  }
}

void PostgresEngine::Fail(const PGresult* result) {
  std::string detail = result != nullptr ? PQresultErrorMessage(result) : PQerrorMessage(connection_.get());
  while (!detail.empty() && detail.back() == '\n') detail.pop_back();
  for (char& c : detail) {
    if (c == '\n') c = ' ';
  }
  if (!Usable() || result == nullptr) {
    throw Fault(FaultNumber::kConnectionFailed, "surva database", "The database does not answer.", detail);
  }
  const char* state_text = PQresultErrorField(result, PG_DIAG_SQLSTATE);
  const std::string_view state = state_text == nullptr ? "" : state_text;
  if (state.starts_with("23") || state == "22001" || state == "22003") {
    throw Fault(FaultNumber::kValueRefused, "surva database", "The database refuses a value.", detail);
  }
  if (state == "55P03" || state.starts_with("40")) {
    throw Fault(FaultNumber::kConnectionFailed, "surva database", "The database is busy. Try again.", detail);
  }
  if (state.starts_with("53") || state.starts_with("57") || state.starts_with("58")) {
    throw Fault(FaultNumber::kConnectionFailed, "surva database", "The database does not answer.", detail);
  }
  throw Fault::StatementFailed(detail);
}

void PostgresEngine::SendAhead() {
  if (!opened_) {
    SendPlain("BEGIN");
    return SendLocks();
  }
  if (dirty_) {
    if (marked_) SendPlain("RELEASE SAVEPOINT statement");
    SendPlain("SAVEPOINT statement");
    held_at_mark_ = held_.size();
  }
  SendLocks();
}

// Locks go with what is undone; they are asked for again.
void PostgresEngine::LoseLocks(std::size_t kept) {
  const auto lost = held_.begin() + static_cast<std::ptrdiff_t>(kept);
  wanted_.insert(wanted_.begin(), lost, held_.end());
  held_.erase(lost, held_.end());
}

void PostgresEngine::SendLocks() {
  for (const std::int64_t name : wanted_) {
    SendPlain(("SELECT pg_advisory_xact_lock(" + std::to_string(name) + ")").c_str());
  }
  held_.insert(held_.end(), wanted_.begin(), wanted_.end());
  wanted_.clear();
}

// Takes the results of all that was sent; gives the last one, or the first that failed.
Result PostgresEngine::Receive() {
  Result kept;
  bool failed = false;
  int ended = 0;
  while (true) {
    Result result(PQgetResult(connection_.get()));
    if (!result) {
      if (++ended > sent_ + 1 || !Usable()) break;
      continue;
    }
    const ExecStatusType status = PQresultStatus(result.get());
    if (status == PGRES_PIPELINE_SYNC) break;
    if (status == PGRES_PIPELINE_ABORTED || failed) continue;
    failed = status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK;
    kept = std::move(result);
  }
  sent_ = 0;
  if (Usable()) PQexitPipelineMode(connection_.get());
  return kept;
}

void PostgresEngine::BindValues() {
  texts_.resize(values_.size());
  pointers_.resize(values_.size());
  lengths_.resize(values_.size());
  for (std::size_t i = 0; i < values_.size(); ++i) {
    const Piece& piece = *values_[i];
    std::string& text = texts_[i];
    text.clear();
    switch (piece.kind()) {
      case Piece::Kind::kDate:
        text = IsoText(piece.content().Date());
        break;
      case Piece::Kind::kReal: {
        std::array<char, 64> digits{};
        const double number = std::get<double>(piece.content().content());
        text.assign(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr);
        break;
      }
      case Piece::Kind::kPattern:
        for (const char c : piece.text()) {
          if (c == '\\') text += '\\';
          text += c;
        }
        break;
      default:
        piece.content().AppendTo(text);
    }
    pointers_[i] = text.c_str();
    lengths_[i] = static_cast<int>(text.size());
  }
}

std::shared_ptr<Shape> PostgresEngine::ShapeOf(const PGresult* result) const {
  auto shape = std::make_shared<Shape>();
  for (int column = 0; column < PQnfields(result); ++column) {
    const auto table = table_names_.find(PQftable(result, column));
    const std::string_view name = PQfname(result, column);
    // The result knows the column's number in its table, not its name there: an alias goes by the alias alone.
    const bool own = table != table_names_.end() && FindColumn(table->second, name) != nullptr;
    shape->Add(name, own ? std::string_view(table->second) : "", own ? name : "");
  }
  return shape;
}

Field PostgresEngine::Cell(const PGresult* result, int row, int column) const {
  if (PQgetisnull(result, row, column) != 0) return {};
  const std::string_view text(PQgetvalue(result, row, column),
                              static_cast<std::size_t>(PQgetlength(result, row, column)));
  switch (PQftype(result, column)) {
    case kInt2:
    case kInt4:
    case kInt8:
      return NumberField<std::int64_t>(text);
    case kBool:
      return Field(std::int64_t{text == "t" ? -1 : 0});
    case kFloat4:
    case kFloat8:
    case kNumeric:
      return NumberField<double>(text);
    case kDateOnly:
    case kTimestamp:
    case kTimestampZone:
      if (const auto at = ReadIso(text)) return Field(*at);
      return Field(text);
    default:
      return Field(text);
  }
}

Rows PostgresEngine::Run(Statement statement, Effect effect) {
  Assemble(statement, Dialect::kPostgres, sql_, values_);
  Prepared& prepared = prepared_[sql_];
  if (prepared.name.empty()) prepared.name = "s" + std::to_string(++names_given_);
  BindValues();

  PGconn* connection = connection_.get();
  if (PQenterPipelineMode(connection) != 1) Fail(nullptr);
  const bool was_open = opened_;
  const std::size_t held_before = held_.size();
  const bool marks = begun_ && was_open && dirty_;
  if (begun_) SendAhead();
  const bool prepares = !prepared.known;
  if (prepares) Send(PQsendPrepare(connection, prepared.name.c_str(), sql_.c_str(), 0, nullptr));
  Send(PQsendQueryPrepared(connection, prepared.name.c_str(), static_cast<int>(values_.size()), pointers_.data(),
                           lengths_.data(), nullptr, 0));
  Send(PQpipelineSync(connection));
  const Result result = Receive();

  const ExecStatusType status = result ? PQresultStatus(result.get()) : PGRES_FATAL_ERROR;
  if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
    // Whether the server took the statement's text in is not known; another name is certain to be free.
    if (prepares) prepared_.erase(sql_);
    if (begun_ && Usable()) {
      if (marks) {
        marked_ = true;
        dirty_ = false;
      }
      const bool keeps = was_open && marked_;
      Result(PQexec(connection, keeps ? "ROLLBACK TO SAVEPOINT statement" : "ROLLBACK"));
      if (!keeps) opened_ = false;
      LoseLocks(keeps ? held_at_mark_ : 0);
    }
    Fail(result.get());
  }
  prepared.known = true;
  if (begun_) {
    opened_ = true;
    if (marks) {
      marked_ = true;
      dirty_ = false;
    }
    dirty_ = dirty_ || effect == Effect::kWrite || held_.size() > held_before;
  }
  rows_touched_ = std::strtoll(PQcmdTuples(result.get()), nullptr, 10);
  if (!prepared.shape) prepared.shape = ShapeOf(result.get());
  Rows rows(prepared.shape);
  const int columns = PQnfields(result.get());
  for (int row = 0; row < PQntuples(result.get()); ++row) {
    for (int column = 0; column < columns; ++column) rows.AddCell(Cell(result.get(), row, column));
  }
  return rows;
}

void PostgresEngine::RunScript(const std::string& script) {
  Open();
  Plain(script.c_str());
  dirty_ = begun_;
  LearnTables();
}

void PostgresEngine::Begin() {
  End();
  begun_ = true;
}

void PostgresEngine::Open() {
  if (!begun_ || opened_) return;
  Plain("BEGIN");
  opened_ = true;
}

void PostgresEngine::End() {
  begun_ = opened_ = marked_ = dirty_ = false;
  wanted_.clear();
  held_.clear();
  held_at_mark_ = held_at_inner_ = 0;
}

void PostgresEngine::Commit(Durability durability) {
  const bool opened = opened_;
  End();
  if (!opened) return;
  warned_ = false;
  const Result result(PQexec(
      connection_.get(), durability == Durability::kMemory ? "SET LOCAL synchronous_commit TO OFF; COMMIT" : "COMMIT"));
  // A server that gave up waiting for its standby warns, and says that the commit is done.
  if (!Usable() || warned_) {
    throw Fault(FaultNumber::kCommitInDoubt, "surva database", "The database does not answer.",
                std::string("a commit in doubt: ") + PQerrorMessage(connection_.get()));
  }
  if (PQresultStatus(result.get()) != PGRES_COMMAND_OK) Fail(result.get());
  if (std::string_view(PQcmdStatus(result.get())) != "COMMIT") {
    throw Fault(FaultNumber::kConnectionFailed, "surva database", "The database does not answer.",
                "a commit was refused");
  }
}

void PostgresEngine::Rollback() noexcept {
  End();
  if (PQtransactionStatus(connection_.get()) != PQTRANS_IDLE) Result(PQexec(connection_.get(), "ROLLBACK"));
}

// The inner transaction's savepoint stands above the statement's, which is left where it is: a later one shadows it.
void PostgresEngine::BeginInner() {
  Open();
  Plain("SAVEPOINT inner_transaction; SAVEPOINT statement");
  MarkHere();
  held_at_inner_ = held_.size();
}

void PostgresEngine::CommitInner() {
  Plain("RELEASE SAVEPOINT inner_transaction; SAVEPOINT statement");
  MarkHere();
}

void PostgresEngine::RollbackInner() noexcept {
  Result(PQexec(connection_.get(),
                "ROLLBACK TO SAVEPOINT inner_transaction; RELEASE SAVEPOINT inner_transaction; SAVEPOINT statement"));
  LoseLocks(held_at_inner_);
  MarkHere();
}

void PostgresEngine::MarkHere() {
  marked_ = true;
  dirty_ = false;
  held_at_mark_ = held_.size();
}

}  // namespace

std::unique_ptr<Engine> OpenPostgres(const std::string& address) {
  return std::make_unique<PostgresEngine>(address);
}

}  // namespace surva::data
