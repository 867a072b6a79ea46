// Page frames: the head, toolbar, left menu and footer in which the pages stand. One writer, driven by a table of
// menus.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace surva {

class PageObject;

// One link of the left menu.
struct MenuEntry {
  std::string_view address;
  std::string_view caption;
  bool names_event = false;  // the request's ScheduleID ends the address
};

struct Menu {
  std::string_view heading = {};            // none if empty
  std::span<const MenuEntry> entries = {};  // none if empty
  std::string_view outer_table = "<TABLE border=0 cellPadding=0 cellSpacing=0>";
  int spacer_rows = 2;
  bool of_designer = false;  // the survas' menu, margin and footer have a shape of their own
};

// The menus of the staff pages by class; Browse has a second one for the anonymous lists.
namespace menus {
extern const Menu kDefault, kCompany, kStudent, kTrainer, kTraining, kSchedule, kList, kStat, kBrowse, kBrowseAnonymous,
    kCreateForm;
}  // namespace menus

// The staff frame: from the first byte to the place of the content, and from there to the end. The header sets the
// session's timeout and shows Session("ErrorMsg") once.
void WriteStaffHeaders(PageObject& page, const Menu& menu);
void WriteStaffFooters(PageObject& page, const Menu& menu);

// <HTML> to </HEAD>, and the body tag: what all frames and the pages without one begin with.
void WriteHead(PageObject& page);
void WriteBodyTag(PageObject& page);

// The short frames: Browse's popup windows, and the lower frame of an event's participants.
void WritePopupHeaders(PageObject& page);
void WritePopupFooters(PageObject& page);
void WriteLowerFrameHeaders(PageObject& page);

// The public banner and footer.
void WritePublicHeaders(PageObject& page);
void WritePublicFooters(PageObject& page);

// The address behind the footer's link and the notice; it follows `<A href=` or `<A HREF=`.
void WriteHomeLink(PageObject& page);

}  // namespace surva
