// What the tests of surva.asp share: a respondent, a surva with every kind of row, and the texts that several pages
// have.
#pragma once

#include <string>

#include "filling/fill_form.h"
#include "tests/support/page_harness.h"
#include "tests/support/seed.h"
#include "tests/support/test_database.h"

namespace surva::test {

class Respondent : public OnBothEngines {
 protected:
  Answer Get(const NameValues& query = {}) { return visitor.Serve<FillForm>(query, {}); }
  Answer Post(const NameValues& form) { return visitor.Serve<FillForm>({}, form); }
  std::string Read(std::initializer_list<data::Piece> select) { return test::Read(*database, select); }
  void Write(std::initializer_list<data::Piece> statement) { test::Write(*database, statement); }

  TestDatabase database{GetParam()};
  Seed seed{*database};
  Visitor visitor{*database};
};

// SurvaVersion 3. The rows are Question 11 and SurvaLayout 31 and upward, their choices FieldValue 21 and upward.
inline SurvaSeed FullSurva() {
  return {.rows = {{kGroup, kNoAnswer, "Trainer"},
                   {kMain, kRadio, "Was the trainer clear?", true, {"Yes", "No"}},   // 12, 32: 21, 22
                   {kSub, kCombo, "Room", true, {"", "Hall A"}, 2},                  // 13, 33: 23, 24
                   {kLabel, kNoAnswer, "Materials"},                                 // 14, 34
                   {kSub, kBoxes, "Used", false, {"Book", "Slides"}, 0, 0, 0},       // 15, 35: 25, 26
                   {kGroup, kNoAnswer, "Other <i>things</i>"},                       // 16, 36
                   {kMain, kText, "Your \"remarks\"", true, {}, 40, 5, 0},           // 17, 37
                   {kMain, kNoControl, "Thanks"},                                    // 18, 38
                   {kMain, kBoxes, "Topics", true, {"C++", "SQL & <b>HTML</b>"}}}};  // 19, 39: 27, 28
}

// A complete set of answers to it.
inline NameValues FullAnswers() {
  return {{"FormAccepted", "3"}, {"32", "22"},    {"33", "23"},    {"35V26", "26"},
          {"37", "Very good"},   {"39V27", "27"}, {"39V28", "28"}, {"AcceptButton", "Accept answers"}};
}

// The same with one of them changed; without it if `value` is null.
inline NameValues With(NameValues answers, const std::string& name, const char* value) {
  std::erase_if(answers, [&](const auto& answer) { return answer.first == name; });
  if (value != nullptr) answers.emplace_back(name, value);
  return answers;
}

inline const std::string kHead = "<HTML><HEAD><TITLE>surva</TITLE>"
                                 "<meta name=\"author\" CONTENT=\"A. Uthor\">"
                                 "<meta http-equiv=\"Content-Type\"content=\"text/html; charset=windows-1252\">"
                                 "<LINK href=\"css/layout.css\" rel=stylesheet type=text/css>"
                                 "</HEAD><BODY bgcolor=white leftMargin=0 topMargin=0 marginwidth=0 marginheight=0>";

inline const std::string kPublicBanner =
    "<TABLE bgColor=#ffffff border=0 cellPadding=0 cellSpacing=0 width=100%><TR><TD height=60 vAlign=top>"
    "<A HREF=http://www.example/official><IMG  border=0  src=images/train_cert.gif></A></TD></TR>"
    "<TR><TD valign=middle bgColor=blue height=20  vAlign=top>"
    "<FONT color=#ffffff face=\"Verdana, Arial\"size=1><B>&nbsp;&nbsp;&nbsp;&nbsp;surva |</FONT></TD></TR></TABLE>";

inline const std::string kHomeLink =
    "<P><font face=tahoma size=1><A href=http://home.example/ style=color:#000000>Example Training</a></FONT>";

inline const std::string kPublicFooter = "<CENTER><BR><BR>" + kHomeLink + "</CENTER></BODY></HTML>";

inline std::string ErrorBlock(const std::string& number, const std::string& source, const std::string& description,
                              const std::string& cause = "") {
  return "<BLOCKQUOTE><BR><font face=tahoma color=red size=2><B>Error occurred</B><BR><BR>Error number: " + number +
         "<BR>Error source: " + source + "<BR>Error in file: surva.dll<BR>Error description: " + description + "<BR>" +
         cause + "</font><BR></BLOCKQUOTE>";
}
inline const std::string kIncorrectValue = "Error cause: You have entered an incorrect value.";

}  // namespace surva::test
