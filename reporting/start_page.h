// default.asp: the staff's start page. Today's date, and how many trainings and students start these days.
#pragma once

#include "frame/page_object.h"

namespace surva {

class StartPage final : public PageObject {
 public:
  using PageObject::PageObject;

  void WebClass_Start() override;
  void WriteHeaders() override;
  void WriteFooters() override;

 private:
  void WriteDates();
};

}  // namespace surva
