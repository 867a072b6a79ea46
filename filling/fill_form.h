// surva.asp: the respondent's page. Logon by PIN or public link, the personal details, the form, its acceptance.
#pragma once

#include <string>
#include <string_view>

#include "filling/form_walk.h"
#include "frame/chain.h"
#include "frame/page_object.h"

namespace surva {

class FillForm final : public PageObject {
 public:
  using PageObject::PageObject;

  void WebClass_Start() override;
  void WriteHeaders() override;
  void WriteFooters() override;

  // The form with a named respondent's stored answers; ends the filling if no required answer is missing.
  void PreView(std::string_view surva, const Value& student, const Value& schedule);

 private:
  enum class WrongPin { kNo, kYes };
  bool FramesErrors() const override;

  void ShowPinPage(WrongPin wrong_pin);
  void PinLogon(std::string_view pin);
  void AnonymousEntry(std::string_view version);

  void ShowPersonalDetails();
  void SaveRemarks();

  // The name of the filling, by which it is locked: two posts of one replace its answers one after the other.
  std::string Filling();
  void ShowBlankForm(std::string_view surva);
  void AcceptAnswers(std::string_view surva);
  // The form with stored answers; ends the filling if no required answer is missing.
  void ShowStoredForm(std::string_view surva, FormWalk& walk, StoredAnswers answers);
  void FinishFilling(data::Connection& connection, const Field& thank_you_page, bool display_menu);

  void WriteFormHead(std::string_view surva);
  void WriteFormEnd(std::string_view button_row_end);
};

}  // namespace surva
