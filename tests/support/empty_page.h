// EmptyPage: a page of nothing but its frame, with any of the menus.
#pragma once

#include "frame/page_object.h"

namespace surva {

class EmptyPage final : public PageObject {
 public:
  EmptyPage(PageContext& context, const Menu& menu) : PageObject(context), menu_(menu) {}

  void WebClass_Start() override {
    WriteHeaders();
    WriteFooters();
  }
  void WriteHeaders() override { WriteStaffHeaders(*this, menu_); }
  void WriteFooters() override { WriteStaffFooters(*this, menu_); }

 private:
  const Menu& menu_;
};

}  // namespace surva
