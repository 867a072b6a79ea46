// Writes through a recordset: rows whose values are converted as their columns say. A text written to a number or date
// column is converted; an empty one, or one that is no number or date, is a type mismatch.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <utility>
#include <vector>

#include "frame/data/engine.h"
#include "frame/data/schema.h"

namespace surva::data {

class Connection;

// A row being added to a table, or changed: values are set, then Update writes them.
class RowWriter {
 public:
  RowWriter& Set(std::string_view column, const Field& value);
  RowWriter& SetNull(std::string_view column) { return Set(column, Field()); }
  // Gives the row's generated key.
  std::int64_t Update();

 private:
  friend class Connection;
  RowWriter(Connection& connection, const Table& table) : connection_(connection), table_(table) {}

  Connection& connection_;
  const Table& table_;
  std::vector<std::pair<const Column*, Value>> values_;
  bool adding_ = true;
  std::int64_t key_ = 0;
};

// Rows to be added to a table at once, all with the same columns.
class RowBatch {
 public:
  RowBatch(const Table& table, std::initializer_list<std::string_view> columns);

  // The values of one row, in the order of the columns; null leaves a column without a value. A value that its column
  // refuses is a Fault, and adds no row.
  void Add(std::initializer_list<Field> values);
  const RowSet& rows() const { return rows_; }

 private:
  RowSet rows_;
};

}  // namespace surva::data
