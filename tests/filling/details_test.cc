// The review of the personal details, and the remark that a respondent leaves there.
#include "tests/filling/respondent.h"

namespace surva::test {
namespace {

class Details : public Respondent {
 protected:
  void SetUp() override {
    seed.Participant(seed.Surva({.personal_data = true, .rows = {{kMain, kText, "Remarks"}}}), "4321");
    Get();
  }
  std::string Messages() { return Read({"select MessageID, StudentID, Message from Message order by MessageID"}); }
};
SURVA_ON_BOTH_ENGINES(Details);

std::string Pair(const std::string& left, const std::string& left_value, const std::string& right,
                 const std::string& right_value) {
  return "<tr><td><Font color=navy>" + left + "</font></td><td><Font color=navy>" + right +
         "</font></td></tr><tr><td colspan=2 bgcolor=#6699FF></td></tr><tr><td>" + left_value + "</td><td>" +
         right_value + "</td></tr>";
}

const std::string kQuestionLine =
    "<CENTER><font color=black><b>"
    "Check please are their any mistakes in your personal details or are their any data missing !</font></center>"
    "<TABLE border=0 cellPadding=0 cellSpacing=0 align=center><tr><td><Form Action=surva.asp method=post>"
    "<TABLE BORDER=0 cellspacing=0 cellpadding=2 width=100%><tr><td colspan=2>&nbsp;</td></tr>";

const std::string kStudent =
    "<tr><td colspan=2 bgcolor=blue><font color=white><B>Student details</b></font></td></tr>" +
    Pair("First name", "Zo\u00eb", "Last name", "Ames") + Pair("City", "Krakow", "Postcode", "30-059") +
    "<tr><td colspan=2><Font color=navy>Address</font></td></tr><tr><td colspan=2 bgcolor=#6699FF></td></tr>"
    "<tr><td colspan=2>Long Street 1</td></tr>" +
    Pair("Phone", "555-0199", "e-mail", "zoe@ames.example");

const std::string kCompany =
    "<tr><td colspan=2>&nbsp;</td></tr>"
    "<tr><td colspan=2 bgcolor=blue><font color=white><B>Company details</b></font></td></tr>" +
    Pair("Company name", "Ames & Sons", "City", "Warsaw") + Pair("Address", "Mill Lane 2", "Postcode", "00-950") +
    Pair("Phone", "555-0100", "Fax", "555-0101") + Pair("e-mail", "office@ames.example", "Tax Number", "526-000-12-46");

const std::string kRemarks =
    "<tr><td colspan=2>&nbsp;</td></tr><tr><td colspan=2>"
    "<tr><td colspan=2 bgcolor=blue><font color=white><B>Describe existing mistakes or any missing data in the box below</b></font></td></tr>"
    "<tr><td><textarea rows=5 cols=40 name=Notes></textarea></td>"
    "<td valign=top align=left ><INPUT TYPE=Submit Name=Next Value=Next></form></td></tr>"
    "<tr><td colspan=2>&nbsp;</td></tr></table></td></tr></TABLE>";

TEST_P(Details, Page) {
  EXPECT_EQ(Post({{"PIN", "4321"}}).page, kHead + kQuestionLine + kStudent + kCompany + kRemarks + "</BODY></HTML>");
  Write({"update SurvaVersion set DisplayMenu=-1"});
  EXPECT_EQ(
      Post({{"PIN", "4321"}}).page,
      kHead +
          "<TABLE bgColor=#ffffff border=0 cellPadding=0 cellSpacing=0 width=100%>"
          "<TR><TD align=left height=60 vAlign=top><IMG  border=0  src=images/train_cert.gif></TD></TR>"
          "<TR><TD bgColor=#003399 height=20 noWrap vAlign=center>"
          "<FONT color=#ffffff face=\"Verdana, Arial\"size=1><B>&nbsp;&nbsp;Surva&nbsp;&nbsp;|</FONT></TD></TR></TABLE>" +
          kQuestionLine + kStudent + kCompany + kRemarks + "<CENTER></b></strong><BR><BR>" + kHomeLink +
          "</CENTER></BODY></HTML>");
}

TEST_P(Details, WhatIsMissing) {
  const std::string none = "<b>not provided</b>";
  Write({"update Student set FirstName='', email=NULL, Street=NULL, Phone=''"});
  Write({"update Company set FAX=NULL, TaxNumber=''"});
  const Answer answer = Post({{"PIN", "4321"}});
  EXPECT_TRUE(answer.Holds(Pair("First name", none, "Last name", "Ames"))) << answer.page;
  EXPECT_TRUE(answer.Holds("<tr><td colspan=2>" + none + "</td></tr>"));
  EXPECT_TRUE(answer.Holds(Pair("Phone", none, "e-mail", "<font color=#FF3300><b>not provided</b></font>")));
  EXPECT_TRUE(answer.Holds(Pair("Phone", none, "Fax", none))) << "the company's phone hides behind the student's";
  EXPECT_TRUE(answer.Holds(Pair("e-mail", "office@ames.example", "Tax Number", none)));
  Write({"update Student set Phone='555-0199'"});
  Write({"update Company set Phone='', eMail=''"});
  const Answer other = Post({{"PIN", "4321"}});
  EXPECT_TRUE(other.Holds(Pair("Phone", "", "Fax", none))) << "and is empty in the open";
  EXPECT_TRUE(other.Holds(Pair("e-mail", none, "Tax Number", none)));
}

TEST_P(Details, WithoutACompanyThePageEnds) {
  Write({"delete from Company"});
  EXPECT_EQ(Post({{"PIN", "4321"}}).page, kHead);
}

TEST_P(Details, RemarksAreKept) {
  Post({{"PIN", "4321"}});
  EXPECT_TRUE(Post({{"Notes", ""}, {"Next", "Next"}}).Holds("name=FormAccepted value=3>"));
  EXPECT_EQ(Messages(), "");
  for (const char* remark : {"My name's Zo\u00eb", "'; delete from Message; --", "<b>&"}) {
    EXPECT_TRUE(Post({{"Notes", remark}, {"Next", "Next"}}).Holds("<textarea rows=")) << remark;
  }
  EXPECT_EQ(Messages(), "1,5,My name's Zo\u00eb 2,5,'; delete from Message; -- 3,5,<b>&");
  Visitor lost(*database);
  EXPECT_EQ(lost.Serve<FillForm>({}, {{"Next", "Next"}}).page,
            ErrorBlock("-2147217900", "surva database", "Syntax error in query expression."));
}

TEST_P(Details, AreSkippedWhereNotAskedFor) {
  Write({"update SurvaVersion set RequirePersonalDataPreview=0"});
  EXPECT_TRUE(Post({{"PIN", "4321"}}).Holds("name=FormAccepted value=3>"));
}

}  // namespace
}  // namespace surva::test
