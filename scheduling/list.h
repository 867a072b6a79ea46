// list.asp: an event's participants and their PINs, for paper.
#pragma once

#include "frame/page_object.h"

namespace surva {

class List final : public PageObject {
 public:
  using PageObject::PageObject;

  void WebClass_Start() override;
  // The sheet has a head of its own; these stand around an error alone.
  void WriteHeaders() override;
  void WriteFooters() override;
};

}  // namespace surva
