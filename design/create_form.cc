#include "design/create_form.h"

#include "frame/page_frame.h"
#include "frame/values/numbers.h"

namespace surva {

void CreateForm::WebClass_Start() {
  session().Set("SurvaProperties", 0);
  // The Back buttons (AQ...) stand above the steps: every form of the wizard also carries the step that follows it.
  // Above each run of links stands the file in which their methods live.
  static constexpr Link<CreateForm> kChain[] = {
      {Filled("AQAAA"), [](CreateForm& page) { page.response().Redirect("CreateForm.asp"); }},
      // wizard.cc
      {Filled("AQBBD"), [](CreateForm& page) { page.ShowOptionsStep(page.destination()); }},
      {Filled("AQBBC"), [](CreateForm& page) { page.ShowKindStep(page.destination()); }},
      {Filled("AQBBBa"), [](CreateForm& page) { page.ShowPhraseStep(page.destination()); }},
      {Filled("AQBBB"), [](CreateForm& page) { page.ShowRoleStep(page.destination()); }},
      // layout_editor.cc
      {Filled("AQBBA"), [](CreateForm& page) { page.ShowVersionDesigner(page.request()("SurvaVersion")); }},
      // properties.cc
      {Filled("ModifySurvaProperties"),
       [](CreateForm& page) { page.SaveVersionProperties(page.request()("Version")); }},
      // version_list.cc
      {Filled("CreateNewSurva"),
       [](CreateForm& page) {
         page.session().Set("NewSurva", 1);
         page.ShowCopySourcePicker();
       }},
      {Filled("CreateNewSurva2"), [](CreateForm& page) { page.CopyVersion(page.request()("survaVersionID")); }},
      {Filled("CreateEmptySurva"), [](CreateForm& page) { page.CreateEmptyVersion(); }},
      // version_list.cc; these two write no page: the list at the end shows what they did.
      {EqualAnyCase("ChangeValid", "Change"),
       [](CreateForm& page) { page.SetDefaultVersion(page.request()("Number")); }, Link<CreateForm>::Then::kGoOn},
      {Filled("DeleteSurva"), [](CreateForm& page) { page.DeleteVersion(page.request()("DeleteSurva")); },
       Link<CreateForm>::Then::kGoOn},
      // layout_editor.cc, which leads to properties.cc
      {Filled("View"),
       [](CreateForm& page) {
         page.session().Set("SurvaProperties", 1);
         page.ShowVersionDesigner(page.request()("View"));
       }},
      {Filled("Preview"), [](CreateForm& page) { page.PreviewForm(page.request()("Preview")); }},
      // question_editor.cc
      {Filled("ModifyQuestionProperties"),
       [](CreateForm& page) {
         page.SaveQuestionProperties(page.request()("ModifyQuestionProperties"), ToInt16(page.request()("Version")));
       }},
      {Filled("ModifyQuestionAnswers"),
       [](CreateForm& page) {
         page.SaveAnswers(page.request()("ModifyQuestionAnswers"), ToInt16(page.request()("Version")));
       }},
      {Filled("DeleteQuestionAnswer"),
       [](CreateForm& page) { page.DeleteAnswer(page.request()("Number"), ToInt16(page.request()("Version"))); }},
      {Filled("AddQuestionAnswer"),
       [](CreateForm& page) { page.AddAnswer(page.request()("Number"), ToInt16(page.request()("Version"))); }},
      // layout_editor.cc
      {Filled("DeleteQuestion"), [](CreateForm& page) { page.DeleteLayoutRow(page.request()("SurvaVersion")); }},
      {Filled("MoveUp"),
       [](CreateForm& page) { page.MoveRow(page.request()("MoveUp"), page.request()("SurvaVersion"), -1); }},
      {Filled("MoveDown"),
       [](CreateForm& page) { page.MoveRow(page.request()("MoveDown"), page.request()("SurvaVersion"), 1); }},
      // question_editor.cc
      {Filled("ModifyQuestion"),
       [](CreateForm& page) {
         page.ShowQuestionEditor(page.request()("ModifyQuestion"), ToInt16(page.request()("SurvaVersion")));
       }},
      // wizard.cc
      {EqualAnyCase("AddQuestionStep", "1"), [](CreateForm& page) { page.ShowPhraseStep(page.destination()); }},
      {EqualAnyCase("AddQuestionStep", "2a"), [](CreateForm& page) { page.AcceptPhrase(page.destination()); }},
      {EqualAnyCase("AddQuestionStep", "2"), [](CreateForm& page) { page.ShowKindStep(page.destination()); }},
      {EqualAnyCase("AddQuestionStep", "3"), [](CreateForm& page) { page.ShowOptionsStep(page.destination()); }},
      {EqualAnyCase("AddQuestionStep", "4"), [](CreateForm& page) { page.ShowValuesStep(page.destination()); }},
      // wizard_saves.cc
      {EqualAnyCase("AddQuestionStep", "5"), [](CreateForm& page) { page.SaveChoiceQuestion(page.destination()); }},
      // version_list.cc
      {Otherwise(),
       [](CreateForm& page) {
         page.session().Set("NewSurva", 0);
         page.ShowVersionList();
       }},
  };
  Walk<CreateForm>(kChain, *this);
}

void CreateForm::WriteHeaders() {
  WriteStaffHeaders(*this, menus::kCreateForm);
}

void CreateForm::WriteFooters() {
  WriteStaffFooters(*this, menus::kCreateForm);
}

}  // namespace surva
