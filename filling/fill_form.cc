#include "filling/fill_form.h"

#include "frame/page_frame.h"

namespace surva {

using data::Number;
using data::Row;
using data::Rows;
using data::Text;

void FillForm::WebClass_Start() {
  response().set_cache_control("no-cache");
  response().AddHeader("Pragma", "no-cache");
  response().set_expires(-1);
  static constexpr Link<FillForm> kChain[] = {
      // here
      {Filled("PIN"), [](FillForm& page) { page.PinLogon(page.request()("PIN")); }},
      {Filled("version"), [](FillForm& page) { page.AnonymousEntry(page.request()("version")); }},
      // answers.cc
      {Filled("FormAccepted"), [](FillForm& page) { page.AcceptAnswers(page.request()("FormAccepted")); }},
      // personal_details.cc
      {Filled("NeXt"), [](FillForm& page) { page.SaveRemarks(); }},
      // here
      {Otherwise(), [](FillForm& page) { page.ShowPinPage(WrongPin::kNo); }},
  };
  Walk<FillForm>(kChain, *this);
}

void FillForm::WriteHeaders() {
  WritePublicHeaders(*this);
}

void FillForm::WriteFooters() {
  WritePublicFooters(*this);
}

bool FillForm::FramesErrors() const {
  return session()["displaymenu"].IsTrue();
}

void FillForm::ShowPinPage(WrongPin wrong_pin) {
  session().Set("anonymous", 0);
  WriteHead(*this);
  WriteBodyTag(*this);
  Write("<TABLE bgColor=#ffffff border=0 cellPadding=0 cellSpacing=0 width=100%>"
        "<TR><TD height=60 vAlign=top><IMG  border=0  src=images/train_cert.gif></TD></TR>"
        "<TR><TD valign=middle bgColor=blue height=20  vAlign=top>"
        "<FONT color=#ffffff face=\"Verdana, Arial\"size=1><B>&nbsp;&nbsp;&nbsp;&nbsp;surva |</FONT></TD></TR>");
  if (wrong_pin == WrongPin::kYes) {
    Write("<TR><TD><BR><FONT face=\"Verdana, Arial\"size=2 color=red><B>"
          "&nbsp;&nbsp;&nbsp;&nbsp;You entered incorrect PIN. Try again.</B></font></TD></TR>");
  }
  Write("</TABLE><br><br>"
        "<Form Action=surva.asp method=post>"
        "<table align=center border=0 cellspacing=0>"
        "<tr><td><font color=navy><b>Enter your PIN number:</b></font></td></tr>"
        "<tr><td size=1></td></tr><tr><td bgcolor=#6699FF size=1></td></tr><tr><td size=1></td></tr>"
        "<tr><td align=center>"
        "<input type=password name=PIN>&nbsp;"
        "<input type=submit name=logon value=OK>"
        "</td></tr><tr><td size=1></td></tr></table></form>"
        "<br>"
        "<table align=center width=80%><tbody>"
        "<tr><td size=1 bgcolor=#6699FF></td></tr>"
        "<tr><td align=center><font face=arial size=2 color=black><B>Dear Customer,</B><BR>"
        "we would like to ask you to fill Surva,<BR> which evaluates the trainer"
        " and our training service<BR></b><BR>"
        "Your marks and suggestions are very important to us<BR> and will help us to better adjust our offer to your "
        "needs.</font>"
        "</td></tr>"
        "<tr><td size=1 bgcolor=#6699FF></td></tr>"
        "</tbody></table>"
        "<CENTER><BR><BR><BR><BR><P><font face=tahoma size=1><A href=");
  WriteHomeLink(*this);
  Write("</CENTER></BODY></HTML>");
}

void FillForm::PinLogon(std::string_view pin) {
  data::Connection& db = OpenConnection();
  const Rows participants = db.Query(
      {"SELECT StudentID, ScheduleID FROM Participant where PIN=", Text(pin), " order by ParticipantID limit 1"});
  response().NotePin(!participants.empty());
  if (participants.empty()) return ShowPinPage(WrongPin::kYes);
  const Row participant = participants.First();
  const Rows survas =
      db.Query({"SELECT DisplayMenu,survaVersion.SurvaVersionID as SurvaVersion,RequirePersonalDataPreview "
                "FROM Schedule,SurvaVersion where Schedule.SurvaVersionID=SurvaVersion.SurvaVersionID and ScheduleID=",
                Number(participant["ScheduleID"])});
  session().Set("StudentID", participant["StudentID"]);
  session().Set("ScheduleID", participant["ScheduleID"]);
  const Row surva = survas.First();
  session().Set("SurvaVersionID", surva["SurvaVersion"]);
  session().Set("RequirePersonalDataPreview", surva["RequirePersonalDataPreview"]);
  session().Set("DisplayMenu", surva["DisplayMenu"]);
  ShowPersonalDetails();
}

void FillForm::AnonymousEntry(std::string_view version) {
  data::Connection& db = OpenConnection();
  const Rows survas =
      db.Query({"select ThankYouPage,SurvaVersionID from SurvaVersion where survaVersionID=", Number(version),
                " and RequireAuthorisation=0"});
  if (survas.empty()) {
    response().Clear();
    // The misspelt word and the head that opens twice are the page's own.
    Write("<HTML><HEAD><TITLE>surva</TITLE><HEAD><BODY bgcolor=white><BR><blockquote>"
          "<font face=tahoma color=red size=2><B>Sorry, surva does not exist or does not accept anonymous "
          "autorisation.</B>"
          "</FONT></BLOCKQUOTE></BODY></HTML>");
    return;
  }
  session().Set("ThankYouPage", survas.First()["ThankYouPage"]);
  session().Set("anonymous", 1);
  const std::int64_t student = db.AddNew(data::tables::kAnonymousStudent)
                                   .Set("IPAddress", request().ServerVariable("REMOTE_ADDR"))
                                   .Set("CreateDate", clock().Now())
                                   .SetNull("FillDate")
                                   .Set("SurvaVersionID", version)
                                   .Update();
  session().Set("StudentID", student);
  session().Set("SurvaVersionID", version);
  ShowBlankForm(version);
}

std::string FillForm::Filling() {
  const std::string student = session()["StudentID"].Text();
  return session()["anonymous"].Is(1) ? "anonymous filling " + student
                                      : "filling " + student + " " + session()["ScheduleID"].Text();
}

void FillForm::WriteFormHead(std::string_view surva) {
  Write("<form action=surva.asp method=post><input type=hidden name=FormAccepted value=", surva,
        ">"
        "<TABLE align=\"center\" width=\"90%\" BORDER=\"0\" cellspacing=\"0\" cellpadding=\"2\""
        " style=\"font-family: Tahoma; font-size: 8pt\">");
}

void FillForm::WriteFormEnd(std::string_view button_row_end) {
  Write("<TR><TD align=left bgcolor=white><font face=tahoma size=2 color=red><B>*)</B></font>"
        "<font face=Tahoma size=2 color=black>&nbsp;Required question.</font></td>"
        "<TD align=right bgcolor=white><BR><INPUT type=submit name=AcceptButton Value=\"Accept answers\">",
        button_row_end, "</Table></Form>");
}

void FillForm::ShowBlankForm(std::string_view surva) {
  response().Clear();
  data::Connection& db = OpenConnection();
  // Going back to the blank form starts from nothing. Most visits have stored nothing yet, and asking first spares them
  // a writer's turn.
  const Value& student = session()["StudentID"];
  if (session()["anonymous"].Is(1)) {
    const data::Piece marks[] = {" from AnonymousMark where StudentID=", Number(student)};
    if (!db.Query({"select AnonymousMarkID", marks[0], marks[1], " limit 1"}).empty()) {
      db.Lock(Filling());
      db.Execute({"delete", marks[0], marks[1]});
    }
  } else {
    const data::Piece marks[] = {" from Mark where StudentID=", Number(student),
                                 " and ScheduleID=", Number(session()["ScheduleID"])};
    if (!db.Query({"select MarkID", marks[0], marks[1], marks[2], marks[3], " limit 1"}).empty()) {
      db.Lock(Filling());
      db.Execute({"delete", marks[0], marks[1], marks[2], marks[3]});
    }
  }
  FormWalk walk(*this, db, surva);
  response().LeadFormTo(walk.Version()["ThankYouPage"].Text());
  const bool display_menu = walk.Version()["DisplayMenu"].IsTrue();
  if (display_menu) WriteHeaders();
  WriteFormHead(surva);
  walk.WriteRows(nullptr);
  WriteFormEnd("</td><TR>");
  if (display_menu) WriteFooters();
}

void FillForm::PreView(std::string_view surva, const Value& student, const Value& schedule) {
  data::Connection& db = OpenConnection();
  FormWalk walk(*this, db, surva);
  ShowStoredForm(surva, walk, StoredAnswers::Named(db, student, schedule));
}

void FillForm::ShowStoredForm(std::string_view surva, FormWalk& walk, StoredAnswers answers) {
  response().Clear();
  data::Connection& db = OpenConnection();
  response().LeadFormTo(walk.Version()["ThankYouPage"].Text());
  const bool display_menu = walk.Version()["DisplayMenu"].IsTrue();
  if (display_menu) WriteHeaders();
  session().Set("NotAnswered", 0);
  WriteFormHead(surva);
  // Nobody sees the rows of a form that is finished.
  if (!walk.IsAnswered(answers)) walk.WriteRows(&answers);
  if (!session()["NotAnswered"].IsTrue()) FinishFilling(db, walk.Version()["ThankYouPage"], display_menu);
  WriteFormEnd("</TD><TR>");
  if (display_menu) WriteFooters();
}

}  // namespace surva
