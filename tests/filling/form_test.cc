// The form: how it is written, what a post stores, and when it is accepted.
#include "tests/filling/respondent.h"
#include "tests/support/watched_engine.h"

namespace surva::test {
namespace {

class Form : public Respondent {
 protected:
  void LogOn(const SurvaSeed& surva = FullSurva()) {
    seed.Participant(seed.Surva(surva), "4321");
    Get();
    Post({{"PIN", "4321"}});
  }
  std::string Marks() {
    return Read({"select StudentID, ScheduleID, QuestionID, FieldValueID, TextAnswer from Mark order by MarkID"});
  }
};
SURVA_ON_BOTH_ENGINES(Form);

// The form of FullSurva, blank.
const std::string kBlankForm =
    "<form action=surva.asp method=post><input type=hidden name=FormAccepted value=3>"
    "<TABLE align=\"center\" width=\"90%\" BORDER=\"0\" cellspacing=\"0\" cellpadding=\"2\" style=\"font-family: Tahoma; font-size: 8pt\">"
    "<TR><TH bgcolor=\"#000000\" align=left colspan=\"2\"><font color=\"white\">Trainer</font></th></tr>"

    "<tr><TD bgColor=\"#C0C0C0\" colspan=\"2\"></TD></tr>"
    "<TR><TD bgcolor=\"#C0C0C0\" align=left valign=\"top\" width=\"55%\">1. Was the trainer clear?"
    "<font face=arial size=4 color=\"red\"><B>*</B></font></td><TD bgcolor=\"#EAEAEA\" align=left width=\"45%\">"
    "<input type=\"radio\" value=\"21\" name=\"32\">Yes<br><input type=\"radio\" value=\"22\" name=\"32\">No<br></TD></TR>"

    "<TR><TD bgcolor=\"#C0C0C0\" align=right width=\"55%\">Room"
    "<font face=Arial size=4 color=\"red\"><B>*</B></font></td><TD bgcolor=\"#EAEAEA\" align=left width=\"45%\">"
    "<select name=\"33\" size=\"2\"><option value=\"23\"></option><option value=\"24\">Hall A</option></select></td></TR>"

    "<tr><TD bgColor=\"#C0C0C0\" colspan=\"2\"></TD></tr>"
    "<TR><Td bgcolor=\"#C0C0C0\" align=left ><font color=\"black\">2. Materials</font></td>"
    "<TD bgcolor=\"#EAEAEA\" align=left width=\"45%\">&nbsp;</TD></tr>"

    "<TR><TD bgcolor=\"#C0C0C0\" align=right width=\"55%\">Used</td><TD bgcolor=\"#EAEAEA\" align=left width=\"45%\">"
    "<input type=\"checkbox\" name=\"35V25\" value=\"25\">Book&nbsp;<input type=\"checkbox\" name=\"35V26\" value=\"26\">Slides&nbsp;"
    "</TD></TR>"

    "<tr><td colspan=2>&nbsp;</td></tr>"
    "<TR><TH bgcolor=\"#000000\" align=left colspan=\"2\"><font color=\"white\">Other <i>things</i></font></th></tr>"

    "<tr><TD bgColor=\"#C0C0C0\" colspan=\"2\"></TD></tr>"
    "<TR><TD bgcolor=\"#C0C0C0\" align=left valign=\"top\" width=\"55%\">1. Your \"remarks\""
    "<font face=arial size=4 color=\"red\"><B>*</B></font></td><TD bgcolor=\"#EAEAEA\" align=left width=\"45%\">"
    "<textarea rows=\"5\" name=\"37\" cols=\"40\"></textarea></TD>"

    "<tr><TD bgColor=\"#C0C0C0\" colspan=\"2\"></TD></tr>"
    "<TR><TD bgcolor=\"#C0C0C0\" align=left valign=\"top\" width=\"55%\">2. Thanks</td>"
    "<TD bgcolor=\"#EAEAEA\" align=left width=\"45%\">&nbsp;</TD></TR>"

