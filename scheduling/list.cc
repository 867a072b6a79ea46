#include "scheduling/list.h"

#include "frame/page_frame.h"
#include "scheduling/short_date.h"

namespace surva {

using data::Number;
using data::Row;
using data::Rows;

void List::WriteHeaders() {
  WriteStaffHeaders(*this, menus::kList);
}

void List::WriteFooters() {
  WriteStaffFooters(*this, menus::kList);
}

void List::WebClass_Start() {
  const std::string_view id = request()("Schedule");
  WriteHead(*this);
  WriteBodyTag(*this);
  data::Connection& db = OpenConnection();
  const Rows events = db.Query({"Select TrainingName, OfficialID, BeginDate, EndDate, LastName, FirstName, Place "
                                "from Schedule,Training,Trainer where Schedule.TrainingID=Training.TrainingID "
                                "and Schedule.TrainerID=Trainer.TrainerID and ScheduleID=",
                                Number(id)});
  const Rows participants =
      db.Query({"Select LastName, FirstName, PIN from Participant,Student "
                "where Participant.StudentID=Student.StudentID and Participant.ScheduleID=",
                Number(id), " order by LastName nulls first, FirstName nulls first, ParticipantID"});
  const Row event = events.First();

  Write("<br>"
        "<table width=99% align=center cellspacing=0 cellpadding=2>"
        "<tr><th bgcolor=black align=left><font color=white>",
        event["TrainingName"], "&nbsp;&nbsp;", event["OfficialID"], "</font></th></tr>", "<tr><td>Period:&nbsp;");
  WriteShortDate(response(), event["BeginDate"]);
  Write("-");
  WriteShortDate(response(), event["EndDate"]);
  Write("&nbsp;&nbsp;Trainer:&nbsp;", event["LastName"], "&nbsp;", event["FirstName"],
        "</td></tr>"
        "<tr><td>Place of training:&nbsp;",
        event["Place"],
        "</td></tr>"
        "<tr size=1><td colspan=3></td></tr>"
        "<tr bgcolor=black size=1><td colspan=2></td></tr>"
        "</table>"
        "<table width=99% align=center cellspacing=0 cellpadding=2>"
        "<tr align=left><th>Last name</th><th>First name</th><th>PIN</th></tr>"
        "<tr bgcolor=black size=1><td colspan=3></td></tr>");
  for (const Row& participant : participants) {
    Write("<TR align=left>"
          "<Td>",
          participant["LastName"], "</td>", "<Td>", participant["FirstName"], "</td>", "<td>");
    if (participant["PIN"].IsEmpty()) {
      Write("Form filled");
    } else {
      Write(participant["PIN"]);
    }
    Write("</td></tr>");
  }
  Write("</table></body></html>");
}

}  // namespace surva
