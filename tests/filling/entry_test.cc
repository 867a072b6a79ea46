// How a visit begins: the PIN page, the logon, the public link.
#include "tests/filling/respondent.h"

namespace surva::test {
namespace {

class Entry : public Respondent {};
SURVA_ON_BOTH_ENGINES(Entry);

std::string PinPage(bool wrong) {
  return kHead +
         "<TABLE bgColor=#ffffff border=0 cellPadding=0 cellSpacing=0 width=100%>"
         "<TR><TD height=60 vAlign=top><IMG  border=0  src=images/train_cert.gif></TD></TR>"
         "<TR><TD valign=middle bgColor=blue height=20  vAlign=top>"
         "<FONT color=#ffffff face=\"Verdana, Arial\"size=1><B>&nbsp;&nbsp;&nbsp;&nbsp;surva |</FONT></TD></TR>" +
         (wrong ? "<TR><TD><BR><FONT face=\"Verdana, Arial\"size=2 color=red><B>&nbsp;&nbsp;&nbsp;&nbsp;"
                  "You entered incorrect PIN. Try again.</B></font></TD></TR>"
                : "") +
         "</TABLE><br><br>"
         "<Form Action=surva.asp method=post><table align=center border=0 cellspacing=0>"
         "<tr><td><font color=navy><b>Enter your PIN number:</b></font></td></tr>"
         "<tr><td size=1></td></tr><tr><td bgcolor=#6699FF size=1></td></tr><tr><td size=1></td></tr>"
         "<tr><td align=center><input type=password name=PIN>&nbsp;<input type=submit name=logon value=OK>"
         "</td></tr><tr><td size=1></td></tr></table></form><br>"
         "<table align=center width=80%><tbody><tr><td size=1 bgcolor=#6699FF></td></tr>"
         "<tr><td align=center><font face=arial size=2 color=black><B>Dear Customer,</B><BR>"
         "we would like to ask you to fill Surva,<BR> which evaluates the trainer and our training service<BR></b><BR>"
         "Your marks and suggestions are very important to us<BR>"
         " and will help us to better adjust our offer to your needs.</font></td></tr>"
         "<tr><td size=1 bgcolor=#6699FF></td></tr></tbody></table>"
         "<CENTER><BR><BR><BR><BR>" +
         kHomeLink + "</CENTER></BODY></HTML>";
}

const std::string kRefusal =
    "<HTML><HEAD><TITLE>surva</TITLE><HEAD><BODY bgcolor=white><BR><blockquote><font face=tahoma color=red size=2>"
    "<B>Sorry, surva does not exist or does not accept anonymous autorisation.</B></FONT></BLOCKQUOTE></BODY></HTML>";

const std::string kSyntaxError = ErrorBlock("-2147217900", "surva database", "Syntax error in query expression.");

TEST_P(Entry, PinPage) {
  const Answer answer = Get();
  EXPECT_EQ(answer.page, PinPage(false));
  EXPECT_EQ(answer.response.cache_control(), "no-cache");
  EXPECT_EQ(answer.response.expires(), -1);
  ASSERT_EQ(answer.response.headers().size(), 1U);
  EXPECT_EQ(answer.response.headers()[0], std::pair(std::string("Pragma"), std::string("no-cache")));
  EXPECT_TRUE(visitor.session()["anonymous"].Is(0));
  EXPECT_FALSE(visitor.session()["anonymous"].IsNull());
  EXPECT_TRUE(visitor.session().IsBlank()) << "a visit that has seen the PIN page alone need not be kept";
}

TEST_P(Entry, WrongPins) {
  seed.Participant(seed.Surva(FullSurva()), "4321");
  Write({"insert into Participant (PIN) values (NULL)"});
  Write({"insert into Participant (PIN) values ('')"});
  for (const char* pin : {"1234", "4321 ", " 4321", "04321", "%", "____", "4321\\", " ", "\u20ac", "NULL"}) {
    EXPECT_EQ(Post({{"PIN", pin}, {"logon", "OK"}}).page, PinPage(true)) << pin;
  }
  EXPECT_EQ(Post({{"PIN", std::string(100'000, '4')}}).page, PinPage(true));
  EXPECT_EQ(Post({{"PIN", "4321"}, {"PIN", "4321"}}).page, PinPage(true)) << "a repeated name is one joined text";
  EXPECT_EQ(Post({{"PIN", ""}, {"logon", "OK"}}).page, PinPage(false));
  for (const char* pin : {"'", "' or ''='", "4321' --", "4321'; delete from Participant; --"}) {
    EXPECT_EQ(Post({{"PIN", pin}}).page, kSyntaxError) << pin;
  }
  EXPECT_TRUE(visitor.session()["StudentID"].IsNull());
  EXPECT_EQ(Read({"select count(*) from Participant where PIN='4321'"}), "1");
}

TEST_P(Entry, Logon) {
  seed.Participant(seed.Surva(FullSurva()), "4321");
  seed.Participant(seed.Surva({.rows = {{kLabel, kNoAnswer, "The other surva"}}}), "4321");
  Get();
  const Answer answer = Post({{"pin", "4321"}});
  EXPECT_TRUE(answer.Holds("name=FormAccepted value=3>"))
      << "of two rows with one PIN the first counts: " << answer.page;
  const Session& session = visitor.session();
  EXPECT_EQ(session["StudentID"].Text() + "," + session["ScheduleID"].Text() + "," + session["SurvaVersionID"].Text(),
            "5,7,3");
  EXPECT_EQ(session["RequirePersonalDataPreview"].Text() + session["DisplayMenu"].Text() + session["anonymous"].Text(),
            "000");
  EXPECT_TRUE(session["ThankYouPage"].IsNull());
}

TEST_P(Entry, AnEventWithoutItsSurvaFails) {
  seed.Participant(3, "4321");
  EXPECT_EQ(Post({{"PIN", "4321"}}).page,
            ErrorBlock("-2146825267", "surva database",
                       "Either BOF or EOF is True, or the current record has been deleted. "
                       "Requested operation requires a current record."));
}

TEST_P(Entry, ParametersAreTestedInTheirOrder) {
  seed.Participant(seed.Surva(FullSurva()), "4321");
  const NameValues all = {{"NeXt", "Next"}, {"FormAccepted", "x"}, {"version", "99"}, {"PIN", "0"}};
  const auto without = [&](std::initializer_list<const char*> names) {
    NameValues rest = all;
    for (const char* name : names) rest = With(rest, name, "");
    return rest;
  };
  EXPECT_EQ(Post(all).page, PinPage(true));
  EXPECT_EQ(Post(without({"PIN"})).page, kRefusal);
  EXPECT_EQ(Post(without({"PIN", "version"})).page, kSyntaxError);
  Post({{"PIN", "4321"}});
  EXPECT_TRUE(Post(without({"PIN", "version", "FormAccepted"})).Holds("name=FormAccepted value=3>"));
  EXPECT_EQ(Post(without({"PIN", "version", "FormAccepted", "NeXt"})).page, PinPage(false));
  // The query string is asked first, and an empty value in it hides the posted one.
  EXPECT_EQ(visitor.Serve<FillForm>({{"PIN", ""}}, {{"PIN", "4321"}}).page, PinPage(false));
  EXPECT_EQ(visitor.Serve<FillForm>({{"pin", "0"}}, {{"PIN", "4321"}}).page, PinPage(true));
}

TEST_P(Entry, PublicLink) {
  seed.Surva(FullSurva());
  SurvaSeed open = FullSurva();
  open.authorisation = false;
  open.thank_you_page = "http://thanks.example/";
  const std::int64_t version = seed.Surva(open);
  for (const char* refused : {"3", "99", "-1", "4.5", "99999999999999999999"}) {
    const Answer answer = Get({{"version", refused}});
    EXPECT_EQ(answer.page, kRefusal) << refused;
  }
  for (const char* wrong : {"abc", "4 or 1=1", "4;", "'4'", "4,5", "%"})
    EXPECT_EQ(Get({{"version", wrong}}).page, kSyntaxError) << wrong;
  EXPECT_EQ(Read({"select count(*) from AnonymousStudent"}), "0");
  EXPECT_TRUE(visitor.session()["anonymous"].IsNull());

  visitor.variables.remote_addr = "2001:db8::7";
  EXPECT_TRUE(Get({{"version", std::to_string(version)}}).Holds("name=FormAccepted value=4>"));
  EXPECT_EQ(Read({"select AnonymousStudentID, IPAddress, CreateDate, FillDate, SurvaVersionID from AnonymousStudent"}),
            "13,2001:db8::7,3/1/2004 1:05:09 PM,-,4");
  const Session& session = visitor.session();
  EXPECT_EQ(session["StudentID"].Text() + "," + session["SurvaVersionID"].Text() + "," + session["anonymous"].Text(),
            "13,4,1");
  EXPECT_EQ(session["ThankYouPage"].Text(), "http://thanks.example/");
  EXPECT_TRUE(session["ScheduleID"].IsNull());
  Get({{"version", "4"}});
  EXPECT_EQ(Read({"select count(*) from AnonymousStudent"}), "2") << "every fetch is a visit of its own";
  EXPECT_EQ(visitor.session()["StudentID"].Text(), "14");
}

TEST_P(Entry, ErrorsStandInTheFrameOfASurvaThatHasOne) {
  SurvaSeed framed = FullSurva();
  framed.display_menu = true;
  seed.Participant(seed.Surva(framed), "4321");
  Post({{"PIN", "4321"}});
  EXPECT_EQ(Post({{"PIN", "'"}}).page, kHead + kPublicBanner + kSyntaxError + kPublicFooter);
  Visitor stranger(*database);
  stranger.dsn = "";
  EXPECT_EQ(stranger.Serve<FillForm>({}, {}).page, PinPage(false)) << "the PIN page needs no database";
  const Answer answer = stranger.Serve<FillForm>({}, {{"PIN", "4321"}});
  EXPECT_EQ(answer.page, ErrorBlock("-2147467259", "surva database", "Data source name not found."));
  EXPECT_EQ(answer.response.cache_control(), "no-cache");
}

}  // namespace
}  // namespace surva::test
