// Week walk: a month cut into calendar weeks, the events that touch each of them, and the calendar drawn from both.
#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "frame/data/connection.h"
#include "scheduling/month_picker.h"

namespace surva {

// A week of a month, from a Monday to a Sunday, or cut short by the month's first or last day.
struct Week {
  int first_day;   // of the month
  int last_day;    // of the month
  DateTime begin;  // the midnights with which the two days begin
  DateTime end;
};

// The weeks of a month, in their order. Throws a Fault for a month that is none of the twelve, or a year that no date
// can have.
std::vector<Week> WeeksOf(const PickedMonth& picked);

// The events that touch a month, and their participants, read in one statement.
class MonthEvents {
 public:
  MonthEvents(data::Connection& connection, std::span<const Week> weeks);

  // Calls `each` with the row of every event that begins within the week, ends within it or spans it, by their begin
  // and end: IndeksH (the ScheduleID), BeginDate, EndDate, Place, TrainingName, FirstName and LastName of the
  // trainer, Students (the number of participants), FilledForms (of those, without a PIN).
  template <class Each>
  void ForEach(const Week& week, Each each) const {
    for (const data::Row& event : rows_) {
      if (Touches(event, week)) each(event);
    }
  }

  // Whether training and trainer of the event are known. Others are in no list, but their participants count.
  static bool IsListed(const data::Row& event) { return !event["TrainingK"].IsNull() && !event["TrainerK"].IsNull(); }

 private:
  static bool Touches(const data::Row& event, const Week& week);

  data::Rows rows_;
};

// What differs between the calendars.
struct Calendar {
  std::string_view month_link;                                  // see WriteMonthPicker
  std::string_view form;                                        // "<Form Action=schedule.asp method=post>"
  std::string_view event_link;                                  // "<a href=schedule.asp?ModSch0="
  void (*write_counts)(Response& out, const data::Row& event);  // what stands behind trainer and place
};

// The picker and the events of the picked month week by week: a calendar page between its header and footer.
void WriteCalendar(PageObject& page, data::Connection& connection, const Calendar& calendar);

}  // namespace surva
