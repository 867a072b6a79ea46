// One question: its properties, and its answers where it has choices. Both are shared by all versions that hold the
// question, whether they are in use or not.
#include "design/create_form.h"
#include "design/page_parts.h"

namespace surva {

using data::Number;
using data::Row;
using design::IsOff;
using design::kCaption;
using design::kControl;

namespace {

bool HasChoices(std::int64_t question_type) {
  return question_type == 1 || question_type == 2 || question_type == 4;
}

}  // namespace

// A Fault if the row is not on this version.
std::int64_t CreateForm::QuestionOf(std::string_view layout_id, std::int16_t version) {
  const data::Rows rows =
      OpenConnection().Query({"select QuestionID from SurvaLayout where SurvaVersionId=", Number(version),
                              " and SurvaLayoutID=", Number(layout_id)});
  return rows.First()["QuestionID"].Integer();
}

void CreateForm::ShowQuestionEditor(std::string_view layout_id, std::int16_t version) {
  const std::int64_t id = QuestionOf(layout_id, version);
  const data::Rows questions = OpenConnection().Query({"Select * from Question where QuestionID=", Number(id)});
  WriteHeaders();
  Write(design::kForm, "<input type=hidden name=ModifyQuestionProperties value=\"", layout_id,
        "\"><input type=hidden name=Version   value=\"", version, "\"><input type=hidden name=SurvaVersion   value=\"",
        version, "\">", design::kFormTable);
  const Row question = questions.First();
  const std::int64_t role = question["AnswerType"].Integer();
  const std::int64_t kind = question["QuestionType"].Integer();

  struct Wording {
    std::string_view title;
    std::string_view caption;
  };
  static constexpr Wording kWordings[] = {{"Modify group properties", "Main group name"},
                                          {"Modify main question properties", "Question phrase"},
                                          {"Modify sub-question properties", "Sub-question phrase"},
                                          {"Modify label properties", "Label phrase"}};
  if (role >= 1 && role <= 4) {
    const Wording& wording = kWordings[role - 1];
    Write(design::kTitle, wording.title, design::kTitleEnd, kCaption, wording.caption, kControl,
          "<input type=text name=Question size=50 maxlength=250 value=\"", question["Content"], "\"></td></TR>");
  }
  if (role == 2) {
    Write(kCaption, "Question type", kControl,
          "<input type=radio name=AnswerType value=2 checked>Main Question&nbsp;&nbsp;"
          "<input type=radio name=AnswerType value=3>Sub-question</td></TR>");
  } else if (role == 3) {
    Write(kCaption, "Question type", kControl,
          "<input type=radio name=AnswerType value=2>Main Question&nbsp;&nbsp;"
          "<input type=radio name=AnswerType checked value=3>Sub-question</td></TR>");
  }
  if (kind == 1) {
    Write(kCaption, "Number of rows displayed at a time <I>(Size)</I>", kControl,
          "<input type=text name=SizeX size=2 maxlength=3 value=\"", question["SizeX"], "\"></td></TR>");
  }
  if (kind == 2 || kind == 4) {
    const bool one_row = IsOff(question["LineRows"]);
    Write(kCaption, "Answers layout", kControl, "<input type=radio name=LineRows value=0",
          std::string_view(one_row ? " checked" : ""),
          ">All answers in one row&nbsp;&nbsp;"
          "<input type=radio name=LineRows value=-1",
          std::string_view(one_row ? "" : " checked"), ">Each answer in a separate row</td></TR>");
  }
  if (kind == 3) {
    Write(kCaption, "Number of rows", kControl, "<input type=text name=SizeY size=2 maxlength=3 value=\"",
          question["SizeY"], "\"></td></TR>", kCaption, "Number of columns", kControl,
          "<input type=text name=SizeX size=2 maxlength=3 value=\"", question["SizeX"], "\"></td></TR>");
  }
  if (role != 1 && role != 4) {
    const bool optional = IsOff(question["Required"]);
    Write(kCaption, "Answer is required", kControl, "<input type=radio name=Required value=-1",
          std::string_view(optional ? "" : " checked"),
          ">Yes&nbsp;&nbsp;"
          "<input type=radio name=Required value=0",
          std::string_view(optional ? " checked" : ""), ">No</td></TR>");
  }
  Write(design::kButtonRow,
        "<input type=submit name=AQBBA value=Back></TD>"
        "<TD align=left bgcolor=#c0c0c0>"
        "<input type=submit name=SaveQuestionPropertiesButton Value=\"Save properties changes\"></td></TR>"
        "</table></form>");
  if (HasChoices(kind)) WriteAnswersForm(id, layout_id, version);
  WriteFooters();
}

void CreateForm::WriteAnswersForm(std::int64_t question, std::string_view layout_id, std::int16_t version) {
  const data::Rows answers = OpenConnection().Query(
      {"select * from FieldValue where QuestionID=", Number(question), " order by FieldValueID"});
  Write("<BR><HR><BR>", design::kForm, "<input type=hidden name=ModifyQuestionAnswers value=\"", layout_id,
        "\"><input type=hidden name=Version   value=\"", version,
        "\"><input type=hidden name=NumberOfValues   value=\"", answers.size(), "\">", design::kFormTable,
        design::kTitle, "Answer values", design::kTitleEnd);
  int number = 0;
  for (const Row& answer : answers) {
    ++number;
    Write("<tr><TD align=center bgColor=\"black\"><font face=tahoma size=2 color=white>", number,
          ".</td><TD bgcolor=#c0c0c0><input type=text name=FV", number, " size=20 maxlength=60 value=\"",
          answer["FieldValue"],
          "\"> &nbsp;&nbsp;"
          "<a href=CreateForm.asp?DeleteQuestionAnswer=",
          answer["FieldValueID"], "&Number=", layout_id, "&Version=", version,
          "><img border=0 src=images/delete.gif alt=\"Delete this answer\"></a></td></TR>");
  }
  Write("<tr><TD align=center bgColor=\"black\"><a href=CreateForm.asp?AddQuestionAnswer=", question,
        "&Number=", layout_id, "&Version=", version,
        "><img border=0 src=images/addnew.gif alt=\"Add new answer\"></a></TD>"
        "<TD align=left bgcolor=#c0c0c0>"
        "<input type=submit name=SaveQuestionValuesButton Value=\"Save answers changes\"></td></TR></table></form>");
}

void CreateForm::SaveQuestionProperties(std::string_view layout_id, std::int16_t version) {
  data::Connection& db = OpenConnection();
  const std::int64_t id = QuestionOf(layout_id, version);
  const data::Rows questions =
      db.Query({"Select AnswerType, QuestionType from Question where QuestionID=", Number(id)});
  const std::int64_t role = questions.First()["AnswerType"].Integer();
  const std::int64_t kind = questions.First()["QuestionType"].Integer();
  data::RowWriter question = db.Edit(data::tables::kQuestion, Number(id));
  question.Set("Content", request()("question"));
  if (role == 2 || role == 3) question.Set("AnswerType", request()("AnswerType"));
  if (kind == 1 || kind == 3) question.Set("SizeX", request()("SizeX"));
  if (kind == 3) question.Set("SizeY", request()("SizeY"));
  if (kind == 2 || kind == 4) question.Set("LineRows", request()("LineRows"));
  if (kind >= 1 && kind <= 4) question.Set("Required", request()("Required"));
  question.Update();
  ShowQuestionEditor(layout_id, version);
}

// The answers get new keys at every save, in the order of the inputs; answers that respondents gave keep the old ones,
// which name no choice any more.
void CreateForm::SaveAnswers(std::string_view layout_id, std::int16_t version) {
  data::Connection& db = OpenConnection();
  const std::int64_t question = QuestionOf(layout_id, version);
  data::RowBatch answers(data::tables::kFieldValue, {"QuestionID", "FieldValue"});
  db.Replace("question " + std::to_string(question), {"delete from FieldValue where QuestionID=", Number(question)},
             answers, [&] {
               const int count = ValueCount(request()("NumberOfValues"));
               for (int number = 1; number <= count; ++number) {
                 answers.Add({question, request()("FV" + std::to_string(number))});
               }
             });
  ShowQuestionEditor(layout_id, version);
}

void CreateForm::AddAnswer(std::string_view layout_id, std::int16_t version) {
  OpenConnection()
      .AddNew(data::tables::kFieldValue)
      .Set("QuestionID", request()("AddQuestionAnswer"))
      .Set("FieldValue", std::string_view())
      .Update();
  ShowQuestionEditor(layout_id, version);
}

void CreateForm::DeleteAnswer(std::string_view layout_id, std::int16_t version) {
  OpenConnection().Execute({"delete from FieldValue where FieldValueID=", Number(request()("DeleteQuestionAnswer"))});
  ShowQuestionEditor(layout_id, version);
}

}  // namespace surva
