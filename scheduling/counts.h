// What a statement counts of each event that it selects from Schedule: who is enrolled, and who of them has filled in
// the form and has no PIN any more.
#pragma once

#include "frame/data/statement.h"

namespace surva {

// The columns Enrolled and Answered. The PIN stands inside a function, so that no engine looks through the index of all
// PINs for it.
inline constexpr data::Piece kCounts =
    "(select count(*) from Participant where Participant.ScheduleID=Schedule.ScheduleID) as Enrolled, "
    "(select count(*) from Participant where Participant.ScheduleID=Schedule.ScheduleID and coalesce(PIN,'')='') "
    "as Answered ";

}  // namespace surva
