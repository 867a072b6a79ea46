// schedule.asp: the staff's calendar of events, the events themselves, and who takes part in them.
#pragma once

#include <string_view>

#include "frame/chain.h"
#include "frame/page_object.h"

namespace surva {

class Schedule final : public PageObject {
 public:
  using PageObject::PageObject;

  void WebClass_Start() override;
  void WriteHeaders() override;
  void WriteFooters() override;

 private:
  void ShowCalendar();

  void ShowAddEventForm();
  void ShowModifyEventForm(std::string_view id);
  void SaveNewEvent();
  void UpdateEvent(std::string_view id);
  void DeleteEvent(std::string_view id);

  // An event's two frames, and what stands in the upper and in the lower one.
  void ShowEventFrames(const Field& id);
  void ShowParticipantPicker(std::string_view id);
  void ShowParticipants(std::string_view id);

  void ListSearchResults();
  void ShowEmptyPage();

  // The lower frame has a head without a menu.
  void WriteHeaders1();

  void Enrol(data::Connection& db, std::string_view id);
};

}  // namespace surva
