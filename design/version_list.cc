// The list of survas, the default among them, and the two ways to make a new one.
#include "design/create_form.h"
#include "frame/values/numbers.h"

namespace surva {
namespace {

using data::Number;
using data::Row;

constexpr std::string_view kListTable =
    "<TABLE align=\"center\" width=\"90%\" BORDER=\"0\" cellspacing=\"2\" cellpadding=\"2\""
    " style=\"font-family: Tahoma; font-size: 8pt\">";
constexpr std::string_view kListRule = "<tr><td bgcolor=#6699FF size=1 colspan=3></td></tr>";
constexpr std::string_view kPickerRule = "<tr><td bgcolor=#6699FF size=1 colspan=2></td></tr>";

}  // namespace

void CreateForm::ShowVersionList() {
  WriteHeaders();
  data::Connection& db = OpenConnection();
  const data::Rows survas = db.Query(
      {"SELECT SurvaVersionID, SurvaName, CreateDate, Valid, "
       "(exists(select * from Schedule where Schedule.SurvaVersionID=SurvaVersion.SurvaVersionID) "
       "or exists(select * from Training where Training.SurvaVersionID=SurvaVersion.SurvaVersionID) "
       "or exists(select * from AnonymousStudent where AnonymousStudent.SurvaVersionID=SurvaVersion.SurvaVersionID)"
       ") as Used FROM SurvaVersion order by CreateDate DESC NULLS LAST, SurvaVersionID"});
  Write("<form Action=CreateForm.asp Method=POST><Input Type=Hidden Name=Action Value=P>", kListTable,
        "<tr><TD bgColor=white><font face=tahoma size=2 color=navy><B>Actions</B></font></TD>"
        "<TD bgColor=white><font face=tahoma size=2 color=navy><B>surva versions</B></font></TD>"
        "<TD align=center bgColor=white><font face=tahoma size=2 color=navy><B>Default</B></font></TD></tr>",
        kListRule);
  for (const Row& surva : survas) {
    const Field id = surva["SurvaVersionID"];
    const bool is_default = surva["Valid"].IsTrue();
    Write("<tr><TD align=left valign=middle bgcolor=white>"
          "<a href=CreateForm.asp?Preview=",
          id,
          " target=_new><img border=0 alt=\"Preview Surva\"src=images/preview2.gif></a>&nbsp;"
          "<a href=CreateForm.asp?view=",
          id, "><img border=0 alt=\"Modify Surva\"src=images/modify2.gif></a>&nbsp;");
    const bool used = is_default || surva["Used"].IsTrue();
    if (used) {
      Write("<img border=0 src=images/white.gif>");
    } else {
      Write("<a href=CreateForm.asp?DeleteSurva=", id,
            "><img border=0 alt=\"Delete Surva\"src=images/delete2.gif></a>");
    }
    Write("</td><td bgcolor=white><font face=tahoma size=1 color=black>", surva["SurvaName"],
          " - Created on: ", surva["CreateDate"]);
    if (used) {
      Write("-<strong>", std::string_view(is_default ? "default" : "used"), "</strong></font>&nbsp;&nbsp;&nbsp;&nbsp;");
    }
    Write("</td><td bgcolor=white align=center><input type=radio name=Number value=", id);
    if (is_default) Write(" checked ");
    Write("></td></tr>");
  }
  Write(kListRule,
        "<tr><td colspan=2 bgcolor=white><font face=tahoma size=2 color=black><B>"
        "You can not delete survas that have been registered for any training or in the schedule or are the default."
        "</B></font></td>"
        "<td bgcolor=white align=left><INPUT TYPE=Submit Name=ChangeValid Value=\"Change\"></td></tr></form></table>");
  WriteFooters();
}

// Seen together or not at all: an event that looks for the default must find one. Two who meet each other's rows in
// different orders would wait for each other.
void CreateForm::SetDefaultVersion(std::string_view version) {
  data::Connection& db = OpenConnection();
  db.Lock("default surva");
  db.BeginTrans();
  try {
    db.Execute({"update SurvaVersion set valid=0"});
    db.Execute({"update SurvaVersion set valid=-1 where SurvaVersionID=", Number(version)});
    db.CommitTrans();
  } catch (...) {
    db.RollbackTrans();
    throw;
  }
}

// Its layout rows stay behind, and so do their questions, which other versions may share.
void CreateForm::DeleteVersion(std::string_view version) {
  OpenConnection().Execute({"delete from SurvaVersion where SurvaVersionID=", Number(version)});
}

void CreateForm::CreateEmptyVersion() {
  const data::Rows made = OpenConnection().ExecuteReturning(
      {"insert into SurvaVersion(SurvaName,Valid,CreateDate,RequireAuthorisation,RequirePersonalDataPreview,"
       "ThankYouPage,DisplayMenu) select 'Empty Surva',0,",
       data::Bound(Field(clock().Now())), ",-1,-1,'',-1 returning SurvaVersionID"});
  ShowVersionDesigner(std::to_string(ToInt16(made.First()["SurvaVersionID"].Text())));
}

void CreateForm::ShowCopySourcePicker() {
  data::Connection& db = OpenConnection();
  const data::Rows survas = db.Query({"SELECT SurvaVersionID, SurvaName, CreateDate, Valid FROM SurvaVersion "
                                      "order by CreateDate DESC NULLS LAST, SurvaVersionID"});
  WriteHeaders();
  Write("<form Action=CreateForm.asp Method=POST><input type=hidden name=SaveSurvaProperties value=1>", kListTable,
        "<tr><TD colspan=2 bgColor=\"white\"><font face=tahoma size=2 color=navy>"
        "<B>Choose surva based on which you want to create a new surva</B></font></TD></tr>",
        kPickerRule);
  for (const Row& surva : survas) {
    const Field id = surva["SurvaVersionID"];
    const bool is_default = surva["Valid"].IsTrue();
    Write("<tr><TD bgColor=\"white\"><a href=CreateForm.asp?preview=", id,
          " target=_new><img src=images/preview2.gif border=0 alt=\"Preview Surva\"></a>&nbsp;&nbsp;"
          "<font face=tahoma size=1 color=black>",
          surva["SurvaName"], " - Created on: ", surva["CreateDate"],
          std::string_view(is_default ? "<b> - currently default</B>" : ""), "</td><TD bgcolor=white>",
          "<input type=radio name=SurvaVersionID ", std::string_view(is_default ? "checked " : ""), "value=", id,
          "></td></TR>");
  }
  // The first cell of the last row is left open.
  Write(kPickerRule, "<tr><TD align=right bgColor=\"white\"><TD align=left bgColor=\"white\">"
                     "<input type=submit name=CreateNewSurva2 value=Next></TD></tr></table></form>");
  WriteFooters();
}

// The copy has rows of its own, and shares the questions on them with its source. Rows that a deleted version left
// behind are given to the newest version there is.
void CreateForm::CopyVersion(std::string_view version) {
  data::Connection& db = OpenConnection();
  data::Rows made = db.ExecuteReturning(
      {"insert into SurvaVersion(SurvaName,Valid,CreateDate,RequireAuthorisation,RequirePersonalDataPreview) "
       "select 'Copy of: ' || SurvaName,0,",
       data::Bound(Field(clock().Now())),
       ",RequireAuthorisation,RequirePersonalDataPreview "
       "from SurvaVersion where SurvaVersionID=",
       Number(version), " returning SurvaVersionID"});
  if (made.empty()) made = db.Query({"select max(SurvaVersionID) as SurvaVersionID from SurvaVersion"});
  const std::string copy = made.First()["SurvaVersionID"].Text();
  db.Execute({"insert into SurvaLayout(SurvaVersionID,QuestionID,PositionID) select ", Number(copy),
              ",QuestionID,PositionID from SurvaLayout where SurvaVersionID=", Number(version),
              " order by SurvaLayoutID"});
  ShowVersionDesigner(std::to_string(ToInt16(copy)));
}

}  // namespace surva
