#include "frame/data/schema.h"

#include <array>
#include <string>

#include "frame/data/engine.h"
#include "frame/values/fault.h"
#include "frame/values/text.h"

namespace surva::data {
namespace {

using enum ColumnType;

constexpr Column kCompanyColumns[] = {
    {"CompanyID", kKey},      {"CompanyName", kText, 100}, {"Street", kText, 100}, {"PostCode", kText, 20},
    {"City", kText, 60},      {"Phone", kText, 25},        {"FAX", kText, 25},     {"eMail", kText, 50},
    {"TaxNumber", kText, 30}, {"Description", kLongText},
};
constexpr Column kStudentColumns[] = {
    {"StudentID", kKey},  {"CompanyID", kLong},  {"FirstName", kText, 60},   {"LastName", kText, 60},
    {"Phone", kText, 45}, {"Fax", kText, 45},    {"email", kText, 50},       {"PostCode", kText, 20},
    {"City", kText, 60},  {"Street", kText, 60}, {"Description", kLongText},
};
constexpr Column kTrainerColumns[] = {
    {"TrainerID", kKey},  {"FirstName", kText, 90}, {"LastName", kText, 90},
    {"eMail", kText, 50}, {"Phone", kText, 50},     {"Description", kLongText},
};
constexpr Column kTrainingColumns[] = {
    {"TrainingID", kKey},      {"TrainingName", kText, 200}, {"Category", kText, 90},   {"OfficialID", kText, 15},
    {"InternalID", kText, 15}, {"Description", kLongText},   {"SurvaVersionID", kLong},
};
constexpr Column kScheduleColumns[] = {
    {"ScheduleID", kKey}, {"TrainingID", kLong}, {"TrainerID", kLong}, {"SurvaVersionID", kLong},
    {"BeginDate", kDate}, {"EndDate", kDate},    {"Place", kText, 50}, {"Description", kLongText},
};
// A PIN is at most three numbers in a row: 4 digits, a second times a 32-bit key, and a 32-bit key.
constexpr Column kParticipantColumns[] = {
    {"ParticipantID", kKey}, {"ScheduleID", kLong}, {"StudentID", kLong}, {"PIN", kText, 50}, {"FillDate", kDate},
};
constexpr Column kSurvaVersionColumns[] = {
    {"SurvaVersionID", kKey},     {"SurvaName", kText, 150},       {"Valid", kLong},
    {"CreateDate", kDate},        {"RequireAuthorisation", kLong}, {"RequirePersonalDataPreview", kLong},
    {"ThankYouPage", kText, 150}, {"DisplayMenu", kLong},
};
constexpr Column kQuestionColumns[] = {
    {"QuestionID", kKey}, {"Content", kText, 250}, {"AnswerType", kLong}, {"QuestionType", kLong},
    {"SizeX", kLong},     {"SizeY", kLong},        {"LineRows", kLong},   {"Required", kLong},
};
constexpr Column kFieldValueColumns[] = {{"FieldValueID", kKey}, {"QuestionID", kLong}, {"FieldValue", kText, 60}};
constexpr Column kSurvaLayoutColumns[] = {
    {"SurvaLayoutID", kKey}, {"SurvaVersionID", kLong}, {"QuestionID", kLong}, {"PositionID", kLong}};
constexpr Column kMarkColumns[] = {
    {"MarkID", kKey},      {"StudentID", kLong},    {"ScheduleID", kLong},
    {"QuestionID", kLong}, {"FieldValueID", kLong}, {"TextAnswer", kLongText},
};
// An address is an IPv6 address with its zone at the longest.
constexpr Column kAnonymousStudentColumns[] = {
    {"AnonymousStudentID", kKey}, {"IPAddress", kText, 64},  {"CreateDate", kDate},
    {"FillDate", kDate},          {"SurvaVersionID", kLong},
};
constexpr Column kAnonymousMarkColumns[] = {
    {"AnonymousMarkID", kKey}, {"StudentID", kLong},      {"QuestionID", kLong},
    {"FieldValueID", kLong},   {"TextAnswer", kLongText},
};
constexpr Column kMessageColumns[] = {{"MessageID", kKey}, {"StudentID", kLong}, {"Message", kLongText}};

// One index for every way in which a page looks rows up, or walks them in order, in a table that grows with use.
struct Index {
  std::string_view table;
  std::string_view columns;  // or an expression in brackets
  // Whether a list is walked in its order. Nulls come first then, as SQLite always has them.
  bool walked = false;
};
constexpr Index kIndexes[] = {
    {"Company", "CompanyName, CompanyID", true},
    {"Company", "City"},
    {"Company", "Street"},
    {"Company", "PostCode"},
    {"Student", "CompanyID"},
    {"Student", "LastName, StudentID", true},
    {"Student", "LastName, FirstName"},
    {"Student", "FirstName"},
    {"Student", "City"},
    {"Trainer", "LastName, TrainerID", true},
    {"Trainer", "LastName, FirstName"},
    {"Trainer", "FirstName"},
    {"Trainer", "eMail"},
    {"Trainer", "Phone"},
    {"Training", "TrainingName, TrainingID", true},
    {"Training", "Category"},
    {"Training", "InternalID"},
    {"Training", "OfficialID"},
    {"Training", "SurvaVersionID"},
    {"Schedule", "BeginDate, EndDate"},
    {"Schedule", "EndDate"},
    {"Schedule", "(julianday(EndDate) - julianday(BeginDate))"},
    {"Schedule", "TrainingID"},
    {"Schedule", "TrainerID"},
    {"Schedule", "SurvaVersionID"},
    {"Schedule", "Place"},
    {"Participant", "PIN"},
    {"Participant", "ScheduleID, StudentID"},
    {"Participant", "StudentID"},
    {"SurvaLayout", "SurvaVersionID, PositionID"},
    {"SurvaLayout", "QuestionID"},
    {"FieldValue", "QuestionID"},
    {"Mark", "StudentID, ScheduleID"},
    {"Mark", "ScheduleID"},
    {"AnonymousStudent", "IPAddress, AnonymousStudentID"},
    {"AnonymousStudent", "SurvaVersionID"},
    {"AnonymousStudent", "FillDate"},
    {"AnonymousMark", "StudentID"},
    {"Message", "StudentID"},
};

// The host's own: visitors' sessions by the digest of their cookie, and the version of the schema.
constexpr std::string_view kHostTables =
    "CREATE TABLE VisitorSession (SessionKey varchar(64) NOT NULL PRIMARY KEY, Contents text NOT NULL,"
    " LastUse bigint NOT NULL, TimeoutMinutes integer NOT NULL);\n"
    "CREATE INDEX VisitorSession_LastUse ON VisitorSession (LastUse);\n"
    "CREATE TABLE SchemaVersion (Version integer NOT NULL);\n";

// What pages' statements ask for and PostgreSQL lacks, or has with another meaning. `like` has no escape character
// here: patterns come with their backslashes doubled.
constexpr std::string_view kPostgresFunctions = R"sql(
CREATE FUNCTION now() RETURNS timestamp LANGUAGE sql STABLE AS
  $$ SELECT pg_catalog.date_trunc('second', LOCALTIMESTAMP)::timestamp $$;
CREATE FUNCTION cdate(timestamp) RETURNS timestamp LANGUAGE sql IMMUTABLE AS $$ SELECT $1 $$;
CREATE FUNCTION month(timestamp) RETURNS integer LANGUAGE sql IMMUTABLE AS $$ SELECT extract(month FROM $1)::integer $$;
CREATE FUNCTION year(timestamp) RETURNS integer LANGUAGE sql IMMUTABLE AS $$ SELECT extract(year FROM $1)::integer $$;
CREATE FUNCTION julianday(timestamp) RETURNS float8 LANGUAGE sql IMMUTABLE AS
  $$ SELECT extract(julian FROM $1)::float8 $$;
CREATE FUNCTION datepart(text, timestamp) RETURNS integer LANGUAGE sql IMMUTABLE AS $$
  SELECT CASE pg_catalog.lower($1)
    WHEN 'yyyy' THEN extract(year FROM $2)::integer
    WHEN 'm' THEN extract(month FROM $2)::integer
    WHEN 'd' THEN extract(day FROM $2)::integer
    WHEN 'ww' THEN ((extract(doy FROM $2) - 1
                     + extract(dow FROM pg_catalog.date_trunc('year', $2)))::integer / 7) + 1
  END $$;
CREATE FUNCTION number_like(integer, text) RETURNS boolean LANGUAGE sql IMMUTABLE AS
  $$ SELECT $1::text OPERATOR(pg_catalog.~~) $2 $$;
CREATE OPERATOR ~~ (LEFTARG = integer, RIGHTARG = text, FUNCTION = number_like);
)sql";

std::string ColumnDefinition(const Column& column, Dialect dialect) {
  const bool sqlite = dialect == Dialect::kSqlite;
  std::string text(column.name);
  switch (column.type) {
    case kKey:
      return text +
             (sqlite ? " INTEGER PRIMARY KEY AUTOINCREMENT" : " integer GENERATED BY DEFAULT AS IDENTITY PRIMARY KEY");
    case kLong:
      return sqlite ? text + " INTEGER CHECK (typeof(" + text + ") IN ('integer', 'null'))" : text + " integer";
    case kDate:
      return text + (sqlite ? " DATETIME" : " timestamp(0)");
    case kText:
    case kLongText:
      break;
  }
  const std::string name = text;
  text += sqlite ? " TEXT COLLATE NOCASE" : " citext COLLATE \"C\"";
  if (column.type == kText) {
    text += std::string(" CHECK (") + (sqlite ? "length(" + name + ")" : "char_length(" + name + "::text)") +
            " <= " + std::to_string(column.width) + ")";
  }
  return text;
}

std::string FirstVersion(Dialect dialect) {
  const bool postgres = dialect == Dialect::kPostgres;
  std::string script;
  if (postgres) script.append("CREATE EXTENSION IF NOT EXISTS citext;\n").append(kPostgresFunctions);
  for (const Table* table : AllTables()) {
    script += "CREATE TABLE " + std::string(table->name) + " (";
    for (const Column& column : table->columns) {
      if (&column != table->columns.data()) script += ", ";
      script += ColumnDefinition(column, dialect);
    }
    script += ");\n";
  }
  for (const Index& index : kIndexes) {
    std::string name(index.table);
    name += '_';
    for (const char c : index.columns) {
      if (c == ',') name += '_';
      if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) name += c;
    }
    std::string columns(index.columns);
    if (index.walked && postgres) columns.insert(columns.find(','), " NULLS FIRST");
    script += "CREATE INDEX " + name + " ON " + std::string(index.table) + " (" + columns + ");\n";
  }
  script += kHostTables;
  return script;
}

