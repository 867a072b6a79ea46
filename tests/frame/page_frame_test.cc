// The frames of the staff pages, and the error block in them.
#include <functional>

#include "tests/support/empty_page.h"
#include "tests/support/page_harness.h"
#include "tests/support/test_database.h"

namespace surva::test {
namespace {

class Frames : public ::testing::Test {
 protected:
  Frames() { visitor.variables.script_name = "/admin/Company.asp"; }
  Answer Get(const Menu& menu, const NameValues& query = {}) { return visitor.Serve<EmptyPage>(query, {}, menu); }

  TestDatabase database{data::Dialect::kSqlite};
  Visitor visitor{*database};
};

const std::string kHead = "<HTML><HEAD><TITLE>surva</TITLE><meta name=\"author\" CONTENT=\"A. Uthor\">"
                          "<meta http-equiv=\"Content-Type\"content=\"text/html; charset=windows-1252\">"
                          "<LINK href=\"css/layout.css\" rel=stylesheet type=text/css></HEAD>";
const std::string kBody = "<BODY bgcolor=white leftMargin=0 topMargin=0 marginwidth=0 marginheight=0>";
const std::string kSpacer = "<TR><TD>&nbsp;</TD></TR>";
const std::string kPlainTable = "<TABLE border=0 cellPadding=0 cellSpacing=0>";
const std::string kWideTable = "<TABLE border=0 cellPadding=0 cellSpacing=0 width=100%>";
const std::string kBullet = "<IMG alt=\"\" height=5 src=images/sq.gif width=21>";
const std::string kHomeLink =
    "<P><font face=tahoma size=1><A href=http://home.example/ style=color:#000000>Example Training</a></FONT>";
const std::string kFooter = "</TD></TR></TBODY></TABLE><CENTER>" + kHomeLink + "</CENTER></BODY></HTML>";

std::string Entry(const std::string& address, const std::string& caption) {
  return "<TR><TD>" + kBullet + "<A HREF=" + address + ">" + caption + "</A></TD></TR>";
}
std::string Heading(const std::string& heading) {
  return "<tr><TH align=center valign=top><Font color=#003399 size=3 face=tahoma>" + heading +
         "</Font></th></TR><tr><td bgcolor=#003399 size=1></td></tr>" + kSpacer;
}
std::string Top(const std::string& outer_table) {
  return "<SCRIPT language=JavaScript src=\"Java/Events.js\"></SCRIPT><SCRIPT language=JavaScript src=\"Java/Surva.js\"></SCRIPT>"
         "<DIV id=TBDownLevelDiv></DIV><SCRIPT language=JavaScript>{TBDownLevelDiv.style.display ='none';drawToolbar();}</SCRIPT>" +
         outer_table +
         "<TBODY><TR><TD vAlign=top width=140><TABLE border=0 cellPadding=0 cellSpacing=0 width=140><TBODY>" + kSpacer;
}
std::string Bottom(const std::string& spacers, const std::string& content_cell = "<TD>") {
  return "<SCRIPT>\rfunction openHelp() {\r var help=window.open(\"help.asp?topic=/admin/Company.asp\",null,"
         "\"status=yes,toolbar=yes,menubar=no,location=no\");\r}\r</SCRIPT>\r"
         "<TR><TD><A HREF=\"javascript:openHelp()\"><IMG border=0 alt=\"Help\" src=images/help.gif ></A></TD></TR>" +
         spacers +
         "</TBODY></TABLE></TD><TD bgColor=#003399 VAlign=top width=1><IMG alt=\"\" height=1 src=images/pixel.gif width=1></TD>"
         "<TD vAlign=top width=6><IMG alt=\"\" height=1 src=images/pixel.gif width=6></TD>" +
         content_cell;
}
std::string StaffPage(const std::string& outer_table, const std::string& menu) {
  return kHead + kBody + Top(outer_table) + menu + Bottom(kSpacer + kSpacer) + kFooter;
}
std::string Entries(const std::string& entries) {
  return "<TR><TD></TD></TR>" + entries + kSpacer;
}

TEST_F(Frames, OfEveryClass) {
  struct Case {
    const Menu& menu;
    std::string page;
  };
  const Case cases[] = {
      {menus::kDefault, kHead + kBody + Top(kPlainTable) +
                            Bottom(kSpacer + kSpacer + kSpacer + kSpacer + kSpacer + kSpacer + kSpacer) + kFooter},
      {menus::kCompany,
       StaffPage(kPlainTable, Heading("Companies") + Entries(Entry("company.asp?Action=P", "Find and modify") +
                                                             Entry("company.asp?Add=1", "Add a new company")))},
      {menus::kStudent,
       StaffPage(kPlainTable, Heading("Students") + Entries(Entry("Student.asp?Action=P", "Find and modify") +
                                                            Entry("Student.asp?Add=1", "Add a new student")))},
      {menus::kTrainer,
       StaffPage(kPlainTable, Heading("Trainers") + Entries(Entry("Trainer.asp?Action=P", "Find and modify") +
                                                            Entry("Trainer.asp?Add=1", "Add a new trainer")))},
      {menus::kTraining,
       StaffPage(kPlainTable, Heading("Trainings") + Entries(Entry("training.asp?Action=P", "Find and modify") +
                                                             Entry("training.asp?Add=1", "Add a new training")))},
      {menus::kSchedule,
       StaffPage(kPlainTable,
                 Heading("Events") + Entries(Entry("Schedule.asp?Action=P target=_parent", "Preview and modify") +
                                             Entry("Schedule.asp?Add=1 target=_parent", "Add a new event")))},
      {menus::kList,
       StaffPage(kPlainTable, Entries(Entry("Trainer.asp?Action=P", "View") + Entry("Trainer.asp?Add=1", "Add")))},
      {menus::kStat, StaffPage(kPlainTable, Heading("Statistics") + Entries(Entry("stat.asp?Action=P", "General") +
                                                                            Entry("stat.asp?Criteria=1", "Detailed") +
                                                                            Entry("stat.asp?CriteriaA=1", "Anonymous") +
                                                                            Entry("stat.asp?Remarks=1", "Remarks")))},
      {menus::kBrowse,
       StaffPage(kWideTable,
                 Heading("Statistics") + Entries(Entry("browse.asp?browseforms=1&ScheduleID=7", "Preview survas") +
                                                 Entry("browse.asp?Stats=1&ScheduleID=7", "Statistics")))},
      {menus::kBrowseAnonymous,
       StaffPage(kWideTable,
                 Heading("Statistics") + Entries(Entry("browse.asp?browseformsA=1&ScheduleID=7", "Preview survas") +
                                                 Entry("browse.asp?StatsA=1&ScheduleID=7", "Statistics")))},
      {menus::kCreateForm,
       kHead + kBody + Top("<TABLE border=0 cellPadding=0 cellSpacing=0 wieth=90% align=left>") + Heading("survas") +
           "<TR><TD></TD></TR>" + Entry("CreateForm.asp", "Find and modify") + kSpacer +
           "<tr><td bgcolor=#003399 size=1></td></tr>"
           "<TR><TD align=left><font color=navy>&nbsp;&nbsp;&nbsp;Create a new surva<BR>&nbsp;&nbsp;&nbsp;based on:</font></TD></TR>"
           "<TR><TD>&nbsp;&nbsp;" +
           kBullet +
           "<A HREF=CreateForm.asp?CreateEmptySurva=1>an empty surva</A></TD></TR>"
           "<TR><TD>&nbsp;&nbsp;" +
           kBullet + "<A HREF=CreateForm.asp?CreateNewSurva=1>an existing surva</A></TD></TR>" + kSpacer +
           Bottom(kSpacer + kSpacer, "<TD width=90%><BR>") +
           "</TD></TR><TR><TD colspan=4 align=center><BR><BR><CENTER>" + kHomeLink +
           "</CENTER></TD></TR></TBODY></TABLE></BODY></HTML>"},
  };
  for (const Case& one : cases) {
    visitor.session().set_timeout(20);
    EXPECT_EQ(Get(one.menu, {{"scheduleid", "7"}}).page, one.page);
    EXPECT_EQ(visitor.session().timeout(), 360);
  }
  EXPECT_TRUE(Get(menus::kBrowse).Holds("&ScheduleID=>Statistics"));
}

TEST_F(Frames, AMessageShowsOnce) {
  visitor.session().Set("ErrorMsg", "Don't 'shout'");
  visitor.homepage = "";
  const Answer answer = Get(menus::kStat);
  EXPECT_TRUE(answer.page.starts_with(kHead + "<SCRIPT language=JScript>alert('Don't 'shout'');</SCRIPT>" + kBody))
      << answer.page;
  EXPECT_TRUE(answer.Holds("<A href= style=color:#000000>"));
  EXPECT_FALSE(Get(menus::kStat).Holds("alert"));
  EXPECT_TRUE(visitor.session()["ErrorMsg"].IsEmpty());
}

// A page that does what its test says.
class ScriptedPage final : public PageObject {
 public:
  ScriptedPage(PageContext& context, const std::function<void(ScriptedPage&)>& script)
      : PageObject(context), script_(script) {}
  void WebClass_Start() override { script_(*this); }
  void WriteHeaders() override { WriteStaffHeaders(*this, menus::kList); }
  void WriteFooters() override { WriteStaffFooters(*this, menus::kList); }
  using PageObject::OpenConnection;
  using PageObject::Write;

