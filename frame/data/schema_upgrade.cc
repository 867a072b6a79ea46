#include "frame/data/schema_upgrade.h"

#include <chrono>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <thread>

#include "frame/data/engine.h"
#include "frame/data/schema_making.h"
#include "frame/values/fault.h"
#include "frame/values/text.h"

namespace surva::data {
namespace {

bool TableStands(Engine& engine, std::string_view lower_name) {
  const Piece name = Bound(Field(lower_name));
  if (engine.dialect() == Dialect::kSqlite) {
    const Piece statement[] = {"select count(*) as Cnt from sqlite_master where type='table' and lower(name)=", name};
    return engine.Run(statement, Effect::kRead).First()["Cnt"].IsTrue();
  }
  const Piece statement[] = {
      "select count(*) as Cnt from information_schema.tables where table_schema = any(current_schemas(false)) "
      "and table_name=",
      name};
  return engine.Run(statement, Effect::kRead).First()["Cnt"].IsTrue();
}

// 0 if none is written down.
int VersionOf(Engine& engine) {
  if (!TableStands(engine, "schemaversion")) return 0;
  const Piece statement[] = {"select max(Version) as Version from SchemaVersion"};
  return static_cast<int>(engine.Run(statement, Effect::kRead).First()["Version"].Integer());
}

// An ordinary user of a database that is not his own may not make tables in its public schema; one named after him is
// looked into first.
void PreparePostgresSchema(Engine& engine) {
  const Piece may_create[] = {
      "select coalesce(has_schema_privilege(current_schema(), 'CREATE'), false)::integer as MayCreate"};
  if (engine.Run(may_create, Effect::kRead).First()["MayCreate"].IsTrue()) return;
  engine.RunScript("CREATE SCHEMA IF NOT EXISTS AUTHORIZATION CURRENT_USER");
}

// The names of a table's columns in small letters; none if there is no such table.
std::set<std::string> ColumnsOf(Engine& engine, const Table& table) {
  const Piece name = Bound(Field(table.name));
  std::set<std::string> columns;
  const Piece of_sqlite[] = {"select lower(name) as Name from pragma_table_info(", name, ")"};
  const Piece of_postgres[] = {"select column_name::text as Name from information_schema.columns "
                               "where table_schema = any(current_schemas(false)) and table_name=lower(",
                               name, ")"};
  const Statement statement = engine.dialect() == Dialect::kSqlite ? Statement(of_sqlite) : Statement(of_postgres);
  for (const Row& row : engine.Run(statement, Effect::kRead)) columns.insert(row["Name"].Text());
  return columns;
}

// Tables, columns, indexes and functions that have come since.
void AddWhatIsMissing(Engine& engine) {
  std::string script = MakeFunctions(engine.dialect());
  for (const auto all : {AllTables(), HostTables()}) {
    for (const Table* table : all) {
      const std::set<std::string> standing = ColumnsOf(engine, *table);
      if (standing.empty()) {
        script += MakeTable(*table, engine.dialect());
        continue;
      }
      for (const Column& column : table->columns) {
        if (!standing.contains(LowerName(column.name))) script += AddColumn(*table, column, engine.dialect());
      }
    }
  }
  engine.RunScript(script + MakeIndexes(engine.dialect()) + MakeHistory(engine.dialect()));
}

// Version 1 is two: an index was once put in another's place without a new number. Its texts in SQLite had a collation
// that took the name of one which every other tool knows and compares otherwise: what such a tool has written may stand
// in the wrong place of an index.
void FromOneToTwo(Engine& engine) {
  engine.RunScript("DROP INDEX IF EXISTS Company_CompanyName; DROP INDEX IF EXISTS Mark_ScheduleID");
  if (engine.dialect() == Dialect::kPostgres) {
    engine.RunScript("ALTER TABLE VisitorSession ALTER Contents SET DEFAULT '', ALTER LastUse SET DEFAULT 0, "
                     "ALTER TimeoutMinutes TYPE bigint, ALTER TimeoutMinutes SET DEFAULT 0");
    return;
  }
  engine.RunScript(
      "PRAGMA writable_schema=ON;\n"
      "UPDATE sqlite_master SET sql=replace(sql, 'COLLATE NOCASE', 'COLLATE SURVA') WHERE type='table';\n"
      "PRAGMA writable_schema=RESET;\n"
      "REINDEX;\n"
      "ALTER TABLE VisitorSession RENAME TO OldSession;\n"
      "CREATE TABLE VisitorSession (SessionKey varchar(64) NOT NULL PRIMARY KEY, Contents text NOT NULL DEFAULT '', "
      "LastUse bigint NOT NULL DEFAULT 0, TimeoutMinutes bigint NOT NULL DEFAULT 0);\n"
      "INSERT INTO VisitorSession SELECT SessionKey, Contents, LastUse, TimeoutMinutes FROM OldSession;\n"
      "DROP TABLE OldSession");
}

// Step i brings a database from version i + 1 to i + 2.
constexpr void (*kSteps[])(Engine&) = {FromOneToTwo};
static_assert(std::size(kSteps) == kSchemaVersion - 1, "a version that no step leads to");

// Nodes of the version before serve meanwhile. Where somebody reads for long, as a backup does, whoever comes behind an
// upgrade that waits for him would wait for both: it steps back after a moment, and tries again.
constexpr std::string_view kMoment = "1s";
constexpr std::chrono::seconds kPause{2};

void Upgrade(Engine& engine, int found) {
  engine.Begin();
  try {
    if (engine.dialect() == Dialect::kPostgres) {
      // Two programs may start at once on an empty database.
      engine.RunScript(
          "SET LOCAL statement_timeout=0; SET LOCAL lock_timeout=0; SELECT pg_advisory_xact_lock(73757276); "
          "SET LOCAL lock_timeout='" +
          std::string(kMoment) + "'");
      if (found == 0) PreparePostgresSchema(engine);
    }
    const int now = VersionOf(engine);
    // Nobody makes tables meanwhile: these are not on their way.
    if (now == 0 && TableStands(engine, "survaversion")) {
      throw SchemaError("the database holds tables that surva did not make; give another --dsn or empty the database");
    }
    if (now == 0) engine.RunScript(MakeAll(engine.dialect()));
    if (now > 0 && now < kSchemaVersion) {
      for (int version = now; version < kSchemaVersion; ++version)
        kSteps[static_cast<std::size_t>(version - 1)](engine);
      AddWhatIsMissing(engine);
    }
    if (now < kSchemaVersion) {
      engine.RunScript("DELETE FROM SchemaVersion; INSERT INTO SchemaVersion (Version) VALUES (" +
                       std::to_string(kSchemaVersion) + ")");
    }
    engine.Commit(Durability::kDisk, {});
    engine.Flush();
  } catch (...) {
    engine.Rollback();
    throw;
  }
}

}  // namespace

void BringUpToDate(Engine& engine) {
  const int found = VersionOf(engine);
  if (found > kSchemaVersion) {
    throw SchemaError("the database was made by a later version of surva; install that version");
  }
  if (found == kSchemaVersion) return;
  while (true) {
    try {
      return Upgrade(engine, found);
    } catch (const Fault& fault) {
      if (!fault.IsBusy() || engine.dialect() != Dialect::kPostgres) throw;
    }
    std::this_thread::sleep_for(kPause);
  }
}

void MakeWhatIsMissing(Engine& engine) {
  engine.Begin();
  try {
    AddWhatIsMissing(engine);
    engine.Commit(Durability::kDisk, {});
    engine.Flush();
  } catch (...) {
    engine.Rollback();
    throw;
  }
}

}  // namespace surva::data
