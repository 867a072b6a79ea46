// admin/CreateForm.asp: the questionnaire designer. The list of survas, a surva's properties and layout, the wizard
// that adds a row, the editor of a question and its answers. Every link and form leads back here; which page answers is
// decided by the parameters alone.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "frame/chain.h"
#include "frame/page_object.h"

namespace surva {

class CreateForm final : public PageObject {
 public:
  using PageObject::PageObject;

  void WebClass_Start() override;
  void WriteHeaders() override;
  void WriteFooters() override;

 private:
  // Where the wizard puts its row: above the row of a SurvaLayoutID, or at the end if that is "-1".
  struct Destination {
    std::string_view add_question;
    std::string_view version;
  };
  // What the rows made by the wizard differ in.
  struct NewQuestion {
    Value answer_type;
    Value question_type;
    Value size_x = 0;
    Value size_y = 0;
    bool line_rows = false;
    bool required = false;
  };
  // Versions. Arguments are the SurvaVersionID as it came.
  void ShowVersionList();
  void SetDefaultVersion(std::string_view version);
  void DeleteVersion(std::string_view version);
  void CreateEmptyVersion();
  void ShowCopySourcePicker();
  void CopyVersion(std::string_view version);
  // The key of the version just made. One above 16 bits cannot be shown: a Fault.

  // One version: its properties page or its layout editor, by the request.
  void ShowVersionDesigner(std::string_view version);
  void ShowProperties(const data::Row& surva, std::string_view version);
  void WritePublicLink(const Field& version);
  void SaveVersionProperties(std::string_view version);

  // For what changes places on a version: designers who do so at the same moment pass one after the other.
  data::Connection& HoldLayout(std::string_view version);
  void ShowLayoutEditor(data::Connection& connection, std::string_view version);
  void WriteRowButtons(std::int16_t layout_id, std::int16_t version, bool is_first, bool is_last);
  void DeleteLayoutRow(std::string_view version);
  // Down by so many places, or up: 1 or -1.
  void MoveRow(std::string_view layout_id, std::string_view version, int places);
  void PreviewForm(std::string_view version);

  // The wizard, in the order of its pages. Groups and labels are stored when their role is known, text fields when
  // their options are, the questions with choices after their values.
  Destination destination() const { return {request()("AddQuestion"), request()("SurvaVersion")}; }
  void AcceptPhrase(const Destination& to);
  void ShowPhraseStep(const Destination& to);
  void ShowRoleStep(const Destination& to);
  void ShowKindStep(const Destination& to);
  void ShowOptionsStep(const Destination& to);
  void ShowValuesStep(const Destination& to);
  void OpenWizardPage(std::string_view step, const Destination& to);
  void WriteValueRows(std::string_view control);
  void WriteBackAndNext(std::string_view back_button);
  void CloseWizardPage();

  void SaveRowWithoutControl(const Destination& to);
  void SaveTextQuestion(const Destination& to);
  void SaveChoiceQuestion(const Destination& to);
  // Stores the question, makes room for it and places it. Gives its QuestionID.
  std::int64_t StoreAndPlace(const Destination& to, const NewQuestion& columns);
  void LeaveWizard(const Destination& to);
  // How many choices a posted count asks for, one more if the first is an empty one. Throws a Fault: a type mismatch
  // for a text that is empty or no number, an overflow above 32767, so that nobody can ask for rows without end.
  static int ValueCount(std::string_view number_of_values, bool first_is_empty = false);
  // What the wizard has kept in the session, as text; a key that is not there is an empty text.
  std::string Kept(std::string_view key) { return session()[key].Text(); }

  // One question and its answers, reached by its row on a version.
  void ShowQuestionEditor(std::string_view layout_id, std::int16_t version);
  void WriteAnswersForm(std::int64_t question, std::string_view layout_id, std::int16_t version);
  void SaveQuestionProperties(std::string_view layout_id, std::int16_t version);
  void SaveAnswers(std::string_view layout_id, std::int16_t version);
  void AddAnswer(std::string_view layout_id, std::int16_t version);
  void DeleteAnswer(std::string_view layout_id, std::int16_t version);
  std::int64_t QuestionOf(std::string_view layout_id, std::int16_t version);
};

}  // namespace surva
