// What a posted form leaves behind: the answers, and at the end the mark that it has been filled in.
#include <string>

#include "filling/fill_form.h"

namespace surva {

using data::Number;
using data::Row;
using data::Rows;

void FillForm::AcceptAnswers(std::string_view surva) {
  data::Connection& db = OpenConnection();
  const Rows layout = db.Query({"select SurvaLayoutID, Question.QuestionID, QuestionType FROM SurvaLayout, Question "
                                "where SurvaLayout.QuestionID = Question.QuestionID and SurvaLayout.SurvaVersionID=",
                                Number(surva), " order by PositionID nulls first, SurvaLayoutID"});
  const bool anonymous = session()["anonymous"].Is(1);
  const Value student = session()["StudentID"];
  const Value schedule = session()["ScheduleID"];
  LockFilling(db);
  if (anonymous) {
    db.Execute({"delete from AnonymousMark where StudentID=", Number(student)});
  } else {
    db.Execute({"delete from Mark where StudentID=", Number(student), " and ScheduleId=", Number(schedule)});
  }

  const auto add_mark = [&](const Field& question) {
    data::RowWriter mark = db.AddNew(anonymous ? data::tables::kAnonymousMark : data::tables::kMark);
    if (!anonymous) mark.Set("ScheduleID", schedule);
    mark.Set("StudentID", student).Set("QuestionID", question).Set("TextAnswer", std::string_view());
    return mark;
  };
  FormChoices choices(db, surva);
  for (const Row& row : layout) {
    const std::string control = row["SurvaLayoutID"].Text();
    const Field question = row["QuestionID"];
    switch (row["QuestionType"].Integer()) {
      case 1:
      case 4: {
        data::RowWriter mark = add_mark(question);
        // A control that was not posted at all is an unanswered radio group.
        if (request().Has(control)) mark.Set("FieldValueID", request()(control));
        mark.Update();
        break;
      }
      case 2:
        choices.ForEach(question.Integer(), [&](const Row& choice) {
          const std::string key = choice["FieldValueID"].Text();
          if (request()(control + "V" + key) == key)
            add_mark(question).Set("FieldValueID", choice["FieldValueID"]).Update();
        });
        break;
      case 3:
        add_mark(question).Set("TextAnswer", request()(control)).Set("FieldValueID", std::int64_t{-1}).Update();
        break;
      default:
        break;
    }
  }

  if (anonymous) {
    PreViewAnonymous(surva, student);
  } else {
    PreView(surva, student, schedule);
  }
}

void FillForm::FinishFilling(data::Connection& db, const Field& thank_you_page, bool display_menu) {
  response().Clear();
  if (session()["anonymous"].Is(1)) {
    db.Execute(
        {"update AnonymousStudent set FillDate=now() where AnonymousStudentID=", Number(session()["StudentID"])});
  } else {
    // The code is spent, and the participant counts as having filled in the form.
    db.Execute({"update Participant set FillDate=now(),PIN='' where scheduleID=", Number(session()["ScheduleID"]),
                " and StudentID=", Number(session()["StudentID"])});
  }
  if (!thank_you_page.IsEmpty()) {
    response().Redirect(thank_you_page.Text());
  } else {
    response().Redirect(display_menu ? "greetings/default0.asp" : "greetings/default1.asp");
  }
}

}  // namespace surva
