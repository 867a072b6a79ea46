// One filled form in a window of its own.
#include "tests/reporting/analyst.h"

namespace surva::test {
namespace {

using namespace data::tables;

const std::string kAlert =
    "<SCRIPT Language=JSCRIPT>alert('You have not answered all required questions! Required questions are marked with "
    "red asterisk.');</SCRIPT>";

class Previews : public Analyst {
 protected:
  Previews() {
    AddEvents();
    AddQuestion(51, "Clear?", 4, {"Yes", "No"}, true);  // 1: 1, 2
    AddQuestion(51, "Topics", 2, {"a", "b"});           // 2: 3, 4
    AddQuestion(51, "Remarks", 3, {}, true);            // 3
  }
  Answer Named(const char* number, const char* student, const char* event) {
    return GetBrowse({{"PreviewForm", "1"}, {"Number", number}, {"StudentID", student}, {"ScheduleID", event}});
  }
  Answer Anonymous(const char* number, const char* student) {
    return GetBrowse({{"PreviewFormA", "1"}, {"Number", number}, {"StudentID", student}, {"ScheduleID", "x"}});
  }
  static std::string Page(const std::string& rows) {
    return "<HTML><HEAD><TITLE>surva</TITLE><meta name=\"author\" CONTENT=\"A. Uthor\">"
           "<meta http-equiv=\"Content-Type\"content=\"text/html; charset=windows-1252\">"
           "<LINK href=\"css/layout.css\" rel=stylesheet type=text/css></HEAD>"
           "<BODY bgcolor=white leftMargin=0 topMargin=0 marginwidth=0 marginheight=0>"
           "<BR><form action=surva.asp method=post><input type=hidden name=FormAccepted value=51>"
           "<TABLE align=\"center\" width=\"90%\" BORDER=\"0\" cellspacing=\"0\" cellpadding=\"2\" "
           "style=\"font-family: Tahoma; font-size: 8pt\">" +
           rows +
           "<TR><TD align=left bgcolor=white><font face=tahoma size=2 color=red><B>*)</B></font>"
           "<font face=Tahoma size=2 color=black>&nbsp;Required question.</font></td>"
           "<TD align=right bgcolor=white>&nbsp;</TD><TR></Table></Form>"
           "<CENTER><P><font face=tahoma size=1><A href=http://home.example/ style=color:#000000>Example Training</a>"
           "</FONT></CENTER></BODY></HTML>";
  }
  // The rows with the ticks, the answer and the alerts that they have.
  static std::string Rows(const std::string& alert_1, const std::string& yes, const std::string& b,
                          const std::string& alert_3, const std::string& text) {
    const std::string bar = "<tr><TD bgColor=\"#C0C0C0\" colspan=\"2\"></TD></tr>"
                            "<TR><TD bgcolor=\"#C0C0C0\" align=left valign=\"top\" width=\"55%\">";
    const std::string star = "<font face=arial size=4 color=\"red\"><B>*</B></font>";
    const std::string cell = "</td><TD bgcolor=\"#EAEAEA\" align=left width=\"45%\">";
    return alert_1 + bar + "1. Clear?" + star + cell + "<input " + yes +
           "type=\"radio\" value=\"1\" name=\"1\">Yes&nbsp;<input type=\"radio\" value=\"2\" name=\"1\">No&nbsp;"
           "</TD></TR>" +
           bar + "2. Topics" + cell + "<input type=\"checkbox\" name=\"2V3\" value=\"3\">a&nbsp;<input " + b +
           "type=\"checkbox\" name=\"2V4\" value=\"4\">b&nbsp;</TD></TR>" + alert_3 + bar + "3. Remarks" + star + cell +
           "<textarea rows=\"2\" name=\"3\" cols=\"1\">" + text + "</textarea></TD>";
  }
};
SURVA_ON_BOTH_ENGINES(Previews);

TEST_P(Previews, OfANamedForm) {
  Mark(21, 61, 1, 1);
  Mark(21, 61, 2, 4);
  Mark(21, 61, 3, -1, "</textarea> & \u0141");
  Mark(22, 61, 1, 2);
  Mark(21, 63, 1, 2);
  const std::string before = Read({"select PIN, FillDate from Participant order by ParticipantID"});
  const Answer answer = Named("51", "21", "61");
  EXPECT_EQ(answer.page, Page(Rows("", "checked ", "checked ", "", "</textarea> & \u0141")));
  EXPECT_TRUE(answer.response.scripts().empty());
  EXPECT_FALSE(answer.redirect);
  EXPECT_EQ(Read({"select PIN, FillDate from Participant order by ParticipantID"}), before);
  EXPECT_EQ(Read({"select count(*) from Mark"}), "5");
}

// The alert comes once in a visit, until the public page starts anew.
TEST_P(Previews, OfMissingAnswers) {
  Mark(22, 61, 1, 1);
  Mark(22, 61, 3, -1, "");
  const Answer first = Named("51", "22", "61");
  EXPECT_EQ(first.page, Page(Rows("", "checked ", "", kAlert, "")));
  EXPECT_EQ(first.response.scripts().size(), 1U);
  EXPECT_EQ(Named("51", "22", "61").page, Page(Rows("", "checked ", "", "", "")));
  EXPECT_EQ(Named("51", "99", "99").page, Page(Rows("", "", "", "", ""))) << "somebody without any marks";
  visitor.session().Set("NotAnswered", 0);
  EXPECT_EQ(Anonymous("51", "99").page, Page(Rows(kAlert, "", "", "", "")));
}

TEST_P(Previews, OfAnAnonymousForm) {
  for (const auto& [question, choice, text] : {std::tuple(1, 1, ""), {2, 4, ""}, {3, -1, "Fine"}}) {
    Add(kAnonymousMark, {{"StudentID", 21}, {"QuestionID", question}, {"FieldValueID", choice}, {"TextAnswer", text}});
    Mark(21, 61, question, 2, "Of another");
  }
  EXPECT_EQ(Anonymous("51", "21").page, Page(Rows("", "checked ", "checked ", "", "Fine")));
}

TEST_P(Previews, OfAVersionWithoutRows) {
  std::string page = Page("");
  page.replace(page.find("value=51"), 8, "value=52");
  EXPECT_EQ(Named("52", "x", "y").page, page) << "no answer is looked up";
}

TEST_P(Previews, BadNumbers) {
  for (const auto& [number, student, event] : {std::tuple("x", "21", "61"),
                                               {"", "21", "61"},
                                               {"51", "x", "61"},
                                               {"51", "", "61"},
                                               {"51", "21", ""},
                                               {"51", "21", "6'1"},
                                               {"51 or 1=1", "21", "61"}}) {
    const Answer answer = Named(number, student, event);
    EXPECT_EQ(answer.faults, Faults{FaultNumber::kStatementFailed}) << number << student << event;
    EXPECT_TRUE(StaffBody(answer.page).starts_with("<BLOCKQUOTE><BR><font face=tahoma color=red size=2>"));
  }
  EXPECT_EQ(Anonymous("51", "x").faults, Faults{FaultNumber::kStatementFailed});
  EXPECT_TRUE(Anonymous("51", "21").faults.empty());
}

}  // namespace
}  // namespace surva::test
