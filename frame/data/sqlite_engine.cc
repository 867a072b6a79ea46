#include "frame/data/sqlite_engine.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <system_error>
#include <vector>

#include "frame/data/assembly.h"
#include "frame/data/change_log.h"
#include "frame/data/collation.h"
#include "frame/data/prepared_texts.h"
#include "frame/data/schema.h"
#include "frame/data/tally.h"
#include "frame/values/ascii.h"
#include "frame/values/date_time.h"
#include "frame/values/fault.h"
#include "frame/values/text.h"

namespace surva::data {
namespace {

struct CloseDatabase {
  void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};
struct Finalize {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using DatabaseHandle = std::unique_ptr<sqlite3, CloseDatabase>;
using StatementHandle = std::unique_ptr<sqlite3_stmt, Finalize>;

std::string_view TextOf(sqlite3_value* value) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
  return text == nullptr ? std::string_view()
                         : std::string_view(text, static_cast<std::size_t>(sqlite3_value_bytes(value)));
}

void GiveText(sqlite3_context* context, std::string_view text) {
  sqlite3_result_text64(context, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

void NowFunction(sqlite3_context* context, int, sqlite3_value**) {
  GiveText(context, IsoText(Clock::System().Now()));
}

void CDateFunction(sqlite3_context* context, int, sqlite3_value** values) {
  if (sqlite3_value_type(values[0]) == SQLITE_NULL) return;
  const std::string_view text = TextOf(values[0]);
  std::optional<DateTime> at = ReadIso(text);
  if (!at) at = ReadDateText(text);
  if (!at) return sqlite3_result_error(context, "no date", -1);
  GiveText(context, IsoText(*at));
}

enum class DatePart { kYear, kMonth, kDay, kWeek };

void GiveDatePart(sqlite3_context* context, DatePart part, sqlite3_value* value) {
  if (sqlite3_value_type(value) == SQLITE_NULL) return;
  const std::optional<DateTime> at = ReadIso(TextOf(value));
  if (!at) return;
  switch (part) {
    case DatePart::kYear:
      return sqlite3_result_int(context, at->year);
    case DatePart::kMonth:
      return sqlite3_result_int(context, at->month);
    case DatePart::kDay:
      return sqlite3_result_int(context, at->day);
    case DatePart::kWeek:
      return sqlite3_result_int(context, WeekOfYear(*at));
  }
}

void DatePartFunction(sqlite3_context* context, int, sqlite3_value** values) {
  const std::string_view part = TextOf(values[0]);
  if (EqualNames(part, "yyyy")) GiveDatePart(context, DatePart::kYear, values[1]);
  if (EqualNames(part, "m")) GiveDatePart(context, DatePart::kMonth, values[1]);
  if (EqualNames(part, "d")) GiveDatePart(context, DatePart::kDay, values[1]);
  if (EqualNames(part, "ww")) GiveDatePart(context, DatePart::kWeek, values[1]);
}

void YearFunction(sqlite3_context* context, int, sqlite3_value** values) {
  GiveDatePart(context, DatePart::kYear, values[0]);
}

void MonthFunction(sqlite3_context* context, int, sqlite3_value** values) {
  GiveDatePart(context, DatePart::kMonth, values[0]);
}

// The triggers ask these.
void PersonFunction(sqlite3_context* context, int, sqlite3_value**) {
  GiveText(context, static_cast<const Author*>(sqlite3_user_data(context))->person);
}
void RequestFunction(sqlite3_context* context, int, sqlite3_value**) {
  GiveText(context, static_cast<const Author*>(sqlite3_user_data(context))->request);
}

void AppendJson(std::string& json, std::string_view text) {
  json += '"';
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < 0x20) {
      json.append("\\u00");
      json += {kHexDigits[static_cast<unsigned char>(c) / 16], kHexDigits[static_cast<unsigned char>(c) % 16]};
      continue;
    }
    if (c == '"' || c == '\\') json += '\\';
    json += c;
  }
  json += '"';
}

// Names and values by turns, as a JSON object. SQLite's own json_object is not for triggers of a file that others may
// have written.
void RowFunction(sqlite3_context* context, int count, sqlite3_value** values) {
  std::string json = "{";
  for (int i = 0; i + 1 < count; i += 2) {
    if (i > 0) json += ',';
    AppendJson(json, TextOf(values[i]));
    json += ':';
    switch (sqlite3_value_type(values[i + 1])) {
      case SQLITE_NULL:
        json += "null";
        break;
      case SQLITE_TEXT:
        AppendJson(json, TextOf(values[i + 1]));
        break;
      default:
        json += TextOf(values[i + 1]);
    }
  }
  GiveText(context, json + "}");
}

// X like Y calls like(Y, X).
void LikeFunction(sqlite3_context* context, int, sqlite3_value** values) {
  if (sqlite3_value_type(values[0]) == SQLITE_NULL || sqlite3_value_type(values[1]) == SQLITE_NULL) return;
  sqlite3_result_int(context, Like(TextOf(values[1]), TextOf(values[0])) ? 1 : 0);
}

int CompareFunction(void*, int a_size, const void* a, int b_size, const void* b) {
  return CompareTexts({static_cast<const char*>(a), static_cast<std::size_t>(a_size)},
                      {static_cast<const char*>(b), static_cast<std::size_t>(b_size)});
}

// Counting every piece of memory under one mutex is work for nobody. SQLite takes this only before anybody has opened a
// file, whoever that may be.
[[maybe_unused]] const int kConfigured = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);

// For what another program holds, where a request has no deadline of its own.
constexpr std::chrono::seconds kPatience{10};
// How many rows one statement adds at most.
constexpr std::size_t kMostRows = 64;

class SqliteEngine final : public Engine {
 public:
  SqliteEngine(const std::string& path, MissingFile missing, Traffic& traffic, ChangeLog& log);
  ~SqliteEngine() override;

