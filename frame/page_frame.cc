#include "frame/page_frame.h"

#include <cassert>
#include <string>

#include "frame/page_object.h"

namespace surva {
namespace {

constexpr std::string_view kWideTable = "<TABLE border=0 cellPadding=0 cellSpacing=0 width=100%>";

constexpr MenuEntry kCompanyEntries[] = {{"company.asp?Action=P", "Find and modify"},
                                         {"company.asp?Add=1", "Add a new company"}};
constexpr MenuEntry kStudentEntries[] = {{"Student.asp?Action=P", "Find and modify"},
                                         {"Student.asp?Add=1", "Add a new student"}};
constexpr MenuEntry kTrainerEntries[] = {{"Trainer.asp?Action=P", "Find and modify"},
                                         {"Trainer.asp?Add=1", "Add a new trainer"}};
constexpr MenuEntry kTrainingEntries[] = {{"training.asp?Action=P", "Find and modify"},
                                          {"training.asp?Add=1", "Add a new training"}};
constexpr MenuEntry kScheduleEntries[] = {{"Schedule.asp?Action=P target=_parent", "Preview and modify"},
                                          {"Schedule.asp?Add=1 target=_parent", "Add a new event"}};
// The PIN list shows this frame around an error alone, with the trainers' links.
constexpr MenuEntry kListEntries[] = {{"Trainer.asp?Action=P", "View"}, {"Trainer.asp?Add=1", "Add"}};
constexpr MenuEntry kStatEntries[] = {{"stat.asp?Action=P", "General"},
                                      {"stat.asp?Criteria=1", "Detailed"},
                                      {"stat.asp?CriteriaA=1", "Anonymous"},
                                      {"stat.asp?Remarks=1", "Remarks"}};
constexpr MenuEntry kBrowseEntries[] = {{"browse.asp?browseforms=1&ScheduleID=", "Preview survas", true},
                                        {"browse.asp?Stats=1&ScheduleID=", "Statistics", true}};
constexpr MenuEntry kBrowseAnonymousEntries[] = {{"browse.asp?browseformsA=1&ScheduleID=", "Preview survas", true},
                                                 {"browse.asp?StatsA=1&ScheduleID=", "Statistics", true}};
constexpr MenuEntry kCreateFormEntries[] = {{"CreateForm.asp", "Find and modify"},
                                            {"CreateForm.asp?CreateEmptySurva=1", "an empty surva"},
                                            {"CreateForm.asp?CreateNewSurva=1", "an existing surva"}};

constexpr std::string_view kBullet = "<IMG alt=\"\" height=5 src=images/sq.gif width=21>";
constexpr std::string_view kSpacerRow = "<TR><TD>&nbsp;</TD></TR>";
constexpr std::string_view kRule = "<TD bgColor=#003399 VAlign=top width=1>";
constexpr std::string_view kLowerFrameRule = "<TD bgColor=#003399 vAlign=top width=1>";
constexpr std::string_view kPixel = "<IMG alt=\"\" height=1 src=images/pixel.gif width=1></TD>";
constexpr std::string_view kMargin = "<TD vAlign=top width=6><IMG alt=\"\" height=1 src=images/pixel.gif width=6></TD>";
constexpr std::string_view kToolbar = "{TBDownLevelDiv.style.display ='none';drawToolbar();}";

void WriteLink(PageObject& page, const MenuEntry& entry) {
  Response& out = page.response();
  out.Write(kBullet, "<A HREF=", entry.address);
  if (entry.names_event) out.Write(page.request()("ScheduleID"));
  out.Write(">", entry.caption, "</A></TD></TR>");
}

void WriteEntries(PageObject& page, const Menu& menu) {
  Response& out = page.response();
  if (menu.entries.empty()) return;
  out.Write("<TR><TD></TD></TR>");
  if (menu.of_designer) {
    assert(menu.entries.size() > 1 && "the first entry finds, the others create");
    out.Write("<TR><TD>");
    WriteLink(page, menu.entries[0]);
    out.Write(kSpacerRow, "<tr><td bgcolor=#003399 size=1></td></tr>",
              "<TR><TD align=left><font color=navy>&nbsp;&nbsp;&nbsp;Create a new surva<BR>"
              "&nbsp;&nbsp;&nbsp;based on:</font></TD></TR>");
    for (const MenuEntry& entry : menu.entries.subspan(1)) {
      out.Write("<TR><TD>&nbsp;&nbsp;");
      WriteLink(page, entry);
    }
  } else {
    for (const MenuEntry& entry : menu.entries) {
      out.Write("<TR><TD>");
      WriteLink(page, entry);
    }
  }
  out.Write(kSpacerRow);
}

void WriteHelp(PageObject& page) {
  std::string script = "\rfunction openHelp() {\r"
                       " var help=window.open(\"help.asp?topic=";
  script += page.request().ServerVariable("SCRIPT_NAME");
  script += "\",null,\"status=yes,toolbar=yes,menubar=no,location=no\");\r"
            "}\r";
  Response& out = page.response();
  out.Write("<SCRIPT>", script, "</SCRIPT>\r");
  out.AllowScript(script);
  out.Write("<TR><TD>"
            "<A HREF=\"javascript:openHelp()\"><IMG border=0 alt=\"Help\" src=images/help.gif >"
            "</A></TD></TR>");
}

void WriteErrorMessage(PageObject& page) {
  const std::string message = page.session()["ErrorMsg"].Text();
  if (message.empty()) return;
  const std::string script = "alert('" + message + "');";
  page.response().Write("<SCRIPT language=JScript>", script, "</SCRIPT>");
  page.response().AllowScript(script);
  page.session().Set("ErrorMsg", "");
}

}  // namespace

namespace menus {
const Menu kDefault{.spacer_rows = 7};
const Menu kCompany{.heading = "Companies", .entries = kCompanyEntries};
const Menu kStudent{.heading = "Students", .entries = kStudentEntries};
const Menu kTrainer{.heading = "Trainers", .entries = kTrainerEntries};
const Menu kTraining{.heading = "Trainings", .entries = kTrainingEntries};
const Menu kSchedule{.heading = "Events", .entries = kScheduleEntries};
const Menu kList{.entries = kListEntries};
const Menu kStat{.heading = "Statistics", .entries = kStatEntries};
const Menu kBrowse{.heading = "Statistics", .entries = kBrowseEntries, .outer_table = kWideTable};
const Menu kBrowseAnonymous{.heading = "Statistics", .entries = kBrowseAnonymousEntries, .outer_table = kWideTable};
const Menu kCreateForm{.heading = "survas",
                       .entries = kCreateFormEntries,
                       .outer_table = "<TABLE border=0 cellPadding=0 cellSpacing=0 wieth=90% align=left>",
                       .of_designer = true};
}  // namespace menus

void WriteHead(PageObject& page) {
  page.response().Write("<HTML><HEAD><TITLE>surva</TITLE>"
                        "<meta name=\"author\" CONTENT=\"",
                        page.owner().author,
                        "\">"
                        "<meta http-equiv=\"Content-Type\"content=\"text/html; charset=windows-1252\">"
                        "<LINK href=\"css/layout.css\" rel=stylesheet type=text/css>"
                        "</HEAD>");
}

void WriteBodyTag(PageObject& page) {
  page.response().Write("<BODY bgcolor=white leftMargin=0 topMargin=0 marginwidth=0 marginheight=0>");
}

void WriteStaffHeaders(PageObject& page, const Menu& menu) {
  Response& out = page.response();
  page.session().set_timeout(360);
  WriteHead(page);
  WriteErrorMessage(page);
  WriteBodyTag(page);
  out.Write("<SCRIPT language=JavaScript src=\"Java/Events.js\"></SCRIPT>"
            "<SCRIPT language=JavaScript src=\"Java/Surva.js\"></SCRIPT>"
            "<DIV id=TBDownLevelDiv></DIV>"
            "<SCRIPT language=JavaScript>",
            kToolbar, "</SCRIPT>");
  out.AllowScript(kToolbar);
  out.Write(menu.outer_table,
            "<TBODY><TR><TD vAlign=top width=140>"
            "<TABLE border=0 cellPadding=0 cellSpacing=0 width=140><TBODY>",
            kSpacerRow);
  if (!menu.heading.empty()) {
    out.Write("<tr><TH align=center valign=top><Font color=#003399 size=3 face=tahoma>", menu.heading,
              "</Font></th></TR>"
              "<tr><td bgcolor=#003399 size=1></td></tr>",
              kSpacerRow);
  }
  WriteEntries(page, menu);
  WriteHelp(page);
  for (int row = 0; row < menu.spacer_rows; ++row) out.Write(kSpacerRow);
  out.Write("</TBODY></TABLE></TD>", kRule, kPixel, kMargin,
            std::string_view(menu.of_designer ? "<TD width=90%><BR>" : "<TD>"));
}

void WriteStaffFooters(PageObject& page, const Menu& menu) {
  Response& out = page.response();
  if (menu.of_designer) {
    out.Write("</TD></TR><TR><TD colspan=4 align=center><BR><BR><CENTER><P><font face=tahoma size=1><A href=");
    WriteHomeLink(page);
    out.Write("</CENTER></TD></TR></TBODY></TABLE></BODY></HTML>");
    return;
  }
  out.Write("</TD></TR></TBODY></TABLE>");
  WritePopupFooters(page);
}

void WritePopupHeaders(PageObject& page) {
  page.session().set_timeout(360);
  WriteHead(page);
  WriteBodyTag(page);
}

void WritePopupFooters(PageObject& page) {
  page.response().Write("<CENTER><P><font face=tahoma size=1><A href=");
  WriteHomeLink(page);
  page.response().Write("</CENTER></BODY></HTML>");
}

void WriteLowerFrameHeaders(PageObject& page) {
  WriteHead(page);
  WriteBodyTag(page);
  page.response().Write("<TABLE border=0 cellPadding=0 cellSpacing=0 width=83%><TBODY><TR><TD vAlign=top width=140>"
                        "<TABLE border=0 cellPadding=0 cellSpacing=0 width=120><TBODY>",
                        kSpacerRow, kSpacerRow, "</TBODY></TABLE></TD>", kLowerFrameRule, kPixel, kMargin, "<TD>");
}

void WritePublicHeaders(PageObject& page) {
  WriteHead(page);
  WriteBodyTag(page);
  page.response().Write(
      "<TABLE bgColor=#ffffff border=0 cellPadding=0 cellSpacing=0 width=100%>"
      "<TR><TD height=60 vAlign=top>"
      "<A HREF=",
      page.owner().official,
      "/official><IMG  border=0  src=images/train_cert.gif></A></TD></TR>"
      "<TR><TD valign=middle bgColor=blue height=20  vAlign=top>"
      "<FONT color=#ffffff face=\"Verdana, Arial\"size=1><B>&nbsp;&nbsp;&nbsp;&nbsp;surva |</FONT></TD></TR></TABLE>");
}

void WritePublicFooters(PageObject& page) {
  page.response().Write("<CENTER><BR><BR><P><font face=tahoma size=1><A href=");
  WriteHomeLink(page);
  page.response().Write("</CENTER></BODY></HTML>");
}

void WriteHomeLink(PageObject& page) {
  page.response().Write(page.session()["homepage"], " style=color:#000000>", page.owner().notice, "</a></FONT>");
}

}  // namespace surva
