// Schema: the fourteen tables of the system and the host's own, as data. Both engines' tables are made from this one
// description, and writes through a recordset convert their values by it.
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

namespace tables {
extern const Table kCompany, kStudent, kTrainer, kTraining, kSchedule, kParticipant, kSurvaVersion, kQuestion,
    kFieldValue, kSurvaLayout, kMark, kAnonymousStudent, kAnonymousMark, kMessage;
}  // namespace tables

// All tables, in the order in which they are made.
std::span<const Table* const> AllTables();

// The column of a table by both names, without regard to case; null if the schema has none such.
const Column* FindColumn(std::string_view table, std::string_view column);

// The version that this program makes and works on. Each version is a step from the one before it.
inline constexpr int kSchemaVersion = 1;

class Engine;

// Brings a database to kSchemaVersion in one transaction: makes the tables in an empty one, runs the missing steps in
// an older one, leaves a current one alone. Throws SchemaError for a database of a later version or of other tables.
void BringUpToDate(Engine& engine);

// A database that this program cannot work on; the message says what to do.
class SchemaError : public std::exception {
 public:
  explicit SchemaError(std::string message) : message_(std::move(message)) {}
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  std::string message_;
};

}  // namespace surva::data
