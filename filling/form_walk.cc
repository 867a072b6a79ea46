#include "filling/form_walk.h"

#include <algorithm>
#include <cassert>
#include <string>

namespace surva {
namespace {

constexpr std::string_view kNotAnswered =
    "alert('You have not answered all required questions! Required questions are marked with red asterisk.');";

data::Rows ReadLayout(data::Connection& connection, std::string_view surva, const WalkMode& mode) {
  if (mode.takes_answers) {
    return connection.Query(
        {"select SurvaLayoutID, PositionID, Question.QuestionID, Content, AnswerType, QuestionType, SizeX, SizeY, "
         "LineRows, Required, SurvaVersion.SurvaVersionID as Version, DisplayMenu, ThankYouPage "
         "FROM SurvaLayout inner join Question on SurvaLayout.QuestionID=Question.QuestionID "
         "left join SurvaVersion on SurvaVersion.SurvaVersionID=SurvaLayout.SurvaVersionID "
         "where SurvaLayout.SurvaVersionID=",
         data::Number(surva), " order by PositionID nulls first, SurvaLayoutID"});
  }
  return connection.Query(
      {"select SurvaLayoutID, PositionID, Question.QuestionID, Content, AnswerType, QuestionType, SizeX, SizeY, "
       "LineRows, Required FROM SurvaLayout, Question where SurvaLayout.QuestionID = Question.QuestionID "
       "and SurvaLayout.SurvaVersionID=",
       data::Number(surva), " order by PositionID nulls first, SurvaLayoutID"});
}

// An index alone answers for FieldValueID and QuestionID.
data::Rows ReadChoices(data::Connection& connection, const data::Piece& columns, std::string_view surva) {
  return connection.Query({"select ", columns,
                           " from FieldValue where QuestionID in "
                           "(select SurvaLayout.QuestionID from SurvaLayout where SurvaLayout.SurvaVersionID=",
                           data::Number(surva), ") order by QuestionID, FieldValueID"});
}

}  // namespace

// The letter case of the tags differs from row to row and from mode to mode; browsers do not mind, and it stays.
namespace walk_modes {
const WalkMode kForm{.label_cell = "<TR><Td bgcolor=\"#C0C0C0\" align=left >", .takes_answers = true};
const WalkMode kLayoutEditor{.label_cell = "<TR><Td bgcolor=\"#c0c0c0\" align=left>", .takes_answers = false};
const WalkMode kLayoutPreview{.label_cell = "<TR><Td bgcolor=\"#c0c0c0\" align=left >", .takes_answers = false};
}  // namespace walk_modes

using data::Row;

// A row of the layout with its question.
struct FormWalk::Question {
  Question(const Row& row, bool first, bool last)
      : is_first(first),
        is_last(last),
        layout_id(row["SurvaLayoutID"]),
        id(row["QuestionID"].Integer()),
        role(row["AnswerType"].Integer()),
        control(row["QuestionType"].Integer()),
        content(row["Content"]),
        required(row["Required"].IsTrue()),
        size_x(row["SizeX"]),
        size_y(row["SizeY"]),
        place(row["PositionID"].Integer()),
        separator(row["LineRows"].IsTrue() ? "<br>" : "&nbsp;") {}

