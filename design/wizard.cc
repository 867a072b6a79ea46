// The wizard's pages: the phrase, the role, the kind of control, its options, its values. Each is a form whose hidden
// field names the step that follows; what the pages have learnt is kept in the session.
#include "design/create_form.h"
#include "design/page_parts.h"

namespace surva {

using design::kButtonRow;
using design::kCaption;
using design::kControl;
using design::kTitle;
using design::kTitleEnd;

namespace {

constexpr std::string_view kValueRow = "<tr><TD colspan=2 bgColor=\"#c0c0c0\"><font face=tahoma size=2 color=black>";

void WriteTextOption(Response& out, std::string_view caption, std::string_view name, std::string_view value) {
  out.Write(kCaption, caption, kControl, "<input type=text size=2 maxlength=3 name=", name, " value=", value,
            "></td></TR>");
}

// A choice of two, posted as 1 and 2; `checked` of them is preselected.
void WriteEitherOption(Response& out, std::string_view caption, std::string_view name, std::string_view one,
                       std::string_view two, int checked) {
  out.Write(kCaption, caption, kControl, "<input type=radio name=", name,
            std::string_view(checked == 1 ? " checked" : ""), " value=1>", one,
            "&nbsp;&nbsp;<input type=radio name=", name, std::string_view(checked == 2 ? " checked" : ""), " value=2>",
            two, "</td></TR>");
}

}  // namespace

void CreateForm::OpenWizardPage(std::string_view step, const Destination& to) {
  OpenConnection();
  WriteHeaders();
  Write(design::kForm, "<input type=hidden name=AddQuestionStep value=", step,
        "><input type=hidden name=AddQuestion value=\"", to.add_question,
        "\"><input type=hidden name=SurvaVersion   value=\"", to.version, "\">", design::kFormTable);
}

void CreateForm::WriteBackAndNext(std::string_view back_button) {
  Write(kButtonRow, "<input type=submit name=", back_button,
        " value=Back></TD>"
        "<TD align=left bgcolor=#c0c0c0><input type=submit name=AddQuestionButton Value=\"Next\"></td></TR>");
}

void CreateForm::CloseWizardPage() {
  Write("</table></form>");
  WriteFooters();
}

void CreateForm::AcceptPhrase(const Destination& to) {
  if (!request().Filled("question")) {
    session().Set("ErrorMsg", "You have not entered question phrase or a group name !");
    return ShowPhraseStep(to);
  }
  session().Set("question", request()("question"));
  ShowRoleStep(to);
}

void CreateForm::ShowPhraseStep(const Destination& to) {
  OpenWizardPage("2a", to);
  Write(kCaption,
        "<B>Enter question phrase or a group name ?</b></font></TD>"
        "<TD bgcolor=#c0c0c0><input type=text maxlength=250 size=50 name=question></td></TR>",
        kButtonRow,
        "<input type=submit name=AQBBA value=Back></TD>"
        "<TD bgcolor=#c0c0c0><input type=submit name=AddQuestionButton Value=\"Next\"></td></TR>");
  CloseWizardPage();
}

// Coming back from the kind page, which posts no phrase, forgets the phrase.
void CreateForm::ShowRoleStep(const Destination& to) {
  session().Set("QuestionContent", request()("question"));
  OpenWizardPage("2", to);
  Write(kTitle, "Choose type", kTitleEnd, kCaption, "Main Group", kControl,
        "<input type=radio name=AnswerType checked value=1></td></TR>", kCaption, "Main Question", kControl,
        "<input type=radio name=AnswerType value=2></td></TR>", kCaption, "Sub Question", kControl,
        "<input type=radio name=AnswerType value=3></td></TR>", kCaption, "Label<i>(suitable for sub-questions)</i>",
        kControl, "<input type=radio name=AnswerType value=4></td></TR>");
  WriteBackAndNext("AQBBBa");
  CloseWizardPage();
}

void CreateForm::ShowKindStep(const Destination& to) {
  // Coming back from the options page, which posts no role, keeps the role.
  if (request().Filled("AnswerType")) session().Set("AnswerType", request()("AnswerType"));
  const std::string role = Kept("AnswerType");
  if (role != "2" && role != "3") return SaveRowWithoutControl(to);
  OpenWizardPage("3", to);
  Write(kTitle, "Choose type", kTitleEnd, kCaption, "Text field", kControl,
        "<input type=radio name=QuestionType checked value=3></td></TR>", kCaption, "Combo box", kControl,
        "<input type=radio name=QuestionType value=1></td></TR>", kCaption, "CheckBox", kControl,
        "<input type=radio name=QuestionType value=2></td></TR>", kCaption, "Radio button", kControl,
        "<input type=radio name=QuestionType value=4></td></TR>");
  WriteBackAndNext("AQBBB");
  CloseWizardPage();
}

void CreateForm::ShowOptionsStep(const Destination& to) {
  if (request().Filled("QuestionType")) session().Set("QuestionType", request()("QuestionType"));
  const std::string kind = Kept("QuestionType");
  OpenWizardPage("4", to);
  Response& out = response();
  if (kind == "1") {
    Write(kTitle, "ComboBox options", kTitleEnd);
    WriteTextOption(out, "Number of values", "NumberOfValues", "1");
    WriteEitherOption(out, "First value is empty <i>(Default)</i>", "FirstValueIsEmpty", "Yes", "No", 1);
    WriteTextOption(out, "Number of rows displayed <i>(Size)</i>", "NumberOfRows", "1");
  } else if (kind == "2") {
    Write(kTitle, "CheckBox options", kTitleEnd);
    WriteTextOption(out, "Number of values", "NumberOfValues", "1");
    // The tag that closes nothing is the caption's own, as below.
    WriteEitherOption(out, "Checkboxes are in one row or in separate rows</i>", "LineRows", "One row", "Separate rows",
                      1);
  } else if (kind == "3") {
    Write(kTitle, "Text field options", kTitleEnd);
    WriteTextOption(out, "Number of rows", "SizeY", "4");
    WriteTextOption(out, "Number of columns", "SizeX", "30");
  } else if (kind == "4") {
    Write(kTitle, "Radio button options", kTitleEnd);
    WriteTextOption(out, "Number of values", "NumberOfValues", "1");
    WriteEitherOption(out, "Radio buttons are in one row or in separate rows</i>", "LineRows", "One row",
                      "Separate rows", 1);
  } else {
    return CloseWizardPage();
  }
  WriteEitherOption(out, "Answer is required", "AnswerIsRequired", "Yes", "No", 2);
  WriteBackAndNext("AQBBC");
  CloseWizardPage();
}

void CreateForm::ShowValuesStep(const Destination& to) {
  // What an earlier run chose for a combo box must not reach other kinds.
  for (const auto* key : {"FirstValueIsEmpty", "NumberOfValues", "NumberOfRows", "AnswerIsRequired"}) {
    session().Set(key, "");
  }
  const std::string kind = Kept("QuestionType");
  if (kind == "3") return SaveTextQuestion(to);
  const auto keep = [this](const char* key) { session().Set(key, request()(key)); };
  OpenWizardPage("5", to);
  if (kind == "1") {
    keep("FirstValueIsEmpty");
    keep("NumberOfValues");
    keep("NumberOfRows");
    keep("AnswerIsRequired");
    Write(kTitle, "Enter ComboBox values", kTitleEnd);
    WriteValueRows("CmbVal");
  } else if (kind == "2" || kind == "4") {
    keep("NumberOfValues");
    keep("LineRows");
    keep("AnswerIsRequired");
    Write(kTitle, std::string_view(kind == "2" ? "Enter CheckBoxes names" : "Enter Radio Buttons names"), kTitleEnd);
    WriteValueRows("CkbVal");
  }
  WriteBackAndNext("AQBBD");
  CloseWizardPage();
}

void CreateForm::WriteValueRows(std::string_view control) {
  const bool first_is_empty = Kept("FirstValueIsEmpty") == "1";
  const int count = ValueCount(Kept("NumberOfValues"), first_is_empty);
  if (first_is_empty) {
    Write(kValueRow, "1.&nbsp;<input type=text size=20 maxlength=50 name=", control,
          "1>&nbsp; You have chosen first answer as an empty answer</td></TR>");
  }
  for (int number = first_is_empty ? 2 : 1; number <= count; ++number) {
    Write(kValueRow, number, ".&nbsp;<input type=text size=20 maxlength=50 name=", control, number,
          ">&nbsp;</td></TR>");
  }
}

}  // namespace surva
