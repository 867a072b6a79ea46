#include "upkeep/copy.h"

#include <algorithm>
#include <map>
#include <memory>
#include <span>

#include "frame/data/engine.h"
#include "frame/data/schema.h"
#include "frame/values/fault.h"
#include "frame/values/text.h"
#include "upkeep/readiness.h"

namespace surva::upkeep {
namespace {

using data::Bound;
using data::ColumnType;
using data::Dialect;
using data::Effect;
using data::Engine;
using data::Name;
using data::Piece;
using data::Row;
using data::Rows;
using data::Statement;
using data::Table;

constexpr std::size_t kRowsAtOnce = 2'000;
// Few enough that either engine takes their values in one statement.
constexpr std::size_t kRowsOfAnInsert = 40;

Rows Ask(Engine& engine, std::initializer_list<Piece> statement) {
  return engine.Run(Statement(statement), Effect::kRead);
}

// A transaction of the engine's own, rolled back if it is not committed.
class Transaction {
 public:
  Transaction(Engine& engine, const char* begin) : engine_(engine) { engine.RunScript(begin); }
  ~Transaction() {
    if (ended_) return;
    try {
      engine_.RunScript("ROLLBACK");
    } catch (const std::exception&) {
      // The connection is gone, and the transaction with it.
    }
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void Commit() {
    engine_.RunScript("COMMIT");
    ended_ = true;
  }

 private:
  Engine& engine_;
  bool ended_ = false;
};

std::int64_t Count(Engine& engine, const Table& table) {
  return Ask(engine, {"select count(*) as Cnt from ", Name(table)}).First()["Cnt"].Integer();
}

// Writes rows of one pattern of missing values: where a value is missing, the statement has another text.
class Inserts {
 public:
  Inserts(Engine& engine, const Table& table) : engine_(engine), table_(table) {
    head_ = {"insert into ", Name(table), " ("};
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
      if (i > 0) head_.push_back(", ");
      head_.push_back(Name(table.columns[i]));
    }
    head_.push_back(") values ");
  }

  void Write(const Rows& rows) {
    std::map<std::string, std::vector<Row>> by_pattern;
    for (const Row& row : rows) {
      std::string pattern;
      for (std::size_t i = 0; i < table_.columns.size(); ++i) pattern += row[static_cast<int>(i)].IsNull() ? '0' : '1';
      by_pattern[pattern].push_back(row);
    }
    for (const auto& [pattern, all] : by_pattern) {
      std::span<const Row> rest(all);
      for (; rest.size() >= kRowsOfAnInsert; rest = rest.subspan(kRowsOfAnInsert)) {
        WriteOnce(rest.first(kRowsOfAnInsert));
      }
      for (std::size_t i = 0; i < rest.size(); ++i) WriteOnce(rest.subspan(i, 1));
    }
  }

 private:
  // Behind a zero byte PostgreSQL would lose what follows.
  static void RequireWhole(const Field& value) {
    const auto* const text = std::get_if<std::string_view>(&value.content());
    if (text != nullptr && text->find('\0') != std::string_view::npos) {
      throw Fault(FaultNumber::kValueRefused, "surva database", "a text holds a zero byte");
    }
  }
  void WriteOnce(std::span<const Row> rows) {
    std::vector<Piece> pieces = head_;
    for (std::size_t r = 0; r < rows.size(); ++r) {
      if (r > 0) pieces.push_back(", ");
      pieces.push_back("(");
      for (std::size_t i = 0; i < table_.columns.size(); ++i) {
        if (i > 0) pieces.push_back(", ");
        const Field value = rows[r][static_cast<int>(i)];
        RequireWhole(value);
        pieces.push_back(Bound(value));
      }
      pieces.push_back(")");
    }
    engine_.Run(pieces, Effect::kWrite);
  }