// Step i brings a database from version i to i + 1.
using Step = std::string (*)(Dialect);
constexpr std::array<Step, kSchemaVersion> kSteps = {FirstVersion};

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

int VersionOf(Engine& engine) {
  if (!TableStands(engine, "schemaversion")) {
    if (TableStands(engine, "survaversion")) {
      throw SchemaError("the database holds tables that surva did not make; give another --dsn or empty the database");
    }
    return 0;
  }
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

}  // namespace

namespace tables {
const Table kCompany{"Company", kCompanyColumns};
const Table kStudent{"Student", kStudentColumns};
const Table kTrainer{"Trainer", kTrainerColumns};
const Table kTraining{"Training", kTrainingColumns};
const Table kSchedule{"Schedule", kScheduleColumns};
const Table kParticipant{"Participant", kParticipantColumns};
const Table kSurvaVersion{"SurvaVersion", kSurvaVersionColumns};
const Table kQuestion{"Question", kQuestionColumns};
const Table kFieldValue{"FieldValue", kFieldValueColumns};
const Table kSurvaLayout{"SurvaLayout", kSurvaLayoutColumns};
const Table kMark{"Mark", kMarkColumns};
const Table kAnonymousStudent{"AnonymousStudent", kAnonymousStudentColumns};
const Table kAnonymousMark{"AnonymousMark", kAnonymousMarkColumns};
const Table kMessage{"Message", kMessageColumns};
}  // namespace tables