  Dialect dialect() const override { return Dialect::kSqlite; }
  void SetDeadline(Time deadline) override { deadline_ = deadline; }
  Rows Run(Statement statement, Effect effect) override;
  std::int64_t RowsTouched() const override { return sqlite3_changes64(database_.get()); }
  void Replace(Statement removal, const RowSet& rows) override;
  void RunScript(const std::string& script) override;
  void Begin() override;
  // The one writer's turn is all the lock there is.
  void Lock(std::int64_t) override {}
  void SetAuthor(const Author& author) override { author_ = author; }
  void Commit(Durability durability, Statement last) override;
  void Flush() override;
  void Rollback() noexcept override;
  bool InTransaction() const override { return sqlite3_get_autocommit(database_.get()) == 0; }
  void BeginInner() override { RunScript("SAVEPOINT inner_transaction"); }
  void CommitInner() override { RunScript("RELEASE inner_transaction"); }
  void RollbackInner() noexcept override {
    sqlite3_exec(database_.get(), "ROLLBACK TO inner_transaction; RELEASE inner_transaction", nullptr, nullptr,
                 nullptr);
  }
  bool Usable() const override { return usable_; }

 private:
  struct Prepared {
    StatementHandle handle;
    std::shared_ptr<Shape> shape;
    std::vector<bool> dates;  // whether a column holds dates, or an expression may
  };

  [[noreturn]] void Fail(int code);
  // Refuses to go on when the file, or its log of changes, is no longer what it was.
  void CheckFiles();
  void Check(int code) {
    if (code != SQLITE_OK) Fail(code);
  }
  void AddFunction(const char* name, int arguments, int flags,
                   void (*function)(sqlite3_context*, int, sqlite3_value**)) {
    Check(sqlite3_create_function_v2(database_.get(), name, arguments, SQLITE_UTF8 | SQLITE_INNOCUOUS | flags, &author_,
                                     function, nullptr, nullptr, nullptr));
  }
  void TurnOnWriteAheadLog();
  void RequireTransaction();
  // SQLite's handler for what another program holds: whether to try once more.
  static int WaitForOthers(void* engine, int tries);
  Prepared& Prepare(const std::string& sql);
  Rows Step(const Prepared& prepared);
  void Insert(const RowSet& rows, std::size_t first, std::size_t count);
  void Bind(sqlite3_stmt* statement, int place, const Piece& piece);
  Field Cell(const Prepared& prepared, int column);

