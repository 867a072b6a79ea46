#include "upkeep/check.h"

#include <memory>
#include <set>

#include "frame/data/connection.h"
#include "frame/data/engine.h"
#include "frame/data/schema.h"
#include "frame/data/schema_upgrade.h"
#include "frame/values/text.h"
#include "upkeep/copy.h"
#include "upkeep/readiness.h"

namespace surva::upkeep {
namespace {

using namespace data::tables;
using data::Dialect;
using data::Name;
using data::Piece;
using data::Row;
using data::Rows;
using data::Table;
using Kind = Finding::Kind;

constexpr const char* kRestore = "restore a backup (surva restore)";
constexpr const char* kInit = "\"surva init\" makes what is missing, empty; or restore a backup (surva restore)";

// A column that holds a key of another table.
struct Reference {
  const Table& table;
  const char* column;
  const Table& other;
  // How its rows may be looked for: nothing, or a condition on the values that mean something else.
  Piece condition = " is not null";
};

const Reference kReferences[] = {
    {kStudent, "CompanyID", kCompany},
    {kTraining, "SurvaVersionID", kSurvaVersion},
    {kSchedule, "TrainingID", kTraining},
    {kSchedule, "TrainerID", kTrainer},
    {kSchedule, "SurvaVersionID", kSurvaVersion},
    {kParticipant, "ScheduleID", kSchedule},
    {kParticipant, "StudentID", kStudent},
    {kSurvaLayout, "SurvaVersionID", kSurvaVersion},
    {kSurvaLayout, "QuestionID", kQuestion},
    {kFieldValue, "QuestionID", kQuestion},
    {kMark, "StudentID", kStudent},
    {kMark, "ScheduleID", kSchedule},
    {kMark, "QuestionID", kQuestion},
    {kMark, "FieldValueID", kFieldValue, ">0"},
    {kAnonymousStudent, "SurvaVersionID", kSurvaVersion},
    {kAnonymousMark, "StudentID", kAnonymousStudent},
    {kAnonymousMark, "QuestionID", kQuestion},
    {kAnonymousMark, "FieldValueID", kFieldValue, ">0"},
    {kMessage, "StudentID", kStudent},
};

std::string Text(std::string_view text) {
  return std::string(text);
}

std::string Counted(std::int64_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

class Look {
 public:
  explicit Look(data::Database& database) : database_(database), db_(database) {}

  std::vector<Finding> Whole() {
    Engine();
    Tables();
    // Without its tables nothing more can be asked of it.
    if (!findings_.empty()) return std::move(findings_);
    Indexes();
    History();
    Keys();
    References();
    Values();
    Pages();
    return std::move(findings_);
  }
  std::vector<Finding> OfTables() {
    Tables();
    return std::move(findings_);
  }
  // Of what pages do without, slowly or carelessly.
  std::vector<Finding> OfAids() {
    Indexes();
    History();
    return std::move(findings_);
  }

 private:
  void Add(Kind kind, std::string what, std::string remedy) {
    findings_.push_back({kind, std::move(what), std::move(remedy)});
  }

  void Engine() {
    if (database_.dialect() != Dialect::kSqlite) return;
    for (const Row& row : db_.Query({"PRAGMA integrity_check(20)"})) {
      if (const std::string found = row[0].Text(); found != "ok") {
        const bool of_index = found.find("index") != std::string::npos;
        Add(Kind::kDamage, "the file is damaged: " + found,
            of_index ? "copy the database into a new one (surva copy)" : kRestore);
      }
    }
  }

  void Tables() {
    if (const int version = VersionOf(database_); version != data::kSchemaVersion) {
      Add(Kind::kDamage,
          "the tables are of version " + std::to_string(version) + ", this program works on version " +
              std::to_string(data::kSchemaVersion),
          version < data::kSchemaVersion ? "\"surva init\" upgrades them" : "install the surva that made them");
      return;
    }
    for (const auto all : {data::AllTables(), data::HostTables()}) {
      for (const Table* table : all) {
        std::set<std::string> columns;
        const Field name(table->name);
        const Rows rows =
            database_.dialect() == Dialect::kSqlite
                ? db_.Query({"select lower(name) as Name from pragma_table_info(", data::Bound(name), ")"})
                : db_.Query({"select column_name::text as Name from information_schema.columns where table_schema = "
                             "any(current_schemas(false)) and table_name=lower(",
                             data::Bound(name), ")"});
        for (const Row& row : rows) columns.insert(row["Name"].Text());
        if (columns.empty()) Add(Kind::kDamage, "table " + Text(table->name) + " is missing", kInit);
        for (const data::Column& column : table->columns) {
          if (!columns.empty() && !columns.contains(LowerName(column.name))) {
            Add(Kind::kDamage, "column " + Text(column.name) + " of table " + Text(table->name) + " is missing", kInit);
          }
        }
      }
    }
  }

  // Missing ones make pages slow, not wrong.
  void Indexes() {
    std::set<std::string> standing;
    const Rows rows =
        database_.dialect() == Dialect::kSqlite
            ? db_.Query({"select lower(tbl_name) as Name, count(*) as Cnt from sqlite_master where type='index' and "
                         "sql is not null group by lower(tbl_name)"})
            : db_.Query({"select tablename::text as Name, count(*) as Cnt from pg_indexes where schemaname = "
                         "any(current_schemas(false)) and indexname not like '%_pkey' group by tablename"});
    for (const auto all : {data::AllTables(), data::HostTables()}) {
      for (const Table* table : all) {
        std::int64_t wanted = 0;
        std::int64_t found = 0;
        for (const data::Index& index : data::AllIndexes()) wanted += EqualNames(index.table, table->name) ? 1 : 0;
        for (const Row& row : rows) {
          if (row["Name"].Text() == LowerName(table->name)) found = row["Cnt"].Integer();
        }
        if (found < wanted) {
          Add(Kind::kDamage,
              "table " + Text(table->name) + " has " + std::to_string(found) + " of its " +
                  Counted(wanted, "index", "indexes") + ", its pages are slow",
              "\"surva init\" makes what is missing");
        }
      }
    }
  }

  // Without its triggers what a page deletes does not come back.
  void History() {
    std::set<std::string> standing;
    for (const Row& row :
         database_.dialect() == Dialect::kSqlite
             ? db_.Query({"select lower(name) as Name from sqlite_master where type='trigger'"})
             : db_.Query({"select (relname || replace(tgname, 'keep_history', ''))::text as Name from pg_trigger inner "
                          "join pg_class on pg_class.oid=tgrelid where tgenabled<>'D' and relnamespace = "
                          "any(current_schemas(false)::regnamespace[])"})) {
      standing.insert(row["Name"].Text());
    }
    for (const Table* table : data::AllTables()) {
      const std::string name = LowerName(table->name);
      if (standing.contains(name + "_update") && standing.contains(name + "_delete")) continue;
      Add(Kind::kDamage, "what is changed or deleted in table " + Text(table->name) + " is not kept in the history",
          "\"surva init\" makes what is missing");
    }
  }

  // What only another program can have written: days that are none, and bytes that are no letters, which PostgreSQL
  // does not take.
  void Values() {
    const bool sqlite = database_.dialect() == Dialect::kSqlite;
    for (const Table* table : KeptTables()) {
      for (const data::Column& column : table->columns) {
        std::int64_t wrong = 0;
        if (column.type == data::ColumnType::kDate) {
          wrong = (sqlite ? db_.Query({"select count(*) as Cnt from ", Name(*table), " where ", Name(column),
                                       " is not null and coalesce(date(", Name(column), ", '+0 days'), '')<>substr(",
                                       Name(column), ", 1, 10)"})
                          : db_.Query({"select count(*) as Cnt from ", Name(*table), " where not isfinite(",
                                       Name(column), ")"}))
                      .First()["Cnt"]
                      .Integer();
        } else if (sqlite && IsText(column.type)) {
          wrong = CountBrokenTexts(*table, column);
        }
        if (wrong == 0) continue;
        Add(Kind::kDamage,
            Counted(wrong, "value", "values") + " of " + Text(column.name) + " in table " + Text(table->name) +
                (column.type == data::ColumnType::kDate ? " cannot be read as a day" : " cannot be read as text"),
            "write them anew on the page of their rows, or restore a backup (surva restore)");
      }
    }
  }

  static bool IsText(data::ColumnType type) {
    using enum data::ColumnType;
    return type == kText || type == kLongText || type == kPlain;
  }

  std::int64_t CountBrokenTexts(const Table& table, const data::Column& column) {
    constexpr std::int64_t kAtOnce = 1000;
    std::int64_t broken = 0;
    for (std::int64_t behind = 0;;) {
      // Most texts have letters of ASCII alone; a zero byte ends a text for SQLite's functions.
      const Rows rows =
          db_.Query({"select rowid as Place, ", Name(column), " as Text from ", Name(table), " where rowid>",
                     data::Number(behind), " and (", Name(column), " glob '*[^ -~]*' or length(cast(", Name(column),
                     " as blob))<>length(", Name(column), ")) order by rowid limit ", data::Number(kAtOnce)});
      for (const Row& row : rows) {
        const std::string text = row["Text"].Text();
        if (!IsUtf8(text) || text.find('\0') != std::string::npos) ++broken;
        behind = row["Place"].Integer();
      }
      if (rows.size() < kAtOnce) return broken;
    }
  }

  // A counter that stands behind the rows gives a key a second time.
  void Keys() {
    for (const Table* table : data::AllTables()) {
      const std::int64_t most =
          db_.Query({"select max(", Name(table->key()), ") as Most from ", Name(*table)}).First()["Most"].Integer();
      if (most > LastKey(database_, *table)) {
        Add(Kind::kDamage, "the counter of table " + Text(table->name) + " stands behind its rows",
            "copy the database into a new one (surva copy)");
      }
    }
  }

  void References() {
    for (const Reference& reference : kReferences) {
      const data::Column& column = reference.table.Find(reference.column);
      const std::int64_t count =
          db_.Query({"select count(*) as Cnt from ", Name(reference.table), " where ", Name(reference.table), ".",
                     Name(column), reference.condition, " and not exists (select 1 from ", Name(reference.other),
                     " where ", Name(reference.other), ".", Name(reference.other.key()), "=", Name(reference.table),
                     ".", Name(column), ")"})
              .First()["Cnt"]
              .Integer();
      if (count > 0) {
        Add(Kind::kRemnant,
            Counted(count, "row", "rows") + " of " + Text(reference.table.name) + " with a " + reference.column +
                " that is in no row of " + Text(reference.other.name),
            "no need; the pages pass over them");
      }
    }
  }

  // Rows with which a page can only fail, or would not know what to show.
  void Pages() {
    const auto count = [this](std::initializer_list<Piece> statement) {
      return db_.Query(statement).First()["Cnt"].Integer();
    };
    if (const auto pins = count({"select count(*) as Cnt from (select PIN from Participant where PIN<>'' group by PIN "
                                 "having count(*)>1) Twice"});
        pins > 0) {
      Add(Kind::kDamage, Counted(pins, "PIN is given", "PINs are given") + " to several participants",
          "remove them from their events and enrol them again, which gives new PINs");
    }
    if (const auto valid = count({"select count(*) as Cnt from SurvaVersion where Valid<>0"}); valid > 1) {
      Add(Kind::kDamage, std::to_string(valid) + " survas are the default one",
          "choose one of them again on the page of survas");
    }
    if (const auto events = count({"select count(*) as Cnt from Schedule where BeginDate is null or EndDate is null"});
        events > 0) {
      Add(Kind::kDamage,
          Counted(events, "event without dates stands", "events without dates stand") + " in no calendar",
          "give them dates on the page of the event");
    }
    if (const auto empty = count({"select count(*) as Cnt from Schedule where not exists (select 1 from SurvaLayout "
                                  "where SurvaLayout.SurvaVersionID=Schedule.SurvaVersionID)"});
        empty > 0) {
      Add(Kind::kRemnant, Counted(empty, "event has", "events have") + " a surva without questions",
          "give the surva its questions before PINs are handed out");
    }
  }

  data::Database& database_;
  data::Connection db_;
  std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> Check(data::Database& database) {
  return Look(database).Whole();
}

std::vector<Finding> RequireTables(data::Database& database) {
  const std::vector<Finding> missing = Look(database).OfTables();
  if (missing.empty()) return Look(database).OfAids();
  std::string text = "the database is not whole: " + missing.front().what;
  if (missing.size() > 1) text += ", and " + Counted(static_cast<std::int64_t>(missing.size()) - 1, "more", "more");
  throw Refusal(text + "; " + missing.front().remedy);
}

bool MakeWhatIsMissing(data::Database& database) {
  if (Look(database).OfTables().empty() && Look(database).OfAids().empty()) return false;
  std::unique_ptr<data::Engine> engine = database.Take();
  data::MakeWhatIsMissing(*engine);
  database.Give(std::move(engine));
  return true;
}

}  // namespace surva::upkeep