    "<tr><TD bgColor=\"#C0C0C0\" colspan=\"2\"></TD></tr>"
    "<TR><TD bgcolor=\"#C0C0C0\" align=left valign=\"top\" width=\"55%\">3. Topics"
    "<font face=arial size=4 color=\"red\"><B>*</B></font></td><TD bgcolor=\"#EAEAEA\" align=left width=\"45%\">"
    "<input type=\"checkbox\" name=\"39V27\" value=\"27\">C++<br>"
    "<input type=\"checkbox\" name=\"39V28\" value=\"28\">SQL & <b>HTML</b><br></TD></TR>"

    "<TR><TD align=left bgcolor=white><font face=tahoma size=2 color=red><B>*)</B></font>"
    "<font face=Tahoma size=2 color=black>&nbsp;Required question.</font></td>"
    "<TD align=right bgcolor=white><BR><INPUT type=submit name=AcceptButton Value=\"Accept answers\"></td><TR></Table></Form>";

const std::string kAlert = "<SCRIPT Language=JSCRIPT>alert('You have not answered all required questions! "
                           "Required questions are marked with red asterisk.');</SCRIPT>";

// The form as it comes back: the blank one with these places in it changed.
std::string ShownAgain(std::vector<std::pair<std::string, std::string>> changes) {
  std::string form = kBlankForm;
  changes.emplace_back("Value=\"Accept answers\"></td><TR>", "Value=\"Accept answers\"></TD><TR>");
  for (const auto& [from, to] : changes) {
    const std::size_t at = form.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    if (at != std::string::npos) form.replace(at, from.size(), to);
  }
  return form;
}
// An alert in front of the row that holds `text`.
std::pair<std::string, std::string> AlertBefore(const std::string& text) {
  const std::size_t at = kBlankForm.find(text);
  const std::string bar = "<tr><TD bgColor=\"#C0C0C0\" colspan=\"2\"></TD></tr>";
  const std::size_t row = kBlankForm.rfind(bar, at);
  const std::string opening = kBlankForm.substr(row, at + text.size() - row);
  return {opening, kAlert + opening};
}
const std::pair<std::string, std::string> kNo{"<input type=\"radio\" value=\"22\"",
                                              "<input checked type=\"radio\" value=\"22\""};
const std::pair<std::string, std::string> kHall{"<option value=\"24\">", "<option selected value=\"24\">"};
const std::pair<std::string, std::string> kEmptyRoom{"<option value=\"23\">", "<option selected value=\"23\">"};
const std::pair<std::string, std::string> kSlides{"<input type=\"checkbox\" name=\"35V26\"",
                                                  "<input checked type=\"checkbox\" name=\"35V26\""};
const std::pair<std::string, std::string> kCpp{"<input type=\"checkbox\" name=\"39V27\"",
                                               "<input checked type=\"checkbox\" name=\"39V27\""};
const std::pair<std::string, std::string> kSql{"<input type=\"checkbox\" name=\"39V28\"",
                                               "<input checked type=\"checkbox\" name=\"39V28\""};
std::pair<std::string, std::string> Remarks(const std::string& text) {
  return {"name=\"37\" cols=\"40\">", "name=\"37\" cols=\"40\">" + text};
}

TEST_P(Form, Blank) {
  SurvaSeed framed = FullSurva();
  framed.display_menu = true;
  seed.Participant(seed.Surva(FullSurva()), "4321");
  EXPECT_EQ(Post({{"PIN", "4321"}}).page, kBlankForm);
  Write({"update SurvaVersion set DisplayMenu=NULL"});
  EXPECT_EQ(Post({{"PIN", "4321"}}).page, kBlankForm);
  Write({"update SurvaVersion set DisplayMenu=-1"});
  EXPECT_EQ(Post({{"PIN", "4321"}}).page, kHead + kPublicBanner + kBlankForm + kPublicFooter);
}

TEST_P(Form, RowsStandInTheOrderOfTheirPlaces) {
  LogOn();
  Write({"update SurvaLayout set PositionID=10-PositionID"});
  const std::string page = Post({{"PIN", "4321"}}).page;
  std::size_t before = 0;
  for (const char* text :
       {">1. Topics", ">2. Thanks", ">3. Your", "<tr><td colspan=2>&nbsp;</td></tr>", "Other", ">Used<",
        ">1. Materials", ">Room<", ">2. Was", "<tr><td colspan=2>&nbsp;</td></tr><TR><TH", "Trainer"}) {
    const std::size_t at = page.find(text, before);
    ASSERT_NE(at, std::string::npos) << text << " in " << page;
    before = at;
  }
}

TEST_P(Form, WithoutRowsFails) {
  seed.Participant(seed.Surva({.authorisation = false}), "4321");
  const std::string block = ErrorBlock("-2146825267", "surva database",
                                       "Either BOF or EOF is True, or the current record has been deleted. "
                                       "Requested operation requires a current record.");
  EXPECT_EQ(Post({{"PIN", "4321"}}).page, block);
  EXPECT_EQ(Post({{"FormAccepted", "3"}}).page, block);
  EXPECT_EQ(Get({{"version", "3"}}).page, block);
  EXPECT_EQ(Read({"select count(*) from AnonymousStudent"}), "1") << "what was done before the failure stands";
}

TEST_P(Form, IncompleteComesBackWithItsAnswers) {
  LogOn();
  struct Case {
    const char* what;
    NameValues form;
    std::vector<std::pair<std::string, std::string>> changes;
    std::string marks;
  };
  const Case cases[] = {
      {"no radio chosen",
       With(With(FullAnswers(), "32", nullptr), "33", "24"),
       {AlertBefore("1. Was the trainer"), kHall, kSlides, Remarks("Very good"), kCpp, kSql},
       "5,7,12,-, 5,7,13,24, 5,7,15,26, 5,7,17,-1,Very good 5,7,19,27, 5,7,19,28,"},
      {"no text",
       With(FullAnswers(), "37", ""),
       {kNo, kEmptyRoom, kSlides, AlertBefore("1. Your \"remarks\""), kCpp, kSql},
       "5,7,12,22, 5,7,13,23, 5,7,15,26, 5,7,17,-1, 5,7,19,27, 5,7,19,28,"},
      {"no tick",
       With(With(FullAnswers(), "39V27", nullptr), "39V28", "27"),
       {kNo, kEmptyRoom, kSlides, Remarks("Very good"), AlertBefore("3. Topics")},
       "5,7,12,22, 5,7,13,23, 5,7,15,26, 5,7,17,-1,Very good"},
      {"nothing at all",
       {{"FormAccepted", "3"}},
       {AlertBefore("1. Was the trainer")},
       "5,7,12,-, 5,7,13,-, 5,7,17,-1,"},
      {"an answer that is no choice",
       With(FullAnswers(), "32", "999"),
       {AlertBefore("1. Was the trainer"), kEmptyRoom, kSlides, Remarks("Very good"), kCpp, kSql},
       "5,7,12,999, 5,7,13,23, 5,7,15,26, 5,7,17,-1,Very good 5,7,19,27, 5,7,19,28,"},
      {"markup and quotes",
       With(With(FullAnswers(), "37", "it's \"q\" </textarea> \u0142\u20ac \\ %"), "32", nullptr),
       {AlertBefore("1. Was the trainer"), kEmptyRoom, kSlides, Remarks("it's \"q\" </textarea> \u0142\u20ac \\ %"),
        kCpp, kSql},
       "5,7,12,-, 5,7,13,23, 5,7,15,26, 5,7,17,-1,it's \"q\" </textarea> \u0142\u20ac \\ % 5,7,19,27, 5,7,19,28,"},
  };
  for (const Case& one : cases) {
    const Answer answer = Post(one.form);
    EXPECT_EQ(answer.page, ShownAgain(one.changes)) << one.what;
    EXPECT_FALSE(answer.redirect) << one.what;
    EXPECT_EQ(answer.Count("<SCRIPT"), 1) << one.what;
    EXPECT_EQ(answer.response.scripts().size(), 1U);
    EXPECT_EQ(Marks(), one.marks) << one.what << ": the answers replace the earlier ones";
  }
  EXPECT_EQ(Read({"select FillDate, PIN from Participant"}), "-,4321");
  EXPECT_EQ(Post({{"PIN", "4321"}}).page, kBlankForm);
  EXPECT_EQ(Marks(), "") << "going back to the blank form starts from nothing";
}

TEST_P(Form, AcceptedSpendsThePin) {
  LogOn();
  seed.Participant(3, "5555");
  Write({"insert into Mark (StudentID, ScheduleID, QuestionID, FieldValueID) values (5, 8, 12, 21)"});
  Write({"insert into Mark (StudentID, ScheduleID, QuestionID, FieldValueID) values (6, 7, 12, 21)"});
  EXPECT_EQ(Post(With(FullAnswers(), "32", nullptr)).Count("<SCRIPT"), 1) << "another event's answer does not count";
  const Answer answer = Post(FullAnswers());
  EXPECT_EQ(answer.redirect, "greetings/default1.asp");
  EXPECT_FALSE(answer.Holds("<TH")) << "the form is dropped";
  EXPECT_EQ(Marks(),
            "5,8,12,21,- 6,7,12,21,- 5,7,12,22, 5,7,13,23, 5,7,15,26, 5,7,17,-1,Very good 5,7,19,27, 5,7,19,28,")
      << "other respondents' answers are left alone";
  EXPECT_EQ(Read({"select ParticipantID, PIN from Participant where FillDate is not null"}), "9,");
  EXPECT_EQ(Read({"select ParticipantID, PIN from Participant where FillDate is null"}), "10,5555");
  EXPECT_TRUE(Post({{"PIN", "4321"}}).Holds("You entered incorrect PIN. Try again."));
  EXPECT_TRUE(Post({{"PIN", ""}}).Holds("Enter your PIN number:"));
  // The browser's history may post the form once more.
  Write({"update Participant set FillDate=NULL"});
  EXPECT_TRUE(Post(With(FullAnswers(), "32", "21")).redirect);
  EXPECT_EQ(Read({"select ParticipantID, PIN from Participant where FillDate is not null"}), "9,");
  EXPECT_EQ(Read({"select FieldValueID from Mark where StudentID=5 and ScheduleID=7 and QuestionID=12"}), "21");
}

TEST_P(Form, ThankYouPages) {
  struct Case {
    const char* page;
    bool display_menu;
    const char* target;
  };
  LogOn({.rows = {{kMain, kText, "Remarks"}, {kMain, kNoControl, "Thanks"}}});
  for (const Case& one : {Case{"", true, "greetings/default0.asp"},
                          {"", false, "greetings/default1.asp"},
                          {"http://thanks.example/?a=1&b=2", true, "http://thanks.example/?a=1&b=2"},
                          {"my page.asp", false, "my page.asp"}}) {
    Write({"update SurvaVersion set ThankYouPage=", data::Text(one.page),
           ", DisplayMenu=", data::Number(one.display_menu ? -1 : 0)});
    EXPECT_EQ(Post({{"FormAccepted", "3"}}).redirect, one.target);
  }
  Write({"update SurvaVersion set ThankYouPage=NULL"});
  EXPECT_EQ(Post({{"FormAccepted", "3"}}).redirect, "greetings/default1.asp");
}

TEST_P(Form, NothingRequiredAcceptsAtOnce) {
  LogOn({.rows = {{kGroup, kNoAnswer, "Group"}, {kMain, kNoControl, "Nothing asked"}, {kLabel, kNoAnswer, "Label"}}});
  EXPECT_TRUE(Post({{"FormAccepted", "3"}}).redirect);
  EXPECT_EQ(Marks(), "");
  EXPECT_EQ(Read({"select count(*) from Participant where PIN='' and FillDate is not null"}), "1");
}

TEST_P(Form, AnonymousVisit) {
  SurvaSeed open = FullSurva();
  open.authorisation = false;
  seed.Surva(open);
  seed.Participant(3, "4321");
  const auto marks = [&] {
    return Read({"select StudentID, QuestionID, FieldValueID, TextAnswer from AnonymousMark order by AnonymousMarkID"});
  };
  EXPECT_EQ(Get({{"version", "3"}}).page, kBlankForm);
  EXPECT_EQ(Post(With(FullAnswers(), "37", nullptr)).page,
            ShownAgain({kNo, kEmptyRoom, kSlides, AlertBefore("1. Your \"remarks\""), kCpp, kSql}));
  EXPECT_EQ(marks(), "13,12,22, 13,13,23, 13,15,26, 13,17,-1, 13,19,27, 13,19,28,");
  EXPECT_EQ(Read({"select FillDate from AnonymousStudent"}), "-");
  EXPECT_EQ(Post(FullAnswers()).redirect, "greetings/default1.asp");
  EXPECT_EQ(marks(), "13,12,22, 13,13,23, 13,15,26, 13,17,-1,Very good 13,19,27, 13,19,28,");
  EXPECT_EQ(Read({"select AnonymousStudentID from AnonymousStudent where FillDate is not null"}), "13");
  EXPECT_EQ(Marks(), "");
  EXPECT_EQ(Read({"select PIN, FillDate from Participant"}), "4321,-");

  // A second visit is another filling, and leaves the first as it is.
  Get({{"version", "3"}});
  Post(With(FullAnswers(), "32", nullptr));
  EXPECT_EQ(Read({"select count(*) from AnonymousMark where StudentID=13"}), "6");
  EXPECT_EQ(Read({"select count(*) from AnonymousMark where StudentID=14"}), "6");
  // Without the PIN page between, a PIN goes on with an anonymous visit; behind it, it does not.
  Post({{"PIN", "4321"}});
  EXPECT_EQ(visitor.session()["anonymous"].Text(), "1");
  Get();
  Post({{"PIN", "4321"}});
  Post(FullAnswers());
  EXPECT_EQ(Read({"select PIN from Participant"}), "");
}

TEST_P(Form, TamperedPosts) {
  LogOn();
  seed.Surva({.rows = {{kMain, kText, "Another surva"}}});
  const std::string mismatch = ErrorBlock("-2147352571", "surva", "Type mismatch.", kIncorrectValue);
  const std::string syntax = ErrorBlock("-2147217900", "surva database", "Syntax error in query expression.");
  struct Case {
    const char* what;
    NameValues form;
    std::string page;
    std::string marks;
  };
  NameValues twice = FullAnswers();
  twice.emplace_back("32", "21");
  const Case cases[] = {
      {"text in a radio group", With(FullAnswers(), "32", "abc"), mismatch, ""},
      {"an empty radio group", With(FullAnswers(), "32", ""), mismatch, ""},
      {"an empty combo box", With(FullAnswers(), "33", ""), mismatch, "5,7,12,22,"},
      {"a value twice", twice, mismatch, ""},
      {"a value beyond", With(FullAnswers(), "33", "99999999999"),
       ErrorBlock("-2147352566", "surva", "Out of present range."), "5,7,12,22,"},
      {"syntax in the surva", {{"FormAccepted", "3 or 1=1"}}, syntax, "kept"},
      {"text for the surva", {{"FormAccepted", "abc"}}, syntax, "kept"},
  };
  for (const Case& one : cases) {
    Write({"delete from Mark"});
    Write({"insert into Mark (StudentID, ScheduleID, TextAnswer) values (5, 7, 'kept')"});
    EXPECT_EQ(Post(one.form).page, one.page) << one.what;
    EXPECT_EQ(Marks(), one.marks == "kept" ? "5,7,-,-,kept" : one.marks)
        << one.what << ": what was done before the failure stands";
  }
  EXPECT_EQ(Read({"select PIN from Participant"}), "4321");

  // Another question's choice is taken as it stands: answered, and none of its own is chosen.
  EXPECT_TRUE(Post(With(FullAnswers(), "32", "24")).redirect);
  Post({{"FormAccepted", "3"}, {"35V26", "25"}, {"35V27", "27"}, {"39V27", "on"}, {"32", " 22 "}});
  EXPECT_EQ(Marks(), "5,7,12,22, 5,7,13,-, 5,7,17,-1,");
  // A surva other than that of the logon is taken as it stands, too.
  EXPECT_TRUE(Post({{"FormAccepted", "4"}, {"40", "of another"}}).redirect);
  EXPECT_EQ(Marks(), "5,7,20,-1,of another");

  Visitor lost(*database);
  EXPECT_EQ(lost.Serve<FillForm>({}, FullAnswers()).page, syntax);
  EXPECT_EQ(Marks(), "5,7,20,-1,of another") << "a visitor without a session touches nothing";
}

TEST_P(Form, AFailureHalfwayKeepsWhatWasWritten) {
  LogOn();
  Watch watch;
  data::Database watched(database.dsn(), WatchedEngine::Around(watch));
  Visitor unlucky(watched);
  unlucky.Serve<FillForm>({}, {{"PIN", "4321"}});
  watch.fail_write = 4;  // the delete, two answers, then this one
  const Answer answer = unlucky.Serve<FillForm>({}, FullAnswers());
  EXPECT_EQ(answer.faults.size(), 1U);
  EXPECT_FALSE(answer.Holds("<form"));
  EXPECT_EQ(Marks(), "5,7,12,22, 5,7,13,23,");
  EXPECT_TRUE(unlucky.Serve<FillForm>({}, FullAnswers()).redirect) << "the next post makes it good";
}

TEST_P(Form, CostsTheSameStatementsHoweverLongItIs) {
  Watch watch;
  data::Database watched(database.dsn(), WatchedEngine::Around(watch));
  struct Cost {
    int blank_reads, blank_writes, again_reads;
  };
  const auto cost = [&](int questions, const std::string& pin) {
    SurvaSeed surva;
    for (int i = 0; i < questions; ++i) {
      const auto control = static_cast<Control>(1 + i % 5);
      surva.rows.push_back({kMain, control, "Question", true,
                            control == kText ? std::vector<std::string>{} : std::vector<std::string>{"a", "b"}});
    }
    const std::int64_t version = seed.Surva(surva);
    seed.Participant(version, pin);
    Visitor measured(watched);
    watch.Reset();
    EXPECT_EQ(measured.Serve<FillForm>({}, {{"PIN", pin}}).Count(". Question"), questions);
    Cost cost{watch.reads, watch.writes, 0};
    watch.Reset();
    EXPECT_EQ(measured.Serve<FillForm>({}, {{"FormAccepted", std::to_string(version)}}).Count(". Question"), questions);
    cost.again_reads = watch.reads;
    return cost;
  };
  const Cost few = cost(5, "5");
  const Cost many = cost(50, "50");
  EXPECT_EQ(few.blank_reads, many.blank_reads);
  EXPECT_EQ(few.blank_writes, many.blank_writes);
  EXPECT_EQ(few.again_reads, many.again_reads);
}

}  // namespace
}  // namespace surva::test