 private:
  const std::function<void(ScriptedPage&)>& script_;
};

TEST_F(Frames, ShortOnes) {
  const std::function<void(ScriptedPage&)> popup = [](ScriptedPage& page) {
    WritePopupHeaders(page);
    page.Write("content");
    WritePopupFooters(page);
  };
  visitor.session().Set("ErrorMsg", "kept");
  EXPECT_EQ(visitor.Serve<ScriptedPage>({}, {}, popup).page,
            kHead + kBody + "content<CENTER>" + kHomeLink + "</CENTER></BODY></HTML>");
  EXPECT_EQ(visitor.session().timeout(), 360);
  const std::function<void(ScriptedPage&)> lower = [](ScriptedPage& page) { WriteLowerFrameHeaders(page); };
  visitor.session().set_timeout(20);
  EXPECT_EQ(visitor.Serve<ScriptedPage>({}, {}, lower).page,
            kHead + kBody +
                "<TABLE border=0 cellPadding=0 cellSpacing=0 width=83%><TBODY><TR><TD vAlign=top width=140>"
                "<TABLE border=0 cellPadding=0 cellSpacing=0 width=120><TBODY>" +
                kSpacer + kSpacer +
                "</TBODY></TABLE></TD>"
                "<TD bgColor=#003399 vAlign=top width=1><IMG alt=\"\" height=1 src=images/pixel.gif width=1></TD>"
                "<TD vAlign=top width=6><IMG alt=\"\" height=1 src=images/pixel.gif width=6></TD><TD>");
  EXPECT_EQ(visitor.session().timeout(), 20);
  EXPECT_EQ(visitor.session()["ErrorMsg"].Text(), "kept") << "only the staff frame shows the message";
}

TEST_F(Frames, AFaultHalfwayLeavesTheBlockAlone) {
  using Script = std::function<void(ScriptedPage&)>;
  struct Case {
    Script script;
    std::string block;
  };
  const auto block = [](const std::string& text) {
    return "<BLOCKQUOTE><BR><font face=tahoma color=red size=2><B>Error occurred</B><BR><BR>" + text +
           "</font><BR></BLOCKQUOTE>";
  };
  const Case cases[] = {
      {[](ScriptedPage&) { throw Fault::TypeMismatch(); },
       block(
           "Error number: -2147352571<BR>Error source: surva<BR>Error in file: surva.dll<BR>Error description: Type mismatch.<BR>"
           "Error cause: You have entered an incorrect value.")},
      {[](ScriptedPage&) { throw Fault::Overflow(); },
       block("Error number: 6<BR>Error source: surva<BR>Error in file: surva.dll<BR>Error description: Overflow<BR>")},
      {[](ScriptedPage& page) { page.OpenConnection().Query({"select <b> from Nowhere"}); },
       block("Error number: -2147217900<BR>Error source: surva database<BR>Error in file: surva.dll<BR>"
             "Error description: Syntax error in query expression.<BR>")},
  };
  const std::string framed = Get(menus::kList).page;
  const std::size_t content = framed.size() - kFooter.size();
  for (const Case& one : cases) {
    const Script script = [&one](ScriptedPage& page) {
      page.WriteHeaders();
      page.Write("half a page");
      one.script(page);
    };
    const Answer answer = visitor.Serve<ScriptedPage>({}, {}, script);
    EXPECT_EQ(answer.page, std::string(framed).insert(content, one.block));
    EXPECT_EQ(answer.response.scripts().size(), 2U) << "of the scripts that were thrown away none is allowed twice";
  }
}

}  // namespace
}  // namespace surva::test
