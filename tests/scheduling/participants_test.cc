// The two frames of an event, enrolment and removal, PINs, and their sheet.
#include "tests/scheduling/planner.h"

namespace surva::test {
namespace {

using namespace data::tables;

class Participants : public Planner {
 protected:
  // Students 61 and 62 of Ames, 63 of a company of no name, 64 of none.
  void AddStudents() {
    Add(kCompany, {{"CompanyName", "Ames, a company whose name is longer than forty characters"}});
    Add(kCompany, {{"CompanyName", ""}});
    Add(kStudent, {{"CompanyID", 71}, {"FirstName", "Zo\u00eb"}, {"LastName", "Lee"}});
    Add(kStudent, {{"CompanyID", 71}, {"FirstName", "Al"}, {"LastName", "\u017buk\u00e9wska"}});
    Add(kStudent, {{"CompanyID", 72}, {"FirstName", "Al"}, {"LastName", "Lee"}});
    Add(kStudent, {{"FirstName", "No"}, {"LastName", "Company"}});
  }
  std::string Enrolled() { return Read({"select * from Participant order by ParticipantID"}); }
  Answer Enrol(const std::string& student, NameValues more = {}) {
    more.insert(more.end(), {{"ModDown", "41"}, {"filtr", ""}, {"StudentID", student}, {"Choose", "Choose"}});
    return Post(more);
  }
};
SURVA_ON_BOTH_ENGINES(Participants);

TEST_P(Participants, Picker) {
  AddEvent();
  AddStudents();
  const std::string page = Get({{"ModUp", "41"}}).page;
  const std::string body = page.substr(page.find("pixel.gif width=6></TD><TD>") + 27);
  EXPECT_EQ(body,
            "<br><form Action=schedule.asp method=post target=bottom><input type=hidden name=ModDown value=41>"
            "<TABLE BORDER=0 cellspacing=0 cellpadding=2 width=98%>"
            "<TR><TH align=left colspan=2><font color=navy>C++ <20>&nbsp;&nbsp;&nbsp;O1</font></th></tr>"
            "<TR><Td colspan=2 bgcolor=#6699FF size=1></td></tr>"
            "<TR><Td bgcolor=#FFFFEE align=left><font color=black>Trainer:Kay&nbsp;Ann</font>&nbsp;&nbsp;Period:"
            "9/2 to 13/2<br>Place of training:&nbsp;Hall A</td>"
            "<td  bgcolor=#FFFFEE align=right><a target=_parent href=schedule.asp?ModSch1=41 "
            "style=\"font-family: Tahoma; color: blue\"><b>Modify</b></a></td></tr>"
            "<TR><Td colspan=2 bgcolor=#6699FF size=1></td></tr></table><br>"
            "<TABLE BORDER=0 cellspacing=0 cellpadding=2><tr align=left><th>Choose students:</td></th><tr><td>"
            "<form name=f1><script language=vbscript>dim a(2)\r"
            "a(0)=\"LEE AL\"\ra(1)=\"LEE ZO\"\ra(2)=\"\u017bUK\u00c9WS\"\r"
            "Sub lista()\rDim i\rText = UCase(document.All.filtr.Value)\rfor i=0 to 2\r"
            "If Left(a(i), Len(Text)) = Text Then\rdocument.All.StudentID.selectedIndex = i & \"\"\rExit For\r"
            "End If\rNext\rEnd Sub\r</script>\r"
            "<input type=text name=filtr size=20  onkeyup=lista()><font face=arial size=1 color=red>"
            "To find a student enter here first letters of his/her last name</font><BR>"
            "<select name=StudentID size=3><option value=\"63\">Lee&nbsp;Al&nbsp;</option>"
            "<option value=\"61\">Lee&nbsp;Zo\u00eb&nbsp;-&nbsp;Ames, a company whose name is longer tha&nbsp;</option>"
            "<option value=\"62\">\u017buk\u00e9wska&nbsp;Al&nbsp;-&nbsp;Ames, a company whose name is longer tha"
            "&nbsp;</option></select><br>"
            "<INPUT style=\"font-family: Tahoma; font-size: 8pt\" TYPE=Submit Name=Choose Value=Choose></td></tr>"
            "</table></form></TD></TR></TBODY></TABLE></TD></TR></TBODY></TABLE>");
}

TEST_P(Participants, PickerWithoutStudents) {
  AddEvent();
  const Answer answer = Get({{"ModUp", "41"}});
  EXPECT_TRUE(answer.Holds("<script language=vbscript>dim a(-1)\rSub lista()\r"));
  EXPECT_TRUE(answer.Holds("\rfor i=0 to -1\r"));
  EXPECT_TRUE(answer.Holds("<select name=StudentID size=3></select><br>"));
  EXPECT_EQ(Get({{"ModUp", "42"}}).faults, Faults{FaultNumber::kNoCurrentRow});
  EXPECT_EQ(Get({{"ModUp", "x"}}).faults, Faults{FaultNumber::kStatementFailed});
}

TEST_P(Participants, LowerFrame) {
  AddEvent();
  AddStudents();
  const std::string open =
      "<HTML><HEAD><TITLE>surva</TITLE><meta name=\"author\" CONTENT=\"A. Uthor\">"
      "<meta http-equiv=\"Content-Type\"content=\"text/html; charset=windows-1252\">"
      "<LINK href=\"css/layout.css\" rel=stylesheet type=text/css></HEAD>"
      "<BODY bgcolor=white leftMargin=0 topMargin=0 marginwidth=0 marginheight=0>"
      "<TABLE border=0 cellPadding=0 cellSpacing=0 width=83%><TBODY><TR><TD vAlign=top width=140>"
      "<TABLE border=0 cellPadding=0 cellSpacing=0 width=120><TBODY><TR><TD>&nbsp;</TD></TR><TR><TD>&nbsp;</TD></TR>"
      "</TBODY></TABLE></TD><TD bgColor=#003399 vAlign=top width=1>"
      "<IMG alt=\"\" height=1 src=images/pixel.gif width=1></TD>"
      "<TD vAlign=top width=6><IMG alt=\"\" height=1 src=images/pixel.gif width=6></TD><TD>"
      "<form Action=schedule.asp Method=POST target=_self><Input Type=Hidden Name=ModDown value=41>"
      "<Input Type=Hidden Name=ScheduleID value=41><TABLE BORDER=0 cellspacing=0 cellpadding=2 width=98%>"
      "<TR align=left><Th>First name</font></th><Th>Last name</font></th><Th>Company</font></th>"
      "<td align=center><a target=_parent href=list.asp?Schedule=41 style=\"font-family: Tahoma;color: blue\">"
      "<b>&nbsp;List of PIN numbers&nbsp;</b></a></td></tr>";
  const std::string rule = "<TR><Td colspan=4 bgcolor=#6699FF size=1></td></tr>";
  const std::string close =
      "</table></TD></TR></TBODY></TABLE></form><TABLE><TBOBY><TR><TD></TD></TR></TBODY></TABLE>"
      "<CENTER><P><font face=tahoma size=1><A href=http://home.example/ style=color:#000000>Example Training</a></FONT>"
      "</CENTER></BODY></HTML>";
  EXPECT_EQ(Get({{"ModDown", "41"}}).page, open + rule + "<tr><Td colspan=4 align=right>" + close);
  EXPECT_EQ(visitor.session().timeout(), 0) << "the lower frame leaves the time-out alone";

  Add(kParticipant, {{"ScheduleID", 41}, {"StudentID", 62}, {"PIN", "17"}});
  Add(kParticipant, {{"ScheduleID", 41}, {"StudentID", 63}, {"PIN", ""}});
  Add(kParticipant, {{"ScheduleID", 41}, {"StudentID", 61}});
  Add(kParticipant, {{"ScheduleID", 41}, {"StudentID", 64}, {"PIN", "18"}});
  Add(kParticipant, {{"ScheduleID", 42}, {"StudentID", 61}, {"PIN", "19"}});
  const auto row = [&](const std::string& first, const std::string& student, const std::string& last,
                       const std::string& company, const std::string& box) {
    return "<TR align=left>" + rule + "<Td>" + first + "&nbsp;</td><Td><a href=student.asp?Modify=" + student +
           " target=_parent>" + last + "</a>&nbsp;</td><Td>" + company + "&nbsp;</td><td align=center>" + box +
           "</td></tr>";
  };
  const std::string ames = "Ames, a company whose name is longer than forty characters";
  EXPECT_EQ(Get({{"ModDown", "41"}}).page,
            open + row("Al", "63", "Lee", "", "-") + row("Zo\u00eb", "61", "Lee", ames, "-") +
                row("Al", "62", "\u017buk\u00e9wska", ames, "<input type=checkbox name=\"ToN\" value=51>") + rule +
                "<tr><Td colspan=4 align=right><INPUT style=\"font-family: Tahoma; font-size: 8pt\" TYPE=Submit "
                "Name=Delete Value=Delete></td></tr>" +
                close);
}

TEST_P(Participants, Pins) {
  AddEvent();
  AddStudents();
  struct Case {
    DateTime now;
    std::string student;
    NameValues more;
    std::string pin;
  };
  for (const Case& one : std::initializer_list<Case>{
           {{2004, 3, 1, 14, 5, 10}, "61", {}, "145061"},
           {{2004, 3, 1, 14, 5, 0}, "62", {}, "5062"},
           {{2004, 3, 1, 0, 0, 0}, "62", {}, "0062"},
           {{2004, 3, 1, 23, 59, 59}, "62", {}, "1416062"},
           {{2004, 3, 1, 14, 5, 10}, "61", {{"ScheduleID", "41"}}, "14541061"},  // a control that our form has not
           {{2004, 3, 1, 14, 5, 10}, "61", {{"ScheduleID", "0.25"}}, "1452.561"},
       }) {
    visitor.clock.now = one.now;
    const Answer answer = Enrol(one.student, one.more);
    EXPECT_EQ(
        Read({"select ScheduleID, StudentID, PIN, FillDate from Participant order by ParticipantID desc limit 1"}),
        "41," + one.student + "," + one.pin + ",-");
    EXPECT_FALSE(answer.Holds(one.pin)) << "the frame shows no PIN";
    EXPECT_TRUE(answer.Holds("Modify=" + one.student));
  }
}

TEST_P(Participants, PinsAreMadeOfTwoLooksAtTheClock) {
  AddEvent();
  AddStudents();
  struct TickingClock final : Clock {
    DateTime Now() const override { return {2004, 3, 1, 10, 20, 29 + ++looks}; }
    mutable int looks = 0;
  } clock;
  const Request request({}, {{"ModDown", "41"}, {"StudentID", "61"}, {"Choose", "Choose"}, {"ScheduleID", "2"}}, {});
  Response response;
  Session session;
  session.Provide("DSN", database.dsn());
  data::Connection connection(*database);
  PageContext context{request, response, session, connection, visitor.owner, clock, {}};
  Schedule(context).Serve();
  connection.Commit();
  EXPECT_EQ(Read({"select PIN from Participant"}), "3206261") << "30*10+20, then 31*2, then the student";
}

TEST_P(Participants, EnrolmentAndRemoval) {
  AddEvent();
  AddStudents();
  visitor.clock.now = {2004, 3, 1, 1, 0, 1};
  Enrol("61");
  Enrol("61");  // nothing keeps a student from coming twice
  Enrol("62");
  EXPECT_EQ(Enrolled(), "51,41,61,1061,- 52,41,61,1061,- 53,41,62,1062,-");
  Enrol("");
  Post({{"ModDown", "41"}, {"StudentID", "62"}, {"Choose", "choose"}});
  Post({{"ModDown", "41"}, {"ToN", "51"}, {"Delete", "delete"}});
  EXPECT_EQ(Enrolled(), "51,41,61,1061,- 52,41,61,1061,- 53,41,62,1062,-") << "none of these was asked for";

  const auto other = Add(kParticipant, {{"ScheduleID", 42}, {"StudentID", 61}, {"PIN", "9"}});
  const Answer answer = Post({{"ModDown", "41"}, {"ToN", "51"}, {"ToN", std::to_string(other)}, {"Delete", "Delete"}});
  EXPECT_EQ(Enrolled(), "52,41,61,1061,- 53,41,62,1062,-") << "a row of another event goes all the same";
  EXPECT_EQ(answer.Count("name=\"ToN\""), 2);
  // The boxes come from the form alone.
  visitor.Serve<Schedule>(NameValues{{"ToN", "52"}}, NameValues{{"ModDown", "41"}, {"Delete", "Delete"}});
  EXPECT_EQ(Enrolled(), "52,41,61,1061,- 53,41,62,1062,-");
}

TEST_P(Participants, Refused) {
  AddEvent();
  AddStudents();
  Enrol("61");
  const std::string before = Enrolled();
  using enum FaultNumber;
  EXPECT_EQ(Enrol("Lee").faults, Faults{kTypeMismatch});
  EXPECT_EQ(Enrol("61, 62").faults, Faults{kTypeMismatch});
  EXPECT_EQ(Enrol("61", {{"ScheduleID", "x"}}).faults, Faults{kTypeMismatch});
  EXPECT_EQ(Post({{"ModDown", "x"}, {"StudentID", "61"}, {"Choose", "Choose"}}).faults, Faults{kTypeMismatch});
  EXPECT_EQ(Get({{"ModDown", "41)or(1=1"}}).faults, Faults{kStatementFailed});
  EXPECT_EQ(Post({{"ModDown", "41"}, {"ToN", "51 or 1=1"}, {"Delete", "Delete"}}).faults, Faults{kStatementFailed});
  EXPECT_EQ(Enrolled(), before);
  // What was removed before the failure stays removed.
  Enrol("62");
  EXPECT_EQ(Post({{"ModDown", "41"}, {"ToN", "51"}, {"ToN", ""}, {"ToN", "52"}, {"Delete", "Delete"}}).faults,
            Faults{kStatementFailed});
  EXPECT_EQ(Read({"select ParticipantID from Participant"}), "52");
}

TEST_P(Participants, ListOfPins) {
  AddEvent();
  AddStudents();
  visitor.variables.script_name = "/admin/list.asp";
  const auto sheet = [&](const char* id) { return visitor.Serve<List>(NameValues{{"Schedule", id}}, NameValues{}); };
  const std::string open = "<HTML><HEAD><TITLE>surva</TITLE><meta name=\"author\" CONTENT=\"A. Uthor\">"
                           "<meta http-equiv=\"Content-Type\"content=\"text/html; charset=windows-1252\">"
                           "<LINK href=\"css/layout.css\" rel=stylesheet type=text/css></HEAD>"
                           "<BODY bgcolor=white leftMargin=0 topMargin=0 marginwidth=0 marginheight=0>"
                           "<br><table width=99% align=center cellspacing=0 cellpadding=2>"
                           "<tr><th bgcolor=black align=left><font color=white>C++ <20>&nbsp;&nbsp;O1</font></th></tr>"
                           "<tr><td>Period:&nbsp;9/2-13/2&nbsp;&nbsp;Trainer:&nbsp;Kay&nbsp;Ann</td></tr>"
                           "<tr><td>Place of training:&nbsp;Hall A</td></tr><tr size=1><td colspan=3></td></tr>"
                           "<tr bgcolor=black size=1><td colspan=2></td></tr></table>"
                           "<table width=99% align=center cellspacing=0 cellpadding=2>"
                           "<tr align=left><th>Last name</th><th>First name</th><th>PIN</th></tr>"
                           "<tr bgcolor=black size=1><td colspan=3></td></tr>";
  EXPECT_EQ(sheet("41").page, open + "</table></body></html>");

  Add(kParticipant, {{"ScheduleID", 41}, {"StudentID", 62}, {"PIN", "0017"}});
  Add(kParticipant, {{"ScheduleID", 41}, {"StudentID", 61}, {"PIN", ""}});
  Add(kParticipant, {{"ScheduleID", 41}, {"StudentID", 63}, {"PIN", "18"}});
  Add(kParticipant, {{"ScheduleID", 41}, {"StudentID", 64}});
  Add(kParticipant, {{"ScheduleID", 41}, {"StudentID", 63}, {"PIN", "15"}});
  Add(kParticipant, {{"ScheduleID", 41}, {"StudentID", 99}, {"PIN", "19"}});
  Add(kParticipant, {{"ScheduleID", 42}, {"StudentID", 61}, {"PIN", "20"}});
  const auto row = [](const std::string& last, const std::string& first, const std::string& pin) {
    return "<TR align=left><Td>" + last + "</td><Td>" + first + "</td><td>" + pin + "</td></tr>";
  };
  EXPECT_EQ(sheet("41").page, open + row("Company", "No", "Form filled") + row("Lee", "Al", "18") +
                                  row("Lee", "Al", "15") + row("Lee", "Zo\u00eb", "Form filled") +
                                  row("\u017buk\u00e9wska", "Al", "0017") + "</table></body></html>");

  for (const auto& [id, fault] : {std::pair("", FaultNumber::kStatementFailed),
                                  {"x", FaultNumber::kStatementFailed},
                                  {"42", FaultNumber::kNoCurrentRow}}) {
    const Answer answer = sheet(id);
    EXPECT_EQ(answer.faults, Faults{fault});
    EXPECT_TRUE(answer.Holds("<A HREF=Trainer.asp?Action=P>View</A>"));
    EXPECT_EQ(StaffBody(answer.page).substr(0, 16), "<BLOCKQUOTE><BR>");
  }
}

}  // namespace
}  // namespace surva::test
