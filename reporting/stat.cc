#include "reporting/stat.h"

#include "frame/page_frame.h"
#include "reporting/general_view.h"
#include "scheduling/week_walk.h"

namespace surva {
namespace {

void WriteCounts(Response& out, const data::Row& event) {
  out.Write("&nbsp;&nbsp;Number of students / filled forms: <b>", event["Enrolled"], "/", event["Answered"], "</b>");
}

constexpr Calendar kWeekView{.month_link = "<a href=stat.asp?BrowseWeek=1&Action=P&M=",
                             .form = "<Form Action=stat.asp method=post>",
                             .event_link = "<a href=browse.asp?BrowseForms=1&ScheduleID=",
                             .write_counts = WriteCounts};

}  // namespace

void Stat::WebClass_Start() {
  static constexpr Link<Stat> kChain[] = {
      // remarks.cc
      {Filled("Remarks"), [](Stat& page) { page.ShowRemarks(); }},
      // criteria_forms.cc
      {Filled("Criteria"), [](Stat& page) { page.ShowCriteria(); }},
      {Filled("CriteriaA"), [](Stat& page) { page.ShowCriteriaA(); }},
      // here
      {Filled("BrowseWeek"), [](Stat& page) { page.ShowWeek(); }},
      // remarks.cc
      {Filled("EraseMessage"),
       [](Stat& page) {
         page.EraseMessages();
         page.ShowRemarks();
       }},
      // general_view.cc
      {Otherwise(), [](Stat& page) { page.ShowGeneral(); }},
  };
  Walk<Stat>(kChain, *this);
}

void Stat::WriteHeaders() {
  WriteStaffHeaders(*this, menus::kStat);
}

void Stat::WriteFooters() {
  WriteStaffFooters(*this, menus::kStat);
}

void Stat::ShowGeneral() {
  ShowGeneralView(*this, OpenConnection());
}

void Stat::ShowWeek() {
  WriteHeaders();
  WriteCalendar(*this, OpenConnection(), kWeekView);
  WriteFooters();
}

}  // namespace surva
