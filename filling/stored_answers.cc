#include "filling/stored_answers.h"

namespace surva {

using data::Number;

StoredAnswers StoredAnswers::Named(data::Connection& connection, Value student, Value schedule) {
  return {connection, false, std::move(student), std::move(schedule)};
}

StoredAnswers StoredAnswers::Anonymous(data::Connection& connection, Value student) {
  return {connection, true, std::move(student), {}};
}

const data::Rows& StoredAnswers::Marks() {
  if (marks_) return *marks_;
  if (anonymous_) {
    marks_ = connection_.Query(
        {"select AnonymousMark.QuestionID, AnonymousMark.TextAnswer, FieldValue.FieldValueID as Choice "
         "from AnonymousMark left join FieldValue on AnonymousMark.FieldValueID=FieldValue.FieldValueID "
         "where AnonymousMark.StudentID=",
         Number(student_), " order by AnonymousMarkID"});
  } else {
    marks_ = connection_.Query({"select Mark.QuestionID, Mark.TextAnswer, FieldValue.FieldValueID as Choice "
                                "from Mark left join FieldValue on Mark.FieldValueID=FieldValue.FieldValueID "
                                "where Mark.StudentID=",
                                Number(student_), " and Mark.ScheduleID=", Number(schedule_), " order by MarkID"});
  }
  return *marks_;
}

std::optional<std::string_view> StoredAnswers::TextOf(std::int64_t question) {
  for (const data::Row& mark : Marks()) {
    if (!mark["QuestionID"].Is(question)) continue;
    const Field answer = mark["TextAnswer"];
    const auto* text = std::get_if<std::string_view>(&answer.content());
    return text == nullptr ? std::string_view() : *text;
  }
  return {};
}

std::string StoredAnswers::ChoiceOf(std::int64_t question) {
  for (const data::Row& mark : Marks()) {
    if (mark["QuestionID"].Is(question) && !mark["Choice"].IsNull()) return mark["Choice"].Text();
  }
  return {};
}

bool StoredAnswers::IsChosen(std::int64_t question, std::int64_t field_value) {
  for (const data::Row& mark : Marks()) {
    if (mark["QuestionID"].Is(question) && !mark["Choice"].IsNull() && mark["Choice"].Is(field_value)) return true;
  }
  return false;
}

}  // namespace surva
