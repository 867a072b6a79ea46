// What the tests of admin/CreateForm.asp share: a member of staff, a surva with every kind of row, the frame of the
// pages.
#pragma once

#include <string>
#include <vector>

#include "design/create_form.h"
#include "tests/support/page_harness.h"
#include "tests/support/seed.h"
#include "tests/support/test_database.h"

namespace surva::test {

class Designer : public OnBothEngines {
 protected:
  Designer() { visitor.variables.script_name = "/admin/CreateForm.asp"; }

  Answer Get(const NameValues& query = {}) { return visitor.Serve<CreateForm>(query, {}); }
  Answer Post(const NameValues& form) { return visitor.Serve<CreateForm>({}, form); }
  std::string Read(std::initializer_list<data::Piece> select) { return test::Read(*database, select); }
  void Write(std::initializer_list<data::Piece> statement) { test::Write(*database, statement); }

  // SurvaLayoutID,QuestionID,PositionID of a version's rows, in the order of their places.
  std::string Layout(std::int64_t version) {
    return Read({"select SurvaLayoutID, QuestionID, PositionID from SurvaLayout where SurvaVersionID=",
                 data::Number(version), " order by PositionID, SurvaLayoutID"});
  }
  std::string NewestQuestion() {
    return Read({"select Content, AnswerType, QuestionType, SizeX, SizeY, LineRows, Required from Question "
                 "order by QuestionID desc limit 1"});
  }
  std::string Answers(std::int64_t question) {
    return Read({"select FieldValueID, FieldValue from FieldValue where QuestionID=", data::Number(question),
                 " order by FieldValueID"});
  }

  TestDatabase database{GetParam()};
  Seed seed{*database};
  Visitor visitor{*database};
};

// SurvaVersion 3. The rows are Question 11 and SurvaLayout 31 and upward, their choices FieldValue 21 and upward.
inline SurvaSeed EveryKind() {
  return {.rows = {{kGroup, kNoAnswer, "Trainer"},
                   {kMain, kRadio, "Clear?", true, {"Yes", "No"}, 0, 0, 0},  // 12, 32: 21, 22
                   {kSub, kCombo, "Room", false, {"", "Hall A"}, 2},         // 13, 33: 23, 24
                   {kLabel, kNoAnswer, "Materials", true},                   // 14, 34
                   {kSub, kBoxes, "Used", true, {"Book", "Slides"}},         // 15, 35: 25, 26
                   {kGroup, kNoAnswer, "Other <i>things</i>"},               // 16, 36
                   {kMain, kText, "Say \"it\"", false, {}, 40, 5, 0},        // 17, 37
                   {kMain, kNoControl, "Thanks"}}};                          // 18, 38
}

inline std::string PageWith(const std::string& body, const std::string& alert = "") {
  return "<HTML><HEAD><TITLE>surva</TITLE><meta name=\"author\" CONTENT=\"A. Uthor\">"
         "<meta http-equiv=\"Content-Type\"content=\"text/html; charset=windows-1252\">"
         "<LINK href=\"css/layout.css\" rel=stylesheet type=text/css></HEAD>" +
         (alert.empty() ? "" : "<SCRIPT language=JScript>alert('" + alert + "');</SCRIPT>") +
         "<BODY bgcolor=white leftMargin=0 topMargin=0 marginwidth=0 marginheight=0>"
         "<SCRIPT language=JavaScript src=\"Java/Events.js\"></SCRIPT>"
         "<SCRIPT language=JavaScript src=\"Java/Surva.js\"></SCRIPT><DIV id=TBDownLevelDiv></DIV>"
         "<SCRIPT language=JavaScript>{TBDownLevelDiv.style.display ='none';drawToolbar();}</SCRIPT>"
         "<TABLE border=0 cellPadding=0 cellSpacing=0 wieth=90% align=left><TBODY><TR><TD vAlign=top width=140>"
         "<TABLE border=0 cellPadding=0 cellSpacing=0 width=140><TBODY><TR><TD>&nbsp;</TD></TR>"
         "<tr><TH align=center valign=top><Font color=#003399 size=3 face=tahoma>survas</Font></th></TR>"
         "<tr><td bgcolor=#003399 size=1></td></tr><TR><TD>&nbsp;</TD></TR><TR><TD></TD></TR>"
         "<TR><TD><IMG alt=\"\" height=5 src=images/sq.gif width=21>"
         "<A HREF=CreateForm.asp>Find and modify</A></TD></TR>"
         "<TR><TD>&nbsp;</TD></TR><tr><td bgcolor=#003399 size=1></td></tr>"
         "<TR><TD align=left><font color=navy>&nbsp;&nbsp;&nbsp;Create a new surva<BR>"
         "&nbsp;&nbsp;&nbsp;based on:</font></TD></TR>"
         "<TR><TD>&nbsp;&nbsp;<IMG alt=\"\" height=5 src=images/sq.gif width=21>"
         "<A HREF=CreateForm.asp?CreateEmptySurva=1>an empty surva</A></TD></TR>"
         "<TR><TD>&nbsp;&nbsp;<IMG alt=\"\" height=5 src=images/sq.gif width=21>"
         "<A HREF=CreateForm.asp?CreateNewSurva=1>an existing surva</A></TD></TR><TR><TD>&nbsp;</TD></TR>"
         "<SCRIPT>\rfunction openHelp() {\r var help=window.open(\"help.asp?topic=/admin/CreateForm.asp\",null,"
         "\"status=yes,toolbar=yes,menubar=no,location=no\");\r}\r</SCRIPT>\r"
         "<TR><TD><A HREF=\"javascript:openHelp()\"><IMG border=0 alt=\"Help\" src=images/help.gif ></A></TD></TR>"
         "<TR><TD>&nbsp;</TD></TR><TR><TD>&nbsp;</TD></TR></TBODY></TABLE></TD>"
         "<TD bgColor=#003399 VAlign=top width=1><IMG alt=\"\" height=1 src=images/pixel.gif width=1></TD>"
         "<TD vAlign=top width=6><IMG alt=\"\" height=1 src=images/pixel.gif width=6></TD><TD width=90%><BR>" +
         body +
         "</TD></TR><TR><TD colspan=4 align=center><BR><BR><CENTER><P><font face=tahoma size=1>"
         "<A href=http://home.example/ style=color:#000000>Example Training</a></FONT></CENTER>"
         "</TD></TR></TBODY></TABLE></BODY></HTML>";
}

inline std::string Table(const std::string& spacing, const std::string& padding) {
  return "<TABLE align=\"center\" width=\"90%\" BORDER=\"0\" cellspacing=\"" + spacing + "\" cellpadding=\"" + padding +
         "\" style=\"font-family: Tahoma; font-size: 8pt\">";
}

inline std::string Title(const std::string& title) {
  return "<tr><TD colspan=2 bgColor=\"#c0c0c0\"><font face=tahoma size=3 color=black><B>" + title +
         "</B></font></TD></tr>";
}

inline std::string Caption(const std::string& caption, const std::string& control) {
  return "<tr><TD bgColor=\"black\"><font face=tahoma size=2 color=white>" + caption + "</td><TD bgcolor=#c0c0c0>" +
         control + "</td></TR>";
}

using Faults = std::vector<FaultNumber>;
inline const Faults kNone{};
inline const Faults kMismatch{FaultNumber::kTypeMismatch};
inline const Faults kOverflow{FaultNumber::kOverflow};
inline const Faults kSyntax{FaultNumber::kStatementFailed};
inline const Faults kNoRow{FaultNumber::kNoCurrentRow};
inline const Faults kRefused{FaultNumber::kValueRefused};

}  // namespace surva::test
