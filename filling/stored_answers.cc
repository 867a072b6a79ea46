#include "filling/stored_answers.h"

namespace surva {

using data::Number;

StoredAnswers StoredAnswers::Named(data::Connection& connection, Value student, Value schedule) {
  return {connection, false, std::move(student), std::move(schedule)};
}

StoredAnswers StoredAnswers::Anonymous(data::Connection& connection, Value student) {
  return {connection, true, std::move(student), {}};
}

StoredAnswers StoredAnswers::Just(data::Connection& connection, const data::RowSet& marks,
                                  const std::function<bool(std::int64_t)>& stands) {
  StoredAnswers answers(connection, false, {}, {});
  answers.marks_.emplace();
  for (std::size_t end = marks.columns.size(); end <= marks.cells.size(); end += marks.columns.size()) {
    const Value* const mark = &marks.cells[end - 3];
    Mark& kept = answers.marks_->emplace_back(Mark{mark[0].view().Integer(), {}, mark[2].Text()});
    if (!mark[1].IsNull() && stands(mark[1].view().Integer())) kept.choice = mark[1].view().Integer();
  }
  return answers;
}

data::Rows StoredAnswers::Read() {
  if (anonymous_) {
    return connection_.Query(
        {"select AnonymousMark.QuestionID, AnonymousMark.TextAnswer, FieldValue.FieldValueID as Choice "
         "from AnonymousMark left join FieldValue on AnonymousMark.FieldValueID=FieldValue.FieldValueID "
         "where AnonymousMark.StudentID=",
         Number(student_), " order by AnonymousMarkID"});
  }
  return connection_.Query({"select Mark.QuestionID, Mark.TextAnswer, FieldValue.FieldValueID as Choice "
                            "from Mark left join FieldValue on Mark.FieldValueID=FieldValue.FieldValueID "
                            "where Mark.StudentID=",
                            Number(student_), " and Mark.ScheduleID=", Number(schedule_), " order by MarkID"});
}

const std::vector<StoredAnswers::Mark>& StoredAnswers::Marks() {
  if (marks_) return *marks_;
  marks_.emplace();
  for (const data::Row& row : Read()) {
    // A mark of no question is looked for by none.
    if (row["QuestionID"].IsNull()) continue;
    Mark& mark = marks_->emplace_back(Mark{row["QuestionID"].Integer(), {}, row["TextAnswer"].Text()});
    if (!row["Choice"].IsNull()) mark.choice = row["Choice"].Integer();
  }
  return *marks_;
}

std::optional<std::string_view> StoredAnswers::TextOf(std::int64_t question) {
  for (const Mark& mark : Marks()) {
    if (mark.question == question) return mark.text;
  }
  return {};
}

std::string StoredAnswers::ChoiceOf(std::int64_t question) {
  for (const Mark& mark : Marks()) {
    if (mark.question == question && mark.choice) return std::to_string(*mark.choice);
  }
  return {};
}

bool StoredAnswers::IsChosen(std::int64_t question, std::int64_t field_value) {
  for (const Mark& mark : Marks()) {
    if (mark.question == question && mark.choice == field_value) return true;
  }
  return false;
}

}  // namespace surva
