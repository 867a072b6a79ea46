// Markup: the text of a page of our own. A literal of the program is markup, everything else is text and comes out
// escaped, so that no value can become markup.
//
//   page.Write({"<td>", row["LastName"], "</td><td><a href=\"student.asp?Modify=", Url(id), "\">", name, "</a></td>"});
//
// Values may stand between tags and inside attributes in double quotes. They never stand where a script, a style or an
// address as a whole is expected.
#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "frame/values/value.h"

namespace surva::desk {

class Markup;

// A piece of a page. Texts are seen in place: a piece lives no longer than the expression that writes it.
class Piece {
 public:
  template <std::size_t kLength>
  consteval Piece(const char (&literal)[kLength]) : kind_(Kind::kLiteral), literal_(literal, kLength - 1) {}

  Piece(std::string_view text) : value_(text) {}
  Piece(const std::string& text) : value_(std::string_view(text)) {}
  Piece(const Field& value) : value_(value) {}
  Piece(const Value& value) : value_(value.view()) {}
  Piece(std::integral auto number) : value_(static_cast<std::int64_t>(number)) {}

 private:
  friend class Markup;
  friend Piece Url(const Field& value);
  enum class Kind : std::uint8_t { kLiteral, kText, kUrl };

  Kind kind_ = Kind::kText;
  std::string_view literal_;
  Field value_;
};

// A value inside an address: a part of its path or a value of its query.
Piece Url(const Field& value);
inline Piece Url(const std::string& text) {
  return Url(Field(std::string_view(text)));
}
inline Piece Url(std::integral auto number) {
  return Url(Field(static_cast<std::int64_t>(number)));
}

class Markup {
 public:
  void Write(std::initializer_list<Piece> pieces);
  // Another page's part, which was written the same way.
  void Write(const Markup& part) { text_ += part.text_; }

  const std::string& text() const { return text_; }
  std::string Take() && { return std::move(text_); }

 private:
  std::string text_;
};

// A text as JSON writes it, with its quotes; nothing in it can end a script or a tag.
std::string JsonText(std::string_view text);

}  // namespace surva::desk
