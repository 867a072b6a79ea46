#include "scheduling/schedule.h"

#include "frame/page_frame.h"
#include "scheduling/week_walk.h"

namespace surva {

void Schedule::WebClass_Start() {
  // The modify form always carries Update, the event's key; its Save button updates and its Delete button deletes by
  // it.
  static constexpr Link<Schedule> kChain[] = {
      // event_editor.cc
      {Filled("DeleteEvent"), [](Schedule& page) { page.DeleteEvent(page.request()("Update")); }},
      {Filled("Update"), [](Schedule& page) { page.UpdateEvent(page.request()("Update")); }},
      // participants.cc
      {Filled("ModSch0"), [](Schedule& page) { page.ShowEventFrames(page.request()("ModSch0")); }},
      {Filled("ModUp"), [](Schedule& page) { page.ShowParticipantPicker(page.request()("ModUp")); }},
      {Filled("ModDown"), [](Schedule& page) { page.ShowParticipants(page.request()("ModDown")); }},
      // event_editor.cc
      {Filled("Save"), [](Schedule& page) { page.SaveNewEvent(); }},
      // here
      {Equal("Search", "Search"), [](Schedule& page) { page.ListSearchResults(); }},
      {Equal("Action", "P"), [](Schedule& page) { page.ShowCalendar(); }},
      // event_editor.cc
      {Filled("ModSch1"), [](Schedule& page) { page.ShowModifyEventForm(page.request()("ModSch1")); }},
      {Filled("Add"), [](Schedule& page) { page.ShowAddEventForm(); }},
      // here
      {Otherwise(), [](Schedule& page) { page.ShowEmptyPage(); }},
  };
  Walk<Schedule>(kChain, *this);
}

void Schedule::WriteHeaders() {
  WriteStaffHeaders(*this, menus::kSchedule);
}

void Schedule::WriteFooters() {
  WriteStaffFooters(*this, menus::kSchedule);
}

void Schedule::WriteHeaders1() {
  WriteLowerFrameHeaders(*this);
}

void Schedule::ShowCalendar() {
  static constexpr Calendar kCalendar{
      .month_link = "<a href=schedule.asp?Action=P&M=",
      .form = "<Form Action=schedule.asp method=post>",
      .event_link = "<a href=schedule.asp?ModSch0=",
      .write_counts =
          [](Response& out, const data::Row& event) {
            out.Write("&nbsp;&nbsp;Number of students: <b>", event["Enrolled"], "</b>");
          },
  };
  WriteHeaders();
  WriteCalendar(*this, OpenConnection(), kCalendar);
  WriteFooters();
}

// Nothing leads here. Events have neither city nor company, and the statement fails.
void Schedule::ListSearchResults() {
  OpenConnection().Query({"SELECT ScheduleID,Schedule.City,CompanyName from Schedule,company "
                          "where Schedule.companyid=company.companyid"});
}

void Schedule::ShowEmptyPage() {
  WriteHeaders();
  OpenConnection();
  WriteFooters();
}

}  // namespace surva
