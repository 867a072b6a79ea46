// The filled forms one by one, each with a link to its preview.
#include "frame/values/text.h"
#include "reporting/browse.h"

namespace surva {

using data::Row;
using data::Rows;

namespace {

// Day and month as numbers; nothing where there is no date.
struct DayAndMonth {
  explicit DayAndMonth(const Field& date) {
    if (date.IsNull()) return;
    day = std::int64_t{date.Date().day};
    month = std::int64_t{date.Date().month};
  }
  Field day, month;
};

// A long name loses its beginning, and the dots stand at its end all the same. Two blanks lack their semicolon.
void WriteEventHead(Response& out, const Row& event) {
  out.Write("<TR><TD colspan=3>&nbsp;</TD></TR>"
            "<TR><TH align=left colspan=3 bgcolor=white><font color=navy>");
  const std::string name = event["TrainingName"].Text();
  if (CharacterCount(name) > 80) {
    out.Write(event["OfficialID"], "&nbsp;&nbsp", LastCharacters(name, 77), "...");
  } else {
    out.Write(event["OfficialID"], "&nbsp;&nbsp;", name);
  }
  const DayAndMonth begin(event["BeginDate"]);
  const DayAndMonth end(event["EndDate"]);
  out.Write("</font></th></tr>"
            "<TR><Td bgcolor=navy align=left  colspan=3><font color=white><small>"
            "Trainer:&nbsp;",
            event["TLastName"], "&nbsp;", event["TFirstName"], "&nbsp;&nbsp;&nbsp;&nbsp;Period:&nbsp;", begin.day, "/",
            begin.month, " to ", end.day, "/", end.month, "&nbsp;&nbsp;&nbsp;&nbsp;Place of training:&nbsp;",
            event["Place"], "&nbsp;&nbsp;&nbsp;&nbsp;surva version:&nbsp", event["SurvaName"],
            "</small></font></td></tr>"
            "<TR><TD align=left><font color=navy size=2><B>Last name&nbsp;&nbsp;&nbsp;&nbsp;</B></font></TD>"
            "<TD align=left><font color=navy size=2><B>First name&nbsp;&nbsp;&nbsp;&nbsp;</B></font></TD>"
            "<TD align=left><font color=navy size=2><B>Company name&nbsp;&nbsp;&nbsp;&nbsp;</B></font></TD></TR>"
            "<TR><Td bgcolor=navy size=1 colspan=3></td></tr>");
}

}  // namespace

void Browse::BrowseForms() {
  const Rows participants = Forms(forms::kNamed).List(OpenConnection());
  WriteHeaders();
  Write("</TD><TD width=5>&nbsp;&nbsp;&nbsp;</TD><TD>");
  if (participants.empty()) {
    Write("<BLOCKQUOTE>No survas to display.</BLOCKQUOTE>");
    return WriteFooters();
  }
  Write("<TABLE BORDER=0 cellspacing=0 cellpadding=2>");
  std::int64_t event = -1;
  for (const Row& participant : participants) {
    if (!participant["ScheduleID"].Is(event)) WriteEventHead(response(), participant);
    event = participant["ScheduleID"].Integer();
    // Who still has a PIN has not filled in the form.
    if (participant["PIN"].IsEmpty()) {
      Write("<TR><TD><a target=preview href=browse.asp?PreviewForm=1&Number=", participant["SurvaVersionID"],
            "&StudentID=", participant["StudentID"], "&ScheduleID=", participant["ScheduleID"], ">",
            participant["LastName"], "</a></TD>");
    } else {
      Write("<TR><TD>", participant["LastName"], "</TD>");
    }
    Write("<TD>", participant["FirstName"], "</TD><TD>", participant["CompanyName"], "</TD></TR>");
  }
  Write("</TABLE><BR><BR><BR><BR>");
  WriteFooters();
}

void Browse::BrowseFormsA() {
  const Rows filled = Forms(forms::kAnonymous).List(OpenConnection());
  WriteHeadersA();
  Write("</TD><TD width=5>&nbsp;&nbsp;&nbsp;</TD><TD>"
        "<BR><BR>");
  if (filled.empty()) {
    Write("<BLOCKQUOTE>No survas to display.</BLOCKQUOTE>");
    return WriteFooters();
  }
  Write("<TABLE BORDER=0 cellspacing=0 cellpadding=2>"
        "<TR><TD align=left><font color=navy size=2><B>IP Address&nbsp;&nbsp;&nbsp;&nbsp;</B></font></TD>"
        "<TD align=left><font color=navy size=2><B>surva version&nbsp;&nbsp;&nbsp;&nbsp;</B></font></TD>"
        "<TD align=left><font color=navy size=2><B>Logon date&nbsp;&nbsp;&nbsp;&nbsp;</B></font></TD>"
        "<TD align=left><font color=navy size=2><B>Fill date&nbsp;&nbsp;&nbsp;&nbsp;</B></font></TD></TR>"
        "<TR><Td bgcolor=navy size=1 colspan=4></td></tr>");
  for (const Row& form : filled) {
    Write("<TR><TD><a target=preview href=browse.asp?PreviewFormA=1&Number=", form["SurvaVersionID"],
          "&StudentID=", form["AnonymousStudentID"], ">", form["IPAddress"],
          "</a></TD>"
          "<TD>",
          form["SurvaName"], "&nbsp;&nbsp;&nbsp;&nbsp;</TD><TD>", form["CreateDate"],
          "&nbsp;&nbsp;&nbsp;&nbsp;</TD><TD>", form["FillDate"], "</TD></TR>");
  }
  Write("</TABLE><BR><BR><BR><BR>");
  WriteFooters();
}

}  // namespace surva
