// browse.asp: the filled forms that a visitor's filter finds, named or anonymous: how many, which, what they answer,
// and each as it was filled in.
#pragma once

#include <string_view>

#include "filling/stored_answers.h"
#include "frame/chain.h"
#include "frame/page_frame.h"
#include "frame/page_object.h"
#include "reporting/filled_forms.h"

namespace surva {

class Browse final : public PageObject {
 public:
  using PageObject::PageObject;

  void WebClass_Start() override;
  void WriteHeaders() override;
  void WriteFooters() override;

  void WriteHeadersA();
  // Of the preview's window.
  void WriteHeaders1();
  void WriteFooters1();

  void PreView(std::string_view number, std::string_view student, std::string_view schedule);
  void PreViewA(std::string_view number, std::string_view student);

 private:
  // Both previews.
  void ShowFilledForm(std::string_view number, StoredAnswers answers);

  // Keeps the criteria form's choices in the session.
  void ReadCriteria(const FormKind& kind);
  void ShowCount(const FormKind& kind);

  void Stats(const FormKind& kind);

  void BrowseForms();
  void BrowseFormsA();

  void ShowGeneral();

  void WriteHeadersOf(const FormKind& kind) { WriteStaffHeaders(*this, kind.menu); }
  FilledForms Forms(const FormKind& kind) { return {kind, session(), request()}; }
};

}  // namespace surva