  Engine& engine_;
  const Table& table_;
  std::vector<Piece> head_;
};

void CopyRows(Engine& from, Engine& to, const Table& table) {
  std::vector<Piece> select{"select "};
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    if (i > 0) select.push_back(", ");
    select.push_back(Name(table.columns[i]));
  }
  for (const Piece& piece : {Piece(" from "), Name(table)}) select.push_back(piece);
  Inserts inserts(to, table);
  Value last;
  while (true) {
    std::vector<Piece> page = select;
    if (!last.view().IsNull()) {
      for (const Piece& piece : {Piece(" where "), Name(table.key()), Piece(">"), Bound(last.view())}) {
        page.push_back(piece);
      }
    }
    for (const Piece& piece : {Piece(" order by "), Name(table.key()), Piece(" limit "), data::Number(kRowsAtOnce)}) {
      page.push_back(piece);
    }
    const Rows rows = from.Run(page, Effect::kRead);
    inserts.Write(rows);
    if (rows.size() < kRowsAtOnce) return;
    last = Value(rows[rows.size() - 1][0]);
  }
}

// The last key that a table has given, which may be of a row that is gone; 0 if none was.
std::int64_t LastKey(Engine& engine, const Table& table) {
  const std::string table_name = LowerName(table.name);
  const std::string key_name = LowerName(table.key().name);
  const Rows rows = engine.dialect() == Dialect::kSqlite
                        ? Ask(engine, {"select max(seq) as LastKey from sqlite_sequence where lower(name)=",
                                       Bound(Field(std::string_view(table_name)))})
                        : Ask(engine, {"select pg_sequence_last_value(pg_get_serial_sequence(",
                                       Bound(Field(std::string_view(table_name))), "::text, ",
                                       Bound(Field(std::string_view(key_name))), "::text)::regclass) as LastKey"});
  return rows.empty() ? 0 : rows.First()["LastKey"].Integer();
}

// Which others may have given without the counter.
std::int64_t GreatestKey(Engine& engine, const Table& table) {
  return Ask(engine, {"select max(", Name(table.key()), ") as Most from ", Name(table)}).First()["Most"].Integer();
}

void SetLastKey(Engine& engine, const Table& table, std::int64_t key) {
  if (key == 0) return;
  const std::string name(table.name);
  if (engine.dialect() == Dialect::kSqlite) {
    engine.RunScript("DELETE FROM sqlite_sequence WHERE lower(name)=lower('" + name +
                     "'); INSERT INTO sqlite_sequence (name, seq) VALUES ('" + name + "', " + std::to_string(key) +
                     ")");
  } else {
    engine.RunScript("SELECT setval(pg_get_serial_sequence('" + LowerName(name) + "', '" + LowerName(table.key().name) +
                     "'), " + std::to_string(key) + ")");
  }
}

}  // namespace

std::int64_t LastKey(data::Database& database, const Table& table) {
  std::unique_ptr<Engine> engine = database.Take();
  const std::int64_t key = LastKey(*engine, table);
  database.Give(std::move(engine));
  return key;
}

std::vector<const Table*> KeptTables() {
  std::vector<const Table*> kept;
  for (const auto all : {data::AllTables(), data::HostTables()}) {
    std::copy_if(all.begin(), all.end(), std::back_inserter(kept), [](const Table* table) {
      return table != &data::tables::kVisitorSession && table != &data::tables::kStaffSession;
    });
  }
  return kept;
}

int VersionOf(data::Database& database) {
  std::unique_ptr<Engine> engine = database.Take();
  const Rows stands =
      database.dialect() == Dialect::kSqlite
          ? Ask(*engine,
                {"select count(*) as Cnt from sqlite_master where type='table' and lower(name)='schemaversion'"})
          : Ask(*engine, {"select count(*) as Cnt from information_schema.tables where table_schema = "
                          "any(current_schemas(false)) and table_name='schemaversion'"});
  int version = 0;
  if (stands.First()["Cnt"].IsTrue()) {
    version = static_cast<int>(
        Ask(*engine, {"select max(Version) as Version from SchemaVersion"}).First()["Version"].Integer());
  }
  database.Give(std::move(engine));
  return version;
}

std::vector<CopiedTable> Copy(data::Database& from, data::Database& to) {
  const std::unique_ptr<Engine> source = from.Take();
  const std::unique_ptr<Engine> target = to.Take();
  // One moment of the source, however long the copying takes.
  const Transaction reading(
      *source, source->dialect() == Dialect::kSqlite ? "BEGIN" : "BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY");
  Transaction writing(*target, target->dialect() == Dialect::kSqlite ? "BEGIN IMMEDIATE" : "BEGIN");
  std::vector<CopiedTable> copied;
  for (const Table* table : KeptTables()) {
    if (Count(*target, *table) > 0) {
      throw Refusal("the database to copy to holds data already (table " + std::string(table->name) +
                    "); give an empty one");
    }
  }
  for (const Table* table : KeptTables()) {
    try {
      CopyRows(*source, *target, *table);
    } catch (const Fault& fault) {
      throw Refusal("table " + std::string(table->name) +
                    " cannot be copied: " + (fault.detail().empty() ? fault.description() : fault.detail()) +
                    "; \"surva check\" of the database to copy from tells more; nothing was copied");
    }
    if (table->key().type == ColumnType::kKey) {
      SetLastKey(*target, *table, std::max(LastKey(*source, *table), GreatestKey(*target, *table)));
    }
    const std::int64_t rows = Count(*source, *table);
    if (Count(*target, *table) != rows) {
      throw Refusal("table " + std::string(table->name) + " has not come over whole; nothing was copied");
    }
    copied.push_back({table->name, rows});
  }
  writing.Commit();
  return copied;
}

}  // namespace surva::upkeep
