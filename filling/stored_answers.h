// StoredAnswers: what one respondent has answered so far, read in one statement when first asked for.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "frame/data/connection.h"
#include "frame/values/value.h"

namespace surva {

class StoredAnswers {
 public:
  // The answers of a participant of an event, and of an anonymous filling. The keys go into a statement as they come.
  static StoredAnswers Named(data::Connection& connection, Value student, Value schedule);
  static StoredAnswers Anonymous(data::Connection& connection, Value student);

  // The text answer of a question; nothing if no answer of it is stored at all.
  std::optional<std::string_view> TextOf(std::int64_t question);
  // The chosen FieldValueID of a question, as text. Empty if nothing was chosen; an answer that names no choice of
  // any question does not count.
  std::string ChoiceOf(std::int64_t question);
  // Whether this choice of the question is stored.
  bool IsChosen(std::int64_t question, std::int64_t field_value);

 private:
  StoredAnswers(data::Connection& connection, bool anonymous, Value student, Value schedule)
      : connection_(connection), anonymous_(anonymous), student_(std::move(student)), schedule_(std::move(schedule)) {}
  const data::Rows& Marks();

  data::Connection& connection_;
  bool anonymous_;
  Value student_;
  Value schedule_;
  std::optional<data::Rows> marks_;
};

}  // namespace surva
