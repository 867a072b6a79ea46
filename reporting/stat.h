// stat.asp: the staff's statistics. A month in figures, its weeks with their trainings, the two forms in which a filter
// of filled forms is chosen, and the respondents' remarks.
#pragma once

#include <span>

#include "frame/chain.h"
#include "frame/page_object.h"

namespace surva {

struct ListBlock;
struct FormKind;

class Stat final : public PageObject {
 public:
  using PageObject::PageObject;

  void WebClass_Start() override;
  void WriteHeaders() override;
  void WriteFooters() override;

 private:
  void ShowGeneral();
  void ShowWeek();

  void ShowCriteria();
  void ShowCriteriaA();
  // Both, with the dates given as days from today.
  void WriteCriteriaForm(const FormKind& kind, std::span<const ListBlock> lists, int first_day, int last_day);

  void ShowRemarks();
  void EraseMessages();
};

}  // namespace surva
