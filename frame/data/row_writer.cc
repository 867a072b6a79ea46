#include "frame/data/row_writer.h"

#include "frame/data/connection.h"
#include "frame/values/fault.h"
#include "frame/values/numbers.h"

namespace surva::data {
namespace {

// A value as its column keeps it.
Value Converted(const Column& column, const Field& value) {
  const auto* text = std::get_if<std::string_view>(&value.content());
  if (value.IsNull()) return {};
  switch (column.type) {
    case ColumnType::kKey:
    case ColumnType::kLong:
      if (text != nullptr) return std::int64_t{ToInt32(*text)};
      return std::int64_t{ToInt32(value.Text())};
    case ColumnType::kDate:
      if (text != nullptr) {
        const auto at = ReadDateText(*text);
        if (!at) throw Fault::TypeMismatch();
        return *at;
      }
      return value.Date();
    case ColumnType::kBig:
      return text == nullptr ? Value(value) : Value(Number(*text).content());
    case ColumnType::kText:
    case ColumnType::kLongText:
    case ColumnType::kName:
    case ColumnType::kPlain:
      break;
  }
  // One engine would cut the text there.
  if (text != nullptr && text->find('\0') != std::string_view::npos) {
    throw Fault(FaultNumber::kValueRefused, "surva database", "The database refuses a value.", "a NUL inside a text");
  }
  return value.Text();
}

}  // namespace

RowWriter& RowWriter::Set(std::string_view column, const Field& value) {
  const Column& own = table_.Find(column);
  Value converted = Converted(own, value);
  for (auto& [known, content] : values_) {
    if (known == &own) {
      content = std::move(converted);
      return *this;
    }
  }
  values_.emplace_back(&own, std::move(converted));
  return *this;
}

std::int64_t RowWriter::Update() {
  std::vector<Piece> statement;
  statement.reserve(4 * values_.size() + 8);
  if (adding_) {
    statement.insert(statement.end(), {"insert into ", Name(table_), " ("});
    for (std::size_t i = 0; i < values_.size(); ++i) {
      if (i > 0) statement.push_back(", ");
      statement.push_back(Name(*values_[i].first));
    }
    statement.push_back(") values (");
    for (std::size_t i = 0; i < values_.size(); ++i) {
      if (i > 0) statement.push_back(", ");
      statement.push_back(Bound(values_[i].second.view()));
    }
    statement.insert(statement.end(), {") returning ", Name(table_.key())});
  } else {
    statement.insert(statement.end(), {"update ", Name(table_), " set "});
    for (std::size_t i = 0; i < values_.size(); ++i) {
      if (i > 0) statement.push_back(", ");
      statement.push_back(Name(*values_[i].first));
      statement.push_back("=");
      statement.push_back(Bound(values_[i].second.view()));
    }
    statement.insert(statement.end(), {" where ", Name(table_.key()), "=", Number(key_)});
  }
  const Rows rows = connection_.Write(statement);
  values_.clear();
  if (!adding_) return key_;
  return table_.key().type == ColumnType::kKey ? rows.First()[0].Integer() : 0;
}

RowBatch::RowBatch(const Table& table, std::initializer_list<std::string_view> columns) : rows_{&table, {}, {}} {
  for (const std::string_view column : columns) rows_.columns.push_back(&table.Find(column));
}

void RowBatch::Add(std::initializer_list<Field> values) {
  const std::size_t before = rows_.cells.size();
  try {
    auto column = rows_.columns.begin();
    for (const Field& value : values) rows_.cells.push_back(Converted(**column++, value));
  } catch (...) {
    rows_.cells.resize(before);
    throw;
  }
}

}  // namespace surva::data
