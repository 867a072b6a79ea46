// An event's two frames: above, the event and a picker of students; below, who takes part, with enrolment and removal.
#include <string>

#include "frame/values/text.h"
#include "scheduling/pin.h"
#include "scheduling/schedule.h"
#include "scheduling/short_date.h"

namespace surva {
namespace {

using data::Number;
using data::Row;
using data::Rows;

// For each student, what a visitor types to find him.
void WriteFilterScript(Response& out, const Rows& students) {
  const auto last = static_cast<std::int64_t>(students.size()) - 1;
  out.Write("<script language=vbscript>"
            "dim a(",
            last, ")\r");
  std::int64_t number = 0;
  for (const Row& student : students) {
    const std::string name = student["LastName"].Text() + " " + student["FirstName"].Text();
    out.Write("a(", number++, ")=\"", CapitalLetters(FirstCharacters(name, 6)), "\"\r");
  }
  out.Write("Sub lista()\r"
            "Dim i\r"
            "Text = UCase(document.All.filtr.Value)\r"
            "for i=0 to ",
            last,
            "\r"
            "If Left(a(i), Len(Text)) = Text Then\r"
            "document.All.StudentID.selectedIndex = i & \"\"\r"
            "Exit For\r"
            "End If\r"
            "Next\r"
            "End Sub\r"
            "</script>\r");
}

// The filter counts on the order of the keys above.
void WriteStudentList(Response& out, const Rows& students) {
  out.Write("<select name=StudentID size=3>");
  for (const Row& student : students) {
    out.Write("<option value=\"", student["StudentID"], "\">", student["LastName"], "&nbsp;", student["FirstName"]);
    if (!student["CompanyName"].IsEmpty()) {
      out.Write("&nbsp;-&nbsp;", FirstCharacters(student["CompanyName"].Text(), 40));
    }
    out.Write("&nbsp;</option>");
  }
  out.Write("</select><br>");
}

}  // namespace

void Schedule::ShowEventFrames(const Field& id) {
  Write("<html>"
        "<frameset framespacing=0 border=0 rows=\"315,*\"frameborder=0>"
        "<frame name=top scrolling=no noresize src=schedule.asp?ModUp=",
        id,
        " marginwidth=0 marginheight=0>"
        "<frame name=bottom scrolling=yes noresize src=schedule.asp?ModDown=",
        id,
        " marginwidth=0 marginheight=0>"
        "<noframes>"
        "<body bgcolor=white>"
        "  <p>This page uses frames, but your browser doesn't support them.</p>"
        "</body>"
        "</noframes>"
        "</frameset>"
        "</html>");
}

void Schedule::ShowParticipantPicker(std::string_view id) {
  WriteHeaders();
  data::Connection& db = OpenConnection();
  const Rows trainings = db.Query({"Select TrainingName, OfficialID from Training,Schedule "
                                   "where Training.TrainingID=Schedule.TrainingID and ScheduleID=",
                                   Number(id)});
  const Rows trainers = db.Query({"Select LastName, FirstName from Trainer,Schedule "
                                  "where Trainer.TrainerID=Schedule.TrainerID and ScheduleID=",
                                  Number(id)});
  const Rows events = db.Query({"Select BeginDate, EndDate, Place from Schedule where ScheduleID=", Number(id)});
  const Rows students = db.Query({"Select Student.StudentID, LastName, FirstName, CompanyName from Student,Company "
                                  "where Company.CompanyID=Student.CompanyID "
                                  "order by LastName nulls first, FirstName nulls first, Student.StudentID"});
  const Row training = trainings.First();
  const Row trainer = trainers.First();
  const Row event = events.First();

  Write("<br>"
        "<form Action=schedule.asp method=post target=bottom>"
        "<input type=hidden name=ModDown value=",
        id,
        ">"
        "<TABLE BORDER=0 cellspacing=0 cellpadding=2 width=98%>"
        "<TR><TH align=left colspan=2><font color=navy>",
        training["TrainingName"], "&nbsp;&nbsp;&nbsp;", training["OfficialID"],
        "</font></th></tr>"
        "<TR><Td colspan=2 bgcolor=#6699FF size=1></td></tr>"
        "<TR><Td bgcolor=#FFFFEE align=left><font color=black>"
        "Trainer:",
        trainer["LastName"], "&nbsp;", trainer["FirstName"], "</font>&nbsp;&nbsp;Period:");
  WriteShortDate(response(), event["BeginDate"]);
  Write(" to ");
  WriteShortDate(response(), event["EndDate"]);
  Write("<br>Place of training:&nbsp;", event["Place"],
        "</td>"
        "<td  bgcolor=#FFFFEE align=right><a target=_parent href=schedule.asp?ModSch1=",
        id,
        " style=\"font-family: Tahoma; color: blue\"><b>Modify</b></a></td></tr>"
        "<TR><Td colspan=2 bgcolor=#6699FF size=1></td></tr></table>"
        "<br>"
        "<TABLE BORDER=0 cellspacing=0 cellpadding=2>"
        "<tr align=left><th>Choose students:</td></th>"
        // Browsers pass over a form inside a form: the controls below belong to the outer one.
        "<tr><td><form name=f1>");
  WriteFilterScript(response(), students);
  response().AllowScript("lista()");
  Write("<input type=text name=filtr size=20  onkeyup=lista()>"
        "<font face=arial size=1 color=red>To find a student enter here first letters of his/her last name</font><BR>");
  WriteStudentList(response(), students);
  Write("<INPUT style=\"font-family: Tahoma; font-size: 8pt\" TYPE=Submit Name=Choose Value=Choose></td></tr>"
        "</table></form>"
        "</TD></TR></TBODY></TABLE>"
        "</TD></TR>"
        "</TBODY></TABLE>");
}

void Schedule::ShowParticipants(std::string_view id) {
  WriteHeaders1();
  data::Connection& db = OpenConnection();
  if (request()("Choose") == "Choose" && request().Filled("StudentID")) Enrol(db, id);
  if (request()("Delete") == "Delete") {
    for (const std::string_view participant : request().Form("ToN")) {
      db.Execute({"delete from Participant where (ParticipantID=", Number(participant), ")"});
    }
  }
  const Rows participants =
      db.Query({"Select participant.ParticipantID as IndeksU, Student.StudentID as IndeksK, FirstName, LastName, "
                "CompanyName, PIN from Participant, Student, Schedule, Company "
                "where (participant.scheduleID=schedule.ScheduleID and Participant.StudentID=Student.StudentID "
                "and Company.CompanyID=Student.CompanyID and Participant.ScheduleID=",
                Number(id), ") order by LastName nulls first, participant.ParticipantID"});

  Write("<form Action=schedule.asp Method=POST target=_self>"
        "<Input Type=Hidden Name=ModDown value=",
        id,
        ">"
        "<Input Type=Hidden Name=ScheduleID value=",
        id,
        ">"
        "<TABLE BORDER=0 cellspacing=0 cellpadding=2 width=98%>"
        "<TR align=left>"
        "<Th>First name</font></th>"
        "<Th>Last name</font></th>"
        "<Th>Company</font></th>"
        "<td align=center><a target=_parent href=list.asp?Schedule=",
        id, " style=\"font-family: Tahoma;color: blue\"><b>&nbsp;List of PIN numbers&nbsp;</b></a></td></tr>");
  for (const Row& participant : participants) {
    Write("<TR align=left>"
          "<TR><Td colspan=4 bgcolor=#6699FF size=1></td></tr>"
          "<Td>",
          participant["FirstName"], "&nbsp;</td>", "<Td><a href=student.asp?Modify=", participant["IndeksK"],
          " target=_parent>", participant["LastName"],
          "</a>&nbsp;</td>"
          "<Td>",
          participant["CompanyName"], "&nbsp;</td>", "<td align=center>");
    // Who has filled in the form has no PIN any more, and stays.
    if (participant["PIN"].IsEmpty()) {
      Write("-");
    } else {
      Write("<input type=checkbox name=\"ToN\" value=", participant["IndeksU"], ">");
    }
    Write("</td></tr>");
  }
  Write("<TR><Td colspan=4 bgcolor=#6699FF size=1></td></tr>"
        "<tr><Td colspan=4 align=right>");
  if (!participants.empty()) {
    Write("<INPUT style=\"font-family: Tahoma; font-size: 8pt\" TYPE=Submit Name=Delete Value=Delete></td></tr>");
  }
  Write("</table>"
        "</TD></TR></TBODY></TABLE>"
        "</form><TABLE><TBOBY><TR><TD>");
  WriteFooters();
}

void Schedule::Enrol(data::Connection& db, std::string_view id) {
  const std::string_view student = request()("StudentID");
  db.AddNew(data::tables::kParticipant)
      .Set("ScheduleID", id)
      .Set("StudentID", student)
      // The upper frame's form has no ScheduleID.
      .Set("pin", std::string_view(MakePin(clock(), request()("ScheduleID"), student)))
      .Update();
}

}  // namespace surva
