// PostgreSQL's texts: values as the server reads them, and its results as rows.
#pragma once

#include <libpq-fe.h>

#include <memory>
#include <string>
#include <unordered_map>

#include "frame/data/rows.h"
#include "frame/data/statement.h"
#include "frame/values/value.h"

namespace surva::data {

// The names of tables by the number by which a result names them.
using TableNames = std::unordered_map<Oid, std::string>;

std::string PostgresText(const Piece& piece);
// An array of one column's values.
class PostgresArray {
 public:
  void Add(const Value& value);
  std::string TakeText() { return std::move(text_) + "}"; }

 private:
  std::string text_ = "{";
};

std::shared_ptr<Shape> ShapeOf(const PGresult* result, const TableNames& tables);
// `shape` is that of the result's statement.
Rows RowsOf(const PGresult* result, std::shared_ptr<const Shape> shape);

}  // namespace surva::data
