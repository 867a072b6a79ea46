#include "desk/figures.h"

#include <algorithm>

#include "frame/values/numbers.h"

namespace surva::desk {

using data::Number;
using data::Row;

bool LaidOut::IsScale() const {
  if (control != Control::kList && control != Control::kButtons) return false;
  bool numbers = false;
  for (const Choice& choice : choices) {
    if (choice.text.empty()) continue;
    if (!ReadNumeric(choice.text)) return false;
    numbers = true;
  }
  return numbers;
}

std::vector<LaidOut> ReadLayout(data::Connection& connection, std::int64_t version) {
  std::vector<LaidOut> layout;
  std::map<std::int64_t, std::vector<std::size_t>> places;
  for (const Row& row : connection.Query(
           {"select Question.QuestionID, Content, AnswerType, QuestionType from SurvaLayout inner join Question "
            "on Question.QuestionID=SurvaLayout.QuestionID where SurvaVersionID=",
            Number(version), " order by PositionID nulls first, SurvaLayoutID"})) {
    const std::int64_t role = row["AnswerType"].Integer();
    const std::int64_t control = row["QuestionType"].Integer();
    const std::int64_t question = row["QuestionID"].Integer();
    places[question].push_back(layout.size());
    layout.push_back(
        {.question = question,
         .content = row["Content"].Text(),
         .role = role >= 1 && role <= 4 ? static_cast<LaidOut::Role>(role) : LaidOut::Role::kQuestion,
         .control = control >= 1 && control <= 5 ? static_cast<LaidOut::Control>(control) : LaidOut::Control::kNone});
  }
  for (const Row& row :
       connection.Query({"select FieldValueID, FieldValue.QuestionID, FieldValue from FieldValue where QuestionID in "
                         "(select QuestionID from SurvaLayout where SurvaVersionID=",
                         Number(version), ") order by FieldValueID"})) {
    for (const std::size_t place : places[row["QuestionID"].Integer()]) {
      layout[place].choices.push_back({row["FieldValueID"].Integer(), row["FieldValue"].Text()});
    }
  }
  return layout;
}

std::int64_t CountForms(data::Connection& connection, std::int64_t event) {
  return connection
      .Query({"select count(*) as Forms from (select distinct StudentID from Mark where ScheduleID=", Number(event),
              ") as Filled"})
      .First()["Forms"]
      .Integer();
}

Figures::Figures(data::Connection& connection, const Scope& scope) {
  // As the answer statistics count.
  const bool tallied = connection.dialect() == data::Dialect::kSqlite;
  const data::Rows rows =
      tallied
          ? connection.Query({"select value->>1 as QuestionID, value->>2 as FieldValueID, value->>3 as Answers from "
                              "json_each((select tally(0, QuestionID, FieldValueID) from Mark where ",
                              scope.before, scope.value, scope.after, "))"})
          : connection.Query({"select QuestionID, FieldValueID, count(*) as Answers from Mark where ", scope.before,
                              scope.value, scope.after, " group by QuestionID, FieldValueID"});
  for (const Row& row : rows) {
    counts_[{row["QuestionID"].Integer(), row["FieldValueID"].Integer()}] += row["Answers"].Integer();
  }
}

std::int64_t Figures::Count(std::int64_t question, std::int64_t choice) const {
  const auto found = counts_.find({question, choice});
  return found == counts_.end() ? 0 : found->second;
}

Average Figures::AverageOf(const LaidOut& question) const {
  Average average;
  for (const Choice& choice : question.choices) {
    const std::int64_t times = Count(question.question, choice.key);
    if (!choice.text.empty() && times > 0) average.Add(choice.text, times);
  }
  return average;
}

std::int64_t Figures::Answers(const LaidOut& question) const {
  std::int64_t answers = 0;
  for (const Choice& choice : question.choices) {
    if (!choice.text.empty()) answers += Count(question.question, choice.key);
  }
  return answers;
}

}  // namespace surva::desk