const Column& Table::Find(std::string_view column) const {
  for (const Column& own : columns) {
    if (EqualNames(own.name, column)) return own;
  }
  throw Fault(FaultNumber::kNoSuchColumn, "surva database",
              "Item cannot be found in the collection corresponding to the requested name or ordinal.",
              std::string(column));
}

std::span<const Table* const> AllTables() {
  using namespace tables;
  static constexpr const Table* kAll[] = {
      &kCompany,  &kStudent,    &kTrainer,     &kTraining, &kSchedule,         &kParticipant,   &kSurvaVersion,
      &kQuestion, &kFieldValue, &kSurvaLayout, &kMark,     &kAnonymousStudent, &kAnonymousMark, &kMessage,
  };
  return kAll;
}

const Column* FindColumn(std::string_view table, std::string_view column) {
  for (const Table* candidate : AllTables()) {
    if (!EqualNames(candidate->name, table)) continue;
    for (const Column& own : candidate->columns) {
      if (EqualNames(own.name, column)) return &own;
    }
  }
  return nullptr;
}

void BringUpToDate(Engine& engine) {
  const int found = VersionOf(engine);
  if (found > kSchemaVersion) {
    throw SchemaError("the database was made by a later version of surva; install that version");
  }
  if (found == kSchemaVersion) return;
  engine.Begin();
  try {
    if (engine.dialect() == Dialect::kPostgres) {
      // Two programs may start at once on an empty database.
      engine.RunScript("SELECT pg_advisory_xact_lock(73757276)");
      if (found == 0) PreparePostgresSchema(engine);
    }
    const int now = VersionOf(engine);
    for (int version = now; version < kSchemaVersion; ++version) {
      engine.RunScript(kSteps[static_cast<std::size_t>(version)](engine.dialect()));
    }
    if (now < kSchemaVersion) {
      engine.RunScript("DELETE FROM SchemaVersion; INSERT INTO SchemaVersion (Version) VALUES (" +
                       std::to_string(kSchemaVersion) + ")");
    }
    engine.Commit(Durability::kDisk);
  } catch (...) {
    engine.Rollback();
    throw;
  }
}

}  // namespace surva::data