  bool is_first;
  bool is_last;
  Field layout_id;
  std::int64_t id;
  std::int64_t role;     // AnswerType
  std::int64_t control;  // QuestionType
  Field content;
  bool required;
  Field size_x;
  Field size_y;
  std::int64_t place;
  std::string_view separator;  // behind a box or button
};

const data::Rows& FormChoices::Keys() {
  if (rows_) return *rows_;
  if (!keys_) keys_ = ReadChoices(connection_, "FieldValueID, QuestionID", surva_);
  return *keys_;
}

const data::Rows& FormChoices::WithTexts() {
  if (!rows_) rows_ = ReadChoices(connection_, "FieldValueID, QuestionID, FieldValue", surva_);
  return *rows_;
}

bool FormChoices::Holds(std::int64_t field_value) {
  if (sorted_.empty()) {
    for (const Row& row : Keys()) sorted_.push_back(row["FieldValueID"].Integer());
    std::sort(sorted_.begin(), sorted_.end());
  }
  return std::binary_search(sorted_.begin(), sorted_.end(), field_value);
}

FormWalk::FormWalk(PageObject& page, data::Connection& connection, std::string_view surva, const WalkMode& mode,
                   RowStrip strip)
    : page_(page),
      out_(page.response()),
      mode_(mode),
      strip_(std::move(strip)),
      choices_(connection, surva),
      layout_(ReadLayout(connection, surva, mode)),
      stands_(!mode.takes_answers || (!layout_.empty() && !layout_.First()["Version"].IsNull())) {}

data::Row FormWalk::Version() const {
  if (!stands_) throw Fault::NoCurrentRow();
  return layout_.First();
}

void FormWalk::WriteRows(StoredAnswers* answers, MissingText missing) {
  assert((answers == nullptr || mode_.takes_answers) && "answers where choices go by their texts");
  for (std::size_t index = 0; index < row_count(); ++index) {
    const Question question(layout_[index], index == 0, index + 1 == row_count());
    std::string answer;
    if (answers != nullptr && question.control > 0 && question.control < 5) {
      if (question.control == 3) {
        const auto text = answers->TextOf(question.id);
        if (!text && missing == MissingText::kFails) throw Fault::NoCurrentRow();
        answer = text.value_or("");
      } else {
        answer = answers->ChoiceOf(question.id);
      }
      if (question.required && answer.empty()) WarnOnce();
    }
    WriteRowHead(question);
    WriteControl(question, answers, answer);
  }
}

bool FormWalk::IsAnswered(StoredAnswers& answers) const try {
  for (std::size_t index = 0; index < row_count(); ++index) {
    const Question question(layout_[index], false, false);
    if (question.control < 1 || question.control > 4) continue;
    if (question.control == 3) {
      const auto text = answers.TextOf(question.id);
      if (!text || (question.required && text->empty())) return false;
    } else if (question.required && answers.ChoiceOf(question.id).empty()) {
      return false;
    }
  }
  return true;
} catch (const Fault&) {
  return false;
}

void FormWalk::WarnOnce() {
  if (page_.session()["NotAnswered"].IsTrue()) return;
  page_.session().Set("NotAnswered", 1);
  out_.Write("<SCRIPT Language=JSCRIPT>", kNotAnswered, "</SCRIPT>");
  out_.AllowScript(kNotAnswered);
}

void FormWalk::WriteStrip(const Question& question) {
  if (strip_) strip_(question.layout_id, question.is_first, question.is_last);
}

void FormWalk::WriteRowHead(const Question& question) {
  constexpr std::string_view kBar = "<tr><TD bgColor=\"#C0C0C0\" colspan=\"2\"></TD></tr>";
  constexpr std::string_view kAnswerCell = "<TD bgcolor=\"#EAEAEA\" align=left width=\"45%\">";
  switch (question.role) {
    case 1:  // main group
      number_ = 0;
      if (question.place > 1) out_.Write("<tr><td colspan=2>&nbsp;</td></tr>");
      out_.Write("<TR><TH bgcolor=\"#000000\" align=left colspan=\"2\">");
      WriteStrip(question);
      out_.Write("<font color=\"white\">", question.content, "</font></th></tr>");
      break;
    case 4:  // label
      out_.Write(kBar, mode_.label_cell);
      WriteStrip(question);
      out_.Write("<font color=\"black\">", ++number_, ". ", question.content, "</font></td>", kAnswerCell,
                 "&nbsp;</TD></tr>");
      break;
    case 2:  // main question
      out_.Write(kBar, "<TR><TD bgcolor=\"#C0C0C0\" align=left valign=\"top\" width=\"55%\">");
      WriteStrip(question);
      out_.Write(++number_, ". ", question.content);
      if (question.required) out_.Write("<font face=arial size=4 color=\"red\"><B>*</B></font>");
      out_.Write("</td>", kAnswerCell);
      break;
    case 3:  // sub-question
      out_.Write("<TR><TD bgcolor=\"#C0C0C0\" align=right width=\"55%\">");
      WriteStrip(question);
      out_.Write(question.content);
      if (question.required) out_.Write("<font face=Arial size=4 color=\"red\"><B>*</B></font>");
      out_.Write("</td>", kAnswerCell);
      break;
    default:
      break;
  }
}

void FormWalk::WriteControl(const Question& question, StoredAnswers* answers, std::string_view answer) {
  const Field& name = question.layout_id;
  const bool has_choices = question.control == 1 || question.control == 2 || question.control == 4;
  if (has_choices && !mode_.takes_answers) return WriteChoiceTexts(question);
  switch (question.control) {
    case 1:  // combo box
      out_.Write("<select name=\"", name, "\" size=\"", question.size_x, "\">");
      choices_.ForEach(question.id, [&](const Row& choice) {
        const bool chosen = !answer.empty() && choice["FieldValueID"].Text() == answer;
        out_.Write(std::string_view(chosen ? "<option selected value=\"" : "<option value=\""), choice["FieldValueID"],
                   "\">", choice["FieldValue"], "</option>");
      });
      out_.Write("</select></td></TR>");
      break;
    case 2:  // check boxes
      choices_.ForEach(question.id, [&](const Row& choice) {
        const Field key = choice["FieldValueID"];
        const bool ticked = answers != nullptr && answers->IsChosen(question.id, key.Integer());
        out_.Write(std::string_view(ticked ? "<input checked type=\"checkbox\"" : "<input type=\"checkbox\""),
                   " name=\"", name, "V", key, "\" value=\"", key, "\">", choice["FieldValue"], question.separator);
      });
      out_.Write("</TD></TR>");
      break;
    case 3:  // text field; its row is left open, and the next row's tag closes it
      out_.Write("<textarea rows=\"", question.size_y, "\" name=\"", name, "\" cols=\"", question.size_x, "\">", answer,
                 "</textarea></TD>");
      break;
    case 4:  // radio buttons
      choices_.ForEach(question.id, [&](const Row& choice) {
        const Field key = choice["FieldValueID"];
        const bool chosen = !answer.empty() && key.Text() == answer;
        out_.Write(std::string_view(chosen ? "<input checked type=\"radio\"" : "<input type=\"radio\""), " value=\"",
                   key, "\" name=\"", name, "\">", choice["FieldValue"], question.separator);
      });
      out_.Write("</TD></TR>");
      break;
    case 5:  // no control
      out_.Write("&nbsp;</TD></TR>");
      break;
    default:
      break;
  }
}

void FormWalk::WriteChoiceTexts(const Question& question) {
  const Field& name = question.layout_id;
  if (question.control == 1) {
    out_.Write("<select name=\"", name, "\" size=\"", question.size_x, "\">");
    choices_.ForEach(question.id, [&](const Row& choice) {
      out_.Write("<option value=\"", choice["FieldValue"], "\">", choice["FieldValue"], "</option>");
    });
    out_.Write("</select></td></TR>");
    return;
  }
  const std::string_view type = question.control == 2 ? "checkbox" : "radio";
  choices_.ForEach(question.id, [&](const Row& choice) {
    out_.Write("<input type=\"", type, "\" name=\"", name, "\" value=\"", choice["FieldValue"], "\">",
               choice["FieldValue"], question.separator);
  });
  out_.Write("</TD></TR>");
}

}  // namespace surva