  const std::string path_;
  Traffic& traffic_;
  Author author_;
  DatabaseHandle database_;
  PreparedTexts<Prepared> prepared_;
  std::string sql_;
  std::vector<const Piece*> values_;
  ChangeLog& log_;
  Time deadline_ = Time::max();
  Time waits_until_;
  bool begun_ = false;  // a transaction
  bool usable_ = true;
};

// SQLite would let all users of the machine read the file; those that it makes beside it follow the file's mode.
void MakeForOwnerAlone(const std::string& path) {
  const int handle = open(path.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0600);
  if (handle >= 0) close(handle);
}

SqliteEngine::SqliteEngine(const std::string& path, MissingFile missing, Traffic& traffic, ChangeLog& log)
    : path_(path), traffic_(traffic), log_(log) {
  if (missing == MissingFile::kMade) MakeForOwnerAlone(path);
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(path.c_str(), &opened,
                                   SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
  database_.reset(opened);
  if (code != SQLITE_OK && opened != nullptr) {
    const int reason = sqlite3_system_errno(opened);
    throw Fault(FaultNumber::kConnectionFailed, "surva database", "The database does not answer.",
                path + ": " + (reason != 0 ? std::generic_category().message(reason) : sqlite3_errmsg(opened)));
  }
  Check(code);
  sqlite3_busy_handler(opened, WaitForOthers, this);
  AddFunction("now", 0, 0, NowFunction);
  AddFunction("cdate", 1, SQLITE_DETERMINISTIC, CDateFunction);
  AddFunction("datepart", 2, SQLITE_DETERMINISTIC, DatePartFunction);
  AddFunction("month", 1, SQLITE_DETERMINISTIC, MonthFunction);
  AddFunction("year", 1, SQLITE_DETERMINISTIC, YearFunction);
  AddFunction("history_row", -1, SQLITE_DETERMINISTIC, RowFunction);
  AddFunction("history_person", 0, 0, PersonFunction);
  AddFunction("history_request", 0, 0, RequestFunction);
  AddFunction("like", 2, SQLITE_DETERMINISTIC, LikeFunction);
  Check(AddTally(opened));
  Check(sqlite3_create_collation_v2(opened, kCollation.data(), SQLITE_UTF8, nullptr, CompareFunction, nullptr));
  TurnOnWriteAheadLog();
  // A commit is written into the log; Commit itself flushes that.
  // A foreign reader may keep the log of changes from being taken over for long; it need not stay as large ever after.
  RunScript(
      "PRAGMA journal_size_limit=16777216; PRAGMA synchronous=NORMAL; PRAGMA trusted_schema=OFF; PRAGMA temp_store=MEMORY; SELECT count(*) FROM sqlite_master");
  // In place of SQLite's own, which would take the log over inside a commit.
  sqlite3_wal_hook(
      opened,
      [](void* to, sqlite3*, const char*, int pages) {
        static_cast<ChangeLog*>(to)->Grown(pages);
        return SQLITE_OK;
      },
      &log_);
  log_.Join();
}

SqliteEngine::~SqliteEngine() {
  log_.Part();
  if (log_.broken()) sqlite3_db_config(database_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

int SqliteEngine::WaitForOthers(void* engine, int tries) {
  auto& self = *static_cast<SqliteEngine*>(engine);
  const Time now = std::chrono::steady_clock::now();
  if (tries == 0) self.waits_until_ = std::min(self.deadline_, now + kPatience);
  if (now >= self.waits_until_) return 0;
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(self.waits_until_ - now).count();
  sqlite3_sleep(static_cast<int>(std::min<std::int64_t>({left + 1, tries + 1, 20})));
  return 1;
}

void SqliteEngine::CheckFiles() {
  int moved = 0;
  sqlite3_file_control(database_.get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
  if (moved != 0) {
    usable_ = false;
    throw Fault(FaultNumber::kConnectionFailed, "surva database", "The database does not answer.",
                path_ + " has been deleted or replaced while surva was using it; put it back, or restart surva");
  }
  if (log_.IsInPlace()) return log_.RequireSound(database_.get());
  Rollback();
  // As long as that fails this connection is kept: it has what was written.
  usable_ = usable_ && !log_.Rescue(database_.get());
  throw Fault(FaultNumber::kConnectionFailed, "surva database", "The database does not answer.",
              path_ + ": the log of changes beside it has been deleted or replaced while surva was using it");
}

// SQLite does not wait for another program that makes the file just now, busy timeout or not.
void SqliteEngine::TurnOnWriteAheadLog() {
  constexpr int kPatience = 500;
  for (int attempt = 1;; ++attempt) {
    const int code = sqlite3_exec(database_.get(), "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
    if ((code & 0xff) != SQLITE_BUSY || attempt == kPatience) return Check(code);
    sqlite3_sleep(10);
  }
}

void SqliteEngine::Fail(int code) {
  const std::string detail =
      database_ ? std::string(sqlite3_errmsg(database_.get())) + " (" + std::to_string(code) + ")" : "out of memory";
  switch (code & 0xff) {
    case SQLITE_CONSTRAINT:
      throw Fault(FaultNumber::kValueRefused, "surva database", "The database refuses a value.", detail);
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      throw Fault::Busy(detail);
    case SQLITE_ERROR:
    case SQLITE_MISMATCH:
    case SQLITE_RANGE:
    case SQLITE_TOOBIG:
      throw Fault::StatementFailed(detail);
    default:
      usable_ = false;
      throw Fault(FaultNumber::kConnectionFailed, "surva database", "The database does not answer.", detail);
  }
}

SqliteEngine::Prepared& SqliteEngine::Prepare(const std::string& sql) {
  Prepared& known = prepared_.Recall(sql);
  if (known.handle) return known;
  prepared_.TakeSurplus();
  sqlite3_stmt* statement = nullptr;
  const char* tail = nullptr;
  Check(sqlite3_prepare_v3(database_.get(), sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT,
                           &statement, &tail));
  Prepared prepared{StatementHandle(statement), std::make_shared<Shape>(), {}};
  const int columns = sqlite3_column_count(statement);
  for (int column = 0; column < columns; ++column) {
    const char* table = sqlite3_column_table_name(statement, column);
    const char* origin = sqlite3_column_origin_name(statement, column);
    const bool plain = table != nullptr && origin != nullptr;
    prepared.shape->Add(sqlite3_column_name(statement, column), plain ? table : "", plain ? origin : "");
    const Column* known_column = plain ? FindColumn(table, origin) : nullptr;
    // now() and Max(BeginDate) are of no column; they give the text of a date.
    prepared.dates.push_back(plain ? known_column != nullptr && known_column->type == ColumnType::kDate : true);
  }
  known = std::move(prepared);
  return known;
}

void SqliteEngine::Bind(sqlite3_stmt* statement, int place, const Piece& piece) {
  switch (piece.kind()) {
    case Piece::Kind::kWhole:
      return Check(sqlite3_bind_int64(statement, place, std::get<std::int64_t>(piece.content().content())));
    case Piece::Kind::kReal:
      return Check(sqlite3_bind_double(statement, place, std::get<double>(piece.content().content())));
    case Piece::Kind::kDate: {
      const std::string text = IsoText(piece.content().Date());
      return Check(sqlite3_bind_text64(statement, place, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
    }
    default:
      // The piece outlives the run.
      return Check(sqlite3_bind_text64(statement, place, piece.text().empty() ? "" : piece.text().data(),
                                       piece.text().size(), SQLITE_STATIC, SQLITE_UTF8));
  }
}

Field SqliteEngine::Cell(const Prepared& prepared, int column) {
  sqlite3_stmt* statement = prepared.handle.get();
  switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER:
      return Field(static_cast<std::int64_t>(sqlite3_column_int64(statement, column)));
    case SQLITE_FLOAT:
      return Field(sqlite3_column_double(statement, column));
    case SQLITE_NULL:
      return {};
    default:
      break;
  }
  const std::string_view text(reinterpret_cast<const char*>(sqlite3_column_text(statement, column)),
                              static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
  constexpr std::size_t kDateLength = std::string_view("YYYY-MM-DD HH:MM:SS").size();
  if (text.size() == kDateLength && prepared.dates[static_cast<std::size_t>(column)]) {
    if (const auto at = ReadIso(text)) return Field(*at);
  }
  return Field(text);
}

// Lets go of a statement's cursor and of the texts that were bound to it.
struct Reset {
  sqlite3_stmt* statement;
  ~Reset() {
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
  }
};

Rows SqliteEngine::Run(Statement statement, Effect) {
  RequireTransaction();
  Assemble(statement, Dialect::kSqlite, sql_, values_);
  const Prepared& prepared = Prepare(sql_);
  const Reset reset{prepared.handle.get()};
  int place = 0;
  for (const Piece* piece : values_) Bind(prepared.handle.get(), ++place, *piece);
  return Step(prepared);
}

void SqliteEngine::Replace(Statement removal, const RowSet& rows) {
  Run(removal, Effect::kWrite);
  // By powers of two, so that a few statements do for any number of rows.
  for (std::size_t first = 0; first < rows.size();) {
    const std::size_t count = std::min(std::bit_floor(rows.size() - first), kMostRows);
    try {
      Insert(rows, first, count);
    } catch (const Fault&) {
      // None of them stands. Those before the one that is refused shall.
      if (count == 1) throw;
      for (std::size_t row = first; row < first + count; ++row) Insert(rows, row, 1);
    }
    first += count;
  }
}

void SqliteEngine::Insert(const RowSet& rows, std::size_t first, std::size_t count) {
  RequireTransaction();
  sql_ = "insert into " + std::string(rows.table->name);
  std::string places;
  for (const Column* column : rows.columns) {
    sql_ += places.empty() ? " (" : ", ";
    sql_ += column->name;
    places += places.empty() ? "(?" : ", ?";
  }
  places += ')';
  sql_ += ") values ";
  for (std::size_t row = 0; row < count; ++row) sql_.append(row > 0 ? ", " : "").append(places);
  const Prepared& prepared = Prepare(sql_);
  const Reset reset{prepared.handle.get()};
  const std::size_t width = rows.columns.size();
  for (std::size_t i = 0; i < count * width; ++i) {
    // A place without a value is null.
    const Value& value = rows.cells[first * width + i];
    if (!value.IsNull()) Bind(prepared.handle.get(), static_cast<int>(i) + 1, Bound(value));
  }
  Step(prepared);
}

Rows SqliteEngine::Step(const Prepared& prepared) {
  ++traffic_.statements;
  sqlite3_stmt* handle = prepared.handle.get();
  Rows rows(prepared.shape);
  const int columns = prepared.shape->size();
  int code = 0;
  while ((code = sqlite3_step(handle)) == SQLITE_ROW) {
    for (int column = 0; column < columns; ++column) rows.AddCell(Cell(prepared, column));
  }
  if (code != SQLITE_DONE) Fail(code);
  return rows;
}

void SqliteEngine::RunScript(const std::string& script) {
  Check(sqlite3_exec(database_.get(), script.c_str(), nullptr, nullptr, nullptr));
}

void SqliteEngine::Begin() {
  log_.RequireWhole();
  static constexpr Piece kBegin[] = {"BEGIN IMMEDIATE"};
  begun_ = false;
  Run(kBegin, Effect::kWrite);
  begun_ = true;
}

void SqliteEngine::Commit(Durability durability, Statement last) {
  static constexpr Piece kCommit[] = {"COMMIT"};
  if (!last.empty()) Run(last, Effect::kWrite);
  if (durability == Durability::kDisk) CheckFiles();
  Run(kCommit, Effect::kWrite);
  begun_ = false;
}

// A full disk or one that fails undoes the whole transaction, not the statement alone: what came behind it would stand
// by itself.
void SqliteEngine::RequireTransaction() {
  if (!begun_ || InTransaction()) return;
  usable_ = false;
  throw Fault(FaultNumber::kConnectionFailed, "surva database", "The database does not answer.",
              "the transaction has been undone");
}

void SqliteEngine::Flush() {
  const auto doubt = [](const char* detail) {
    return Fault(FaultNumber::kCommitInDoubt, "surva database", "The database does not answer.", detail);
  };
  sqlite3_file* log = nullptr;
  sqlite3_file_control(database_.get(), "main", SQLITE_FCNTL_JOURNAL_POINTER, static_cast<void*>(&log));
  ++traffic_.flushes;
  if (log_.broken() || log == nullptr || log->pMethods == nullptr ||
      log->pMethods->xSync(log, SQLITE_SYNC_NORMAL) != SQLITE_OK) {
    log_.FailFlush();
    usable_ = false;
    throw doubt("the log of changes could not be flushed to disk");
  }
  try {
    CheckFiles();
  } catch (const Fault& fault) {
    throw doubt(fault.what());
  }
}

void SqliteEngine::Rollback() noexcept {
  begun_ = false;
  if (!InTransaction()) return;
  if (sqlite3_exec(database_.get(), "ROLLBACK", nullptr, nullptr, nullptr) != SQLITE_OK && InTransaction())
    usable_ = false;
}

}  // namespace

std::unique_ptr<Engine> OpenSqlite(const std::string& path, MissingFile missing, Traffic& traffic, ChangeLog& log) {
  return std::make_unique<SqliteEngine>(path, missing, traffic, log);
}

}  // namespace surva::data
