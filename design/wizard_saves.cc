// Where the wizard ends: the question is stored, the rows below its place move down, and it gets its place and choices.
// Nothing is undone when a later step fails.
#include "design/create_form.h"
#include "frame/values/numbers.h"

namespace surva {

using data::Number;

namespace {

Field Flag(bool on) {
  return std::int64_t{on ? -1 : 0};
}

}  // namespace

int CreateForm::ValueCount(std::string_view number_of_values, bool first_is_empty) {
  if (number_of_values.empty()) throw Fault::TypeMismatch();
  const int count = ToInt16(number_of_values) + (first_is_empty ? 1 : 0);
  if (count > INT16_MAX) throw Fault::Overflow();
  return count;
}

std::int64_t CreateForm::StoreAndPlace(const Destination& to, const NewQuestion& columns) {
  data::Connection& db = HoldLayout(to.version);
  const std::int64_t question = db.AddNew(data::tables::kQuestion)
                                    .Set("Content", std::string_view(Kept("QuestionContent")))
                                    .Set("AnswerType", columns.answer_type)
                                    .Set("QuestionType", columns.question_type)
                                    .Set("SizeX", columns.size_x)
                                    .Set("SizeY", columns.size_y)
                                    .Set("LineRows", Flag(columns.line_rows))
                                    .Set("Required", Flag(columns.required))
                                    .Update();

  std::int64_t place = 1;
  const std::optional<double> above = ReadNumeric(to.add_question);
  if (!above) throw Fault::TypeMismatch();
  if (*above == -1) {
    const data::Rows last =
        db.Query({"select max(positionID) as MaxPos from SurvaLayout where SurvaVersionId=", Number(to.version)});
    if (!last.First()["MaxPos"].IsNull()) place = last.First()["MaxPos"].Integer() + 1;
  } else {
    place = db.Query({"select positionID from SurvaLayout where SurvaVersionId=", Number(to.version),
                      " and SurvaLayoutID=", Number(to.add_question)})
                .First()["positionID"]
                .Integer();
  }
  db.Execute({"update SurvaLayout set PositionID=PositionID+1 where SurvaVersionID=", Number(to.version),
              " and PositionID>=", Number(place)});
  db.AddNew(data::tables::kSurvaLayout)
      .Set("SurvaVersionID", to.version)
      .Set("QuestionID", question)
      .Set("PositionID", place)
      .Update();
  return question;
}

void CreateForm::LeaveWizard(const Destination& to) {
  session().Set("layout", 1);
  ShowVersionDesigner(to.version);
}

void CreateForm::SaveRowWithoutControl(const Destination& to) {
  const std::string role = Kept("AnswerType");
  if (role == "1" || role == "4") {
    StoreAndPlace(to, {.answer_type = role, .question_type = 0});
  } else {
    StoreAndPlace(to, {.answer_type = 2, .question_type = 5});
  }
  LeaveWizard(to);
}

void CreateForm::SaveTextQuestion(const Destination& to) {
  StoreAndPlace(to, {.answer_type = Kept("AnswerType"),
                     .question_type = Kept("QuestionType"),
                     .size_x = request()("SizeX"),
                     .size_y = request()("SizeY"),
                     .line_rows = request()("LineRows") == "1",
                     .required = request()("AnswerIsRequired") == "1"});
  LeaveWizard(to);
}

void CreateForm::SaveChoiceQuestion(const Destination& to) {
  const bool combo = Kept("QuestionType") == "1";
  NewQuestion columns{.answer_type = Kept("AnswerType"),
                      .question_type = Kept("QuestionType"),
                      .line_rows = combo || Kept("LineRows") != "1",
                      .required = Kept("AnswerIsRequired") == "1"};
  if (combo) columns.size_x = Kept("NumberOfRows");
  const std::int64_t question = StoreAndPlace(to, columns);

  data::Connection& db = OpenConnection();
  const int count = ValueCount(Kept("NumberOfValues"), Kept("FirstValueIsEmpty") == "1");
  const std::string control = combo ? "CmbVal" : "CkbVal";
  data::RowBatch values(data::tables::kFieldValue, {"QuestionID", "FieldValue"});
  // A new question has none; all of its values go in one statement.
  db.Replace("question " + std::to_string(question), {"delete from FieldValue where QuestionID=", Number(question)},
             values, [&] {
               for (int number = 1; number <= count; ++number) {
                 values.Add({question, request()(control + std::to_string(number))});
               }
             });
  LeaveWizard(to);
}

}  // namespace surva
