// What respondents remarked about their personal details, and its erasing.
#include "reporting/stat.h"

namespace surva {

using data::Number;
using data::Row;
using data::Rows;

void Stat::ShowRemarks() {
  data::Connection& db = OpenConnection();
  WriteHeaders();
  const Rows remarks =
      db.Query({"select MessageID, Message.Message, Student.StudentID, FirstName, LastName from Message, Student "
                "where Student.StudentID=Message.StudentID order by MessageID"});
  Write("<br>"
        "<form Action=stat.asp Method=POST>"
        "<Input Type=Hidden Name=EraseMessage Value=1>"
        "<table border=0 cellspacing=1 cellpadding=1 width=300>");
  for (const Row& remark : remarks) {
    Write("<tr style=\"font-family:Tahoma;font-size=9pt;color:navy\"><td>"
          "<a href=student.asp?Modify=",
          remark["StudentID"], ">", remark["FirstName"], "&nbsp;", remark["LastName"],
          "</a></td>"
          "<td align=right><input type=checkbox name=Chosen value=",
          remark["MessageID"],
          "></td></tr>"
          "<tr><td colspan=2 bgcolor=#6699FF size=1></td>"
          "<tr><td colspan=2>",
          remark["Message"],
          "</td></tr>"
          "<tr><td colspan=2>&nbsp;</td></tr>");
  }
  if (!remarks.empty()) {
    Write("<tr><td colspan=3 align=right><INPUT TYPE=Submit Name=Delete Value=Delete></td></tr>");
  }
  Write("</table></form>");
  WriteFooters();
}

void Stat::EraseMessages() {
  data::Connection& db = OpenConnection();
  const auto pressed = request().Form("Delete");
  if (pressed.size() != 1 || pressed.front() != "Delete") return;
  for (const std::string_view chosen : request().Form("Chosen")) {
    db.Execute({"Delete from Message where MessageID = ", Number(chosen)});
  }
}

}  // namespace surva
