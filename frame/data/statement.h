// Statements: literals of the program with marked places for values.
//
//   db.Query({"Select * from Schedule where ScheduleID=", Number(id), " and Place like ", Pattern(place)})
//
// A literal is taken at compile time and nothing else is, so that a visitor's text can never become syntax. Values are
// bound, not pasted; what pasting would have refused is refused just the same, by a Fault: a text with a single quote
// in it, a number place filled with no number, a date text that names no day.
#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>
#include <vector>

#include "frame/values/value.h"

namespace surva::data {

struct Table;
struct Column;
enum class Dialect : std::uint8_t;

// One piece of a statement. Texts are seen in place: a statement lives no longer than the expression that writes it.
class Piece {
 public:
  enum class Kind : std::uint8_t {
    kLiteral,
    kWhole,  // a whole number of 64 bits
    kReal,   // any other number
    kText,
    kPattern,  // the right side of a `like`
    kDate,
    kNull,
  };

  template <std::size_t kLength>
  consteval Piece(const char (&literal)[kLength]) : kind_(Kind::kLiteral), literal_(literal, kLength - 1) {}

  Kind kind() const { return kind_; }
  std::string_view text() const {
    return kind_ == Kind::kLiteral ? literal_ : std::get<std::string_view>(content_.content());
  }
  const Field& content() const { return content_; }

 private:
  friend Piece Number(const Field&);
  friend Piece Number(std::string_view);
  friend Piece Text(std::string_view);
  friend Piece Pattern(std::string_view);
  friend Piece DateText(std::string_view);
  friend Piece Bound(const Field&);
  friend Piece Name(const Table&);
  friend Piece Name(const Column&);
  friend class KeptStatement;

  Piece(Kind kind, const Field& content) : kind_(kind), content_(content) {}
  // A name of the schema, which is the program's own as well.
  explicit Piece(std::string_view name) : kind_(Kind::kLiteral), literal_(name) {}

  Kind kind_;
  std::string_view literal_;
  Field content_;
};

using Statement = std::span<const Piece>;

// A statement that outlives the expression that writes it.
class KeptStatement {
 public:
  explicit KeptStatement(Statement statement);
  KeptStatement(KeptStatement&&) = default;
  KeptStatement& operator=(KeptStatement&&) = default;

  Statement statement() const { return pieces_; }

 private:
  std::vector<Value> values_;
  std::vector<Piece> pieces_;
};

// A number place. A text is read as SQL reads a number.
Piece Number(const Field& value);
Piece Number(std::string_view text);
inline Piece Number(const std::string& text) {
  return Number(std::string_view(text));
}
inline Piece Number(std::integral auto number) {
  return Number(Field(static_cast<std::int64_t>(number)));
}
inline Piece Number(const Value& value) {
  return Number(value.view());
}
// A text place; the text must hold no single quote. No quotes stand around the place in the literals.
Piece Text(std::string_view text);
// A text place behind `like`.
Piece Pattern(std::string_view text);
// A date text, inside CDate( ).
Piece DateText(std::string_view text);
// Any value as it is, quotes included: for writes through a recordset and for the host's own rows.
Piece Bound(const Field& value);
// A table or column of the schema, by its name.
Piece Name(const Table& table);
Piece Name(const Column& column);

// What stands around a `select` of few keys, behind the column that is to be among them.
struct Among {
  Piece opens;
  Piece closes;
};
Among AmongFew(Dialect dialect);

}  // namespace surva::data
