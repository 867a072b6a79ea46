// Schema: the fourteen tables of the system and the host's own, told as data. Both engines' tables are made from this
// one description (schema_making.h), and writes through a recordset convert their values by it.
//
// To add a table or a column: describe it in schema.cc (a table of the host's own goes into HostTables), with an index
// for each way in which it is looked up. Raise kSchemaVersion if a release has gone out with its present number, and
// add an empty step to schema_upgrade.cc. Databases that stand get what they lack by themselves; a new column is empty
// in the rows there are. Any other change (a type, a name, rows, an index that goes) is a statement of that step. Keep
// a database and a dump of the version before in tests/data/upgrades.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "frame/data/rows.h"

namespace surva::data {

enum class ColumnType : std::uint8_t {
  kKey,       // a long integer that the database generates and never uses twice
  kLong,      // 32 bits; also the booleans, -1 and 0
  kText,      // short text of a width, compared without regard to case
  kLongText,  // text of any length, compared without regard to case
  kDate,
  // In tables of the host's own; never null, "" and 0 if not given.
  kName,   // the row's key, given by the program: a text of a width, compared as it is
  kPlain,  // text of any length, compared as it is
  kBig,    // 64 bits
};

struct Column {
  std::string_view name;
  ColumnType type;
  int width = 0;  // characters, of a short text
};

struct Table {
  std::string_view name;
  std::span<const Column> columns;

  const Column& key() const { return columns.front(); }
  // A Fault if there is no such column.
  const Column& Find(std::string_view column) const;
};

struct Index {
  std::string_view table;
  std::string_view columns;  // or an expression in brackets
  // Whether a list is walked in its order. Nulls come first then, as SQLite always has them.
  bool walked = false;
};

namespace tables {
extern const Table kCompany, kStudent, kTrainer, kTraining, kSchedule, kParticipant, kSurvaVersion, kQuestion,
    kFieldValue, kSurvaLayout, kMark, kAnonymousStudent, kAnonymousMark, kMessage;
extern const Table kVisitorSession, kEventClose, kMailText, kOutbox, kStaffAccount, kStaffSession, kStaffBrowser,
    kWrongTry, kHistory;
}  // namespace tables

// The fourteen tables of the system and those of the host's own, in the order in which they are made.
std::span<const Table* const> AllTables();
std::span<const Table* const> HostTables();

std::span<const Index> AllIndexes();

// By names without regard to case; null if the schema has none such.
const Table* FindTable(std::string_view name);
const Column* FindColumn(std::string_view table, std::string_view column);

// The version that this program makes and works on. 2: a collation of our own name on SQLite, all of version 1's
// indexes, the host's tables described as the others.
inline constexpr int kSchemaVersion = 2;

}  // namespace surva::data
