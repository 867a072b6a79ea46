#include "frame/data/statement.h"

#include "frame/data/engine.h"
#include "frame/data/schema.h"
#include "frame/values/fault.h"
#include "frame/values/numbers.h"

namespace surva::data {
namespace {

void RefuseQuote(std::string_view text) {
  // A NUL would end the text early in one engine and fail in the other.
  if (text.find_first_of(std::string_view("'\0", 2)) != std::string_view::npos) {
    throw Fault::StatementFailed("a quote inside a text");
  }
}

}  // namespace

KeptStatement::KeptStatement(Statement statement) {
  values_.reserve(statement.size());
  for (const Piece& piece : statement) {
    if (piece.kind() == Piece::Kind::kLiteral) {
      pieces_.push_back(piece);
    } else {
      pieces_.push_back(Piece(piece.kind(), values_.emplace_back(piece.content()).view()));
    }
  }
}

Piece Number(const Field& value) {
  if (const auto* whole = std::get_if<std::int64_t>(&value.content())) return {Piece::Kind::kWhole, *whole};
  if (const auto* real = std::get_if<double>(&value.content())) return {Piece::Kind::kReal, *real};
  if (const auto* text = std::get_if<std::string_view>(&value.content())) return Number(*text);
  throw Fault::StatementFailed("a number is missing");
}

Piece Number(std::string_view text) {
  const auto number = ReadSqlNumber(text);
  if (!number) throw Fault::StatementFailed("no number where a number belongs");
  if (const auto* whole = std::get_if<std::int64_t>(&*number)) return {Piece::Kind::kWhole, *whole};
  return {Piece::Kind::kReal, std::get<double>(*number)};
}

Piece Text(std::string_view text) {
  RefuseQuote(text);
  return {Piece::Kind::kText, text};
}

Piece Pattern(std::string_view text) {
  RefuseQuote(text);
  return {Piece::Kind::kPattern, text};
}

Piece DateText(std::string_view text) {
  RefuseQuote(text);
  const auto at = ReadDateText(text);
  if (!at) throw Fault::StatementFailed("a date text that names no day");
  return {Piece::Kind::kDate, *at};
}

Piece Bound(const Field& value) {
  struct KindOf {
    Piece::Kind operator()(std::monostate) const { return Piece::Kind::kNull; }
    Piece::Kind operator()(std::int64_t) const { return Piece::Kind::kWhole; }
    Piece::Kind operator()(double) const { return Piece::Kind::kReal; }
    Piece::Kind operator()(std::string_view) const { return Piece::Kind::kText; }
    Piece::Kind operator()(const DateTime&) const { return Piece::Kind::kDate; }
  };
  return {std::visit(KindOf{}, value.content()), value};
}

Piece Name(const Table& table) {
  return Piece(table.name);
}
Piece Name(const Column& column) {
  return Piece(column.name);
}

// PostgreSQL takes the keys of an array for few and looks them up; it would rather read whole tables for others.
Among AmongFew(Dialect dialect) {
  return dialect == Dialect::kPostgres ? Among{"=any(array(", "))"} : Among{" in (", ")"};
}

}  // namespace surva::data
