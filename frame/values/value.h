// Values: what a session key or a column holds. Field looks at one, Value owns one.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "frame/values/date_time.h"

namespace surva {

// A value seen in place: null, a number, a text or a date. A text lives as long as the rows or the Value it is in.
class Field {
 public:
  constexpr Field() = default;
  constexpr Field(std::int64_t number) : content_(number) {}
  constexpr Field(double number) : content_(number) {}
  constexpr Field(std::string_view text) : content_(text) {}
  constexpr Field(const DateTime& at) : content_(at) {}

  bool IsNull() const { return std::holds_alternative<std::monostate>(content_); }
  // Whether the value joined with the empty text is empty.
  bool IsEmpty() const;
  // Whether the value differs from 0. A null does not, nor does an empty text; a text that is no number is a type
  // mismatch.
  bool IsTrue() const;
  // Whether the value is this number; null is 0.
  bool Is(std::int64_t number) const;

  // The value as a page prints it; null prints nothing.
  void AppendTo(std::string& out) const;
  std::string Text() const;
  // A whole number; null is 0. Throws a type mismatch for a text that is none.
  std::int64_t Integer() const;
  // Throws a type mismatch for anything but a date.
  DateTime Date() const;

  const auto& content() const { return content_; }

 private:
  std::variant<std::monostate, std::int64_t, double, std::string_view, DateTime> content_;
};

class Value {
 public:
  Value() = default;
  Value(int number) : content_(std::int64_t{number}) {}
  Value(std::int64_t number) : content_(number) {}
  Value(double number) : content_(number) {}
  Value(std::string text) : content_(std::move(text)) {}
  Value(std::string_view text) : content_(std::string(text)) {}
  Value(const char* text) : content_(std::string(text)) {}
  Value(const DateTime& at) : content_(at) {}
  Value(const Field& field);

  Field view() const;
  operator Field() const { return view(); }

  bool IsNull() const { return view().IsNull(); }
  bool IsEmpty() const { return view().IsEmpty(); }
  bool IsTrue() const { return view().IsTrue(); }
  bool Is(std::int64_t number) const { return view().Is(number); }
  std::string Text() const { return view().Text(); }

  friend bool operator==(const Value&, const Value&) = default;

 private:
  std::variant<std::monostate, std::int64_t, double, std::string, DateTime> content_;
};

}  // namespace surva
