// What a posted form leaves behind: the answers, and at the end the mark that it has been filled in.
#include <string>

#include "filling/fill_form.h"

namespace surva {

using data::Number;
using data::Row;

void FillForm::AcceptAnswers(std::string_view surva) {
  data::Connection& db = OpenConnection();
  FormWalk walk(*this, db, surva);
  const bool anonymous = session()["anonymous"].Is(1);
  const Value student = session()["StudentID"];
  const Value schedule = session()["ScheduleID"];

  data::RowBatch marks =
      anonymous
          ? data::RowBatch(data::tables::kAnonymousMark, {"StudentID", "QuestionID", "FieldValueID", "TextAnswer"})
          : data::RowBatch(data::tables::kMark,
                           {"ScheduleID", "StudentID", "QuestionID", "FieldValueID", "TextAnswer"});
  const auto add = [&](const Field& question, const Field& choice, std::string_view text) {
    if (anonymous) return marks.Add({student, question, choice, text});
    marks.Add({schedule, student, question, choice, text});
  };
  const auto fill = [&] {
    for (const Row& row : walk.layout()) {
      const std::string control = row["SurvaLayoutID"].Text();
      const Field question = row["QuestionID"];
      switch (row["QuestionType"].Integer()) {
        case 1:
        case 4:
          // A control that was not posted at all is an unanswered radio group.
          add(question, request().Has(control) ? Field(request()(control)) : Field(), {});
          break;
        case 2:
          walk.choices().ForEachKey(question.Integer(), [&](const Row& choice) {
            const std::string key = choice["FieldValueID"].Text();
            if (request()(control + "V" + key) == key) add(question, choice["FieldValueID"], {});
          });
          break;
        case 3:
          add(question, std::int64_t{-1}, request()(control));
          break;
        default:
          break;
      }
    }
  };
  if (anonymous) {
    db.Replace(Filling(), {"delete from AnonymousMark where StudentID=", Number(student)}, marks, fill);
  } else {
    db.Replace(Filling(), {"delete from Mark where StudentID=", Number(student), " and ScheduleId=", Number(schedule)},
               marks, fill);
  }

  const auto stands = [&](std::int64_t choice) {
    if (choice == -1 || walk.choices().Holds(choice)) return choice != -1;
    return !db.Query({"select FieldValueID from FieldValue where FieldValueID=", Number(choice)}).empty();
  };
  ShowStoredForm(surva, walk, StoredAnswers::Just(db, marks.rows(), stands));
}

void FillForm::FinishFilling(data::Connection& db, const Field& thank_you_page, bool display_menu) {
  response().Clear();
  const data::Piece now = data::Bound(Field(clock().Now()));
  if (session()["anonymous"].Is(1)) {
    db.Execute(
        {"update AnonymousStudent set FillDate=", now, " where AnonymousStudentID=", Number(session()["StudentID"])});
  } else {
    // The code is spent, and the participant counts as having filled in the form.
    db.Execute({"update Participant set FillDate=", now, ",PIN='' where scheduleID=", Number(session()["ScheduleID"]),
                " and StudentID=", Number(session()["StudentID"])});
  }
  if (!thank_you_page.IsEmpty()) {
    response().Redirect(thank_you_page.Text());
  } else {
    response().Redirect(display_menu ? "greetings/default0.asp" : "greetings/default1.asp");
  }
}

}  // namespace surva
