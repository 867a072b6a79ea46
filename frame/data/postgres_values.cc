#include "frame/data/postgres_values.h"

#include <array>
#include <charconv>

#include "frame/data/schema.h"
#include "frame/values/date_time.h"

namespace surva::data {
namespace {

// Type numbers of the server's catalogue (pg_type.dat).
enum TypeOid : Oid {
  kBool = 16,
  kInt8 = 20,
  kInt2 = 21,
  kInt4 = 23,
  kFloat4 = 700,
  kFloat8 = 701,
  kDateOnly = 1082,
  kTimestamp = 1114,
  kTimestampZone = 1184,
  kNumeric = 1700,
};

template <class Number>
Field NumberField(std::string_view text) {
  Number number{};
  std::from_chars(text.data(), text.data() + text.size(), number);
  return Field(number);
}

Field Cell(const PGresult* result, int row, int column) {
  if (PQgetisnull(result, row, column) != 0) return {};
  const std::string_view text(PQgetvalue(result, row, column),
                              static_cast<std::size_t>(PQgetlength(result, row, column)));
  switch (PQftype(result, column)) {
    case kInt2:
    case kInt4:
    case kInt8:
      return NumberField<std::int64_t>(text);
    case kBool:
      return Field(std::int64_t{text == "t" ? -1 : 0});
    case kFloat4:
    case kFloat8:
    case kNumeric:
      return NumberField<double>(text);
    case kDateOnly:
    case kTimestamp:
    case kTimestampZone:
      if (const auto at = ReadIso(text)) return Field(*at);
      return Field(text);
    default:
      return Field(text);
  }
}

}  // namespace

std::string PostgresText(const Piece& piece) {
  switch (piece.kind()) {
    case Piece::Kind::kDate:
      return IsoText(piece.content().Date());
    case Piece::Kind::kReal: {
      std::array<char, 64> digits{};
      const double number = std::get<double>(piece.content().content());
      return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr};
    }
    case Piece::Kind::kPattern: {
      std::string text;
      for (const char c : piece.text()) {
        if (c == '\\') text += '\\';
        text += c;
      }
      return text;
    }
    default:
      return piece.content().Text();
  }
}

void PostgresArray::Add(const Value& value) {
  if (text_.size() > 1) text_ += ',';
  if (value.IsNull()) {
    text_ += "NULL";
    return;
  }
  text_ += '"';
  for (const char c : PostgresText(Bound(value))) {
    if (c == '"' || c == '\\') text_ += '\\';
    text_ += c;
  }
  text_ += '"';
}

std::shared_ptr<Shape> ShapeOf(const PGresult* result, const TableNames& tables) {
  auto shape = std::make_shared<Shape>();
  for (int column = 0; column < PQnfields(result); ++column) {
    const auto table = tables.find(PQftable(result, column));
    const std::string_view name = PQfname(result, column);
    // The result knows the column's number in its table, not its name there: an alias goes by the alias alone.
    const bool own = table != tables.end() && FindColumn(table->second, name) != nullptr;
    shape->Add(name, own ? std::string_view(table->second) : "", own ? name : "");
  }
  return shape;
}

Rows RowsOf(const PGresult* result, std::shared_ptr<const Shape> shape) {
  Rows rows(std::move(shape));
  const int columns = PQnfields(result);
  for (int row = 0; row < PQntuples(result); ++row) {
    for (int column = 0; column < columns; ++column) rows.AddCell(Cell(result, row, column));
  }
  return rows;
}

}  // namespace surva::data
