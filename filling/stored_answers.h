// StoredAnswers: what one respondent has answered so far, read in one statement when first asked for.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frame/data/connection.h"
#include "frame/values/value.h"

namespace surva {

class StoredAnswers {
 public:
  // The answers of a participant of an event, and of an anonymous filling. The keys go into a statement as they come.
  static StoredAnswers Named(data::Connection& connection, Value student, Value schedule);
  static StoredAnswers Anonymous(data::Connection& connection, Value student);

  // Marks that have just been stored, in their order, not read again. Their last three columns are QuestionID,
  // FieldValueID and TextAnswer; `stands` says whether there is a choice of this key.
  static StoredAnswers Just(data::Connection& connection, const data::RowSet& marks,
                            const std::function<bool(std::int64_t)>& stands);

  // The text answer of a question; nothing if no answer of it is stored at all.
  std::optional<std::string_view> TextOf(std::int64_t question);
  // The chosen FieldValueID of a question, as text. Empty if nothing was chosen; an answer that names no choice of
  // any question does not count.
  std::string ChoiceOf(std::int64_t question);
  // Whether this choice of the question is stored.
  bool IsChosen(std::int64_t question, std::int64_t field_value);

 private:
  struct Mark {
    std::int64_t question;
    std::optional<std::int64_t> choice;  // a FieldValueID that stands
    std::string text;
  };
  StoredAnswers(data::Connection& connection, bool anonymous, Value student, Value schedule)
      : connection_(connection), anonymous_(anonymous), student_(std::move(student)), schedule_(std::move(schedule)) {}
  const std::vector<Mark>& Marks();
  data::Rows Read();

  data::Connection& connection_;
  bool anonymous_;
  Value student_;
  Value schedule_;
  std::optional<std::vector<Mark>> marks_;
};

}  // namespace surva
