// The wizard that adds a row: its pages, the roads through them, and what they store where.
#include "tests/design/designer.h"

namespace surva::test {
namespace {

class Wizard : public Designer {
 protected:
  // Posts a page's form, as the page before it carries it on.
  Answer Step(const std::string& step, NameValues form) {
    form.insert(form.begin(), {{"AddQuestionStep", step}, {"AddQuestion", above}, {"SurvaVersion", version}});
    form.emplace_back("AddQuestionButton", "Next");
    return Post(form);
  }
  Answer Back(const std::string& button, const std::string& step) {
    return Post({{"AddQuestionStep", step}, {"AddQuestion", above}, {"SurvaVersion", version}, {button, "Back"}});
  }
  // Phrase, role and kind.
  void Begin(const std::string& phrase, const std::string& role, const std::string& kind = "") {
    Step("2a", {{"question", phrase}});
    Step("2", {{"AnswerType", role}});
    if (!kind.empty()) Step("3", {{"QuestionType", kind}});
  }
  std::string Counts() {
    return Read({"select count(*) from Question"}) + "," + Read({"select count(*) from SurvaLayout"}) + "," +
           Read({"select count(*) from FieldValue"});
  }
  // Each with a dot in front, so that empty ones show.
  std::string NewestAnswers() {
    return Read({"select '.' || FieldValue from FieldValue where QuestionID=(select max(QuestionID) from Question) "
                 "order by FieldValueID"});
  }

  std::string above = "-1";
  std::string version = "3";
};
SURVA_ON_BOTH_ENGINES(Wizard);

std::string WizardPage(const std::string& step, const std::string& rows, const std::string& back) {
  return PageWith("<Form action=CreateForm.asp method=post><input type=hidden name=AddQuestionStep value=" + step +
                  "><input type=hidden name=AddQuestion value=\"31\"><input type=hidden name=SurvaVersion   "
                  "value=\"3\">" +
                  Table("2", "6") + rows +
                  (back.empty() ? ""
                                : "<tr><TD align=right bgColor=\"black\"><input type=submit name=" + back +
                                      " value=Back></TD><TD align=left bgcolor=#c0c0c0><input type=submit "
                                      "name=AddQuestionButton Value=\"Next\"></td></TR>") +
                  "</table></form>");
}

std::string PhrasePage(const std::string& alert = "") {
  return PageWith("<Form action=CreateForm.asp method=post><input type=hidden name=AddQuestionStep value=2a>"
                  "<input type=hidden name=AddQuestion value=\"31\"><input type=hidden name=SurvaVersion   "
                  "value=\"3\">" +
                      Table("2", "6") +
                      "<tr><TD bgColor=\"black\"><font face=tahoma size=2 color=white><B>Enter question phrase or a "
                      "group name ?</b></font></TD><TD bgcolor=#c0c0c0><input type=text maxlength=250 size=50 "
                      "name=question></td></TR><tr><TD align=right bgColor=\"black\"><input type=submit name=AQBBA "
                      "value=Back></TD><TD bgcolor=#c0c0c0><input type=submit name=AddQuestionButton Value=\"Next\">"
                      "</td></TR></table></form>",
                  alert);
}

const std::string kRolePage =
    WizardPage("2",
               Title("Choose type") + Caption("Main Group", "<input type=radio name=AnswerType checked value=1>") +
                   Caption("Main Question", "<input type=radio name=AnswerType value=2>") +
                   Caption("Sub Question", "<input type=radio name=AnswerType value=3>") +
                   Caption("Label<i>(suitable for sub-questions)</i>", "<input type=radio name=AnswerType value=4>"),
               "AQBBBa");
const std::string kKindPage =
    WizardPage("3",
               Title("Choose type") + Caption("Text field", "<input type=radio name=QuestionType checked value=3>") +
                   Caption("Combo box", "<input type=radio name=QuestionType value=1>") +
                   Caption("CheckBox", "<input type=radio name=QuestionType value=2>") +
                   Caption("Radio button", "<input type=radio name=QuestionType value=4>"),
               "AQBBB");

std::string Number3(const std::string& caption, const std::string& name, const std::string& value) {
  return Caption(caption, "<input type=text size=2 maxlength=3 name=" + name + " value=" + value + ">");
}
const std::string kCount = Number3("Number of values", "NumberOfValues", "1");
const std::string kRequiredRow =
    Caption("Answer is required", "<input type=radio name=AnswerIsRequired value=1>Yes&nbsp;&nbsp;"
                                  "<input type=radio name=AnswerIsRequired checked value=2>No");
const std::string kOneRow = "<input type=radio name=LineRows checked value=1>One row&nbsp;&nbsp;"
                            "<input type=radio name=LineRows value=2>Separate rows";

std::string OptionsPage(char kind) {
  switch (kind) {
    case '1':
      return WizardPage("4",
                        Title("ComboBox options") + kCount +
                            Caption("First value is empty <i>(Default)</i>",
                                    "<input type=radio name=FirstValueIsEmpty checked value=1>Yes&nbsp;&nbsp;"
                                    "<input type=radio name=FirstValueIsEmpty value=2>No") +
                            Number3("Number of rows displayed <i>(Size)</i>", "NumberOfRows", "1") + kRequiredRow,
                        "AQBBC");
    case '2':
      return WizardPage("4",
                        Title("CheckBox options") + kCount +
                            Caption("Checkboxes are in one row or in separate rows</i>", kOneRow) + kRequiredRow,
                        "AQBBC");
    case '3':
      return WizardPage("4",
                        Title("Text field options") + Number3("Number of rows", "SizeY", "4") +
                            Number3("Number of columns", "SizeX", "30") + kRequiredRow,
                        "AQBBC");
    default:
      return WizardPage("4",
                        Title("Radio button options") + kCount +
                            Caption("Radio buttons are in one row or in separate rows</i>", kOneRow) + kRequiredRow,
                        "AQBBC");
  }
}

std::string ValueRow(const std::string& number, const std::string& control, const std::string& hint = "") {
  return "<tr><TD colspan=2 bgColor=\"#c0c0c0\"><font face=tahoma size=2 color=black>" + number +
         ".&nbsp;<input type=text size=20 maxlength=50 name=" + control + number + ">&nbsp;" + hint + "</td></TR>";
}

TEST_P(Wizard, PagesForwardsAndBack) {
  seed.Surva(EveryKind());
  above = "31";
  EXPECT_EQ(Get({{"SurvaVersion", "3"}, {"AddQuestion", "31"}, {"AddQuestionStep", "1"}}).page, PhrasePage());
  EXPECT_EQ(Step("2a", {{"question", ""}}).page, PhrasePage("You have not entered question phrase or a group name !"));
  EXPECT_EQ(Step("2a", {{"question", "Who?"}}).page, kRolePage);
  EXPECT_EQ(visitor.session()["question"].Text(), "Who?");
  for (const char* role : {"2", "3"}) EXPECT_EQ(Step("2", {{"AnswerType", role}}).page, kKindPage);
  for (const char kind : {'1', '2', '3', '4'}) {
    EXPECT_EQ(Step("3", {{"QuestionType", std::string(1, kind)}}).page, OptionsPage(kind)) << kind;
    EXPECT_EQ(Back("AQBBD", "5").page, OptionsPage(kind)) << "back from the values";
  }
  EXPECT_EQ(Step("3", {{"QuestionType", "9"}}).page, WizardPage("4", "", "")) << "a kind that is none";
  EXPECT_EQ(Step("4", {}).page, WizardPage("5", "", "AQBBD"));
  EXPECT_EQ(Back("AQBBC", "4").page, kKindPage);
  EXPECT_EQ(Back("AQBBB", "3").page, kRolePage);
  EXPECT_EQ(Back("AQBBBa", "2").page, PhrasePage());
  EXPECT_TRUE(Back("AQBBA", "2a").Holds("Modify surva layout"));
  EXPECT_EQ(Counts(), "8,8,6");
}

TEST_P(Wizard, ValuePages) {
  above = "31";
  const NameValues empty_first = {{"FirstValueIsEmpty", "1"}, {"NumberOfRows", "1"}, {"AnswerIsRequired", "2"}};
  const auto values = [&](const char* kind, const NameValues& more, const char* count) {
    Step("3", {{"QuestionType", kind}});
    NameValues form = more;
    form.emplace_back("NumberOfValues", count);
    return Step("4", form);
  };
  const std::string combo = Title("Enter ComboBox values");
  const std::string hint = ValueRow("1", "CmbVal", " You have chosen first answer as an empty answer");
  EXPECT_EQ(values("1", empty_first, "3").page,
            WizardPage("5", combo + hint + ValueRow("2", "CmbVal") + ValueRow("3", "CmbVal") + ValueRow("4", "CmbVal"),
                       "AQBBD"));
  EXPECT_EQ(values("1", {{"FirstValueIsEmpty", "2"}}, "2").page,
            WizardPage("5", combo + ValueRow("1", "CmbVal") + ValueRow("2", "CmbVal"), "AQBBD"));
  EXPECT_EQ(values("1", empty_first, "0").page, WizardPage("5", combo + hint, "AQBBD"));
  EXPECT_EQ(values("1", {}, "-5").page, WizardPage("5", combo, "AQBBD"));
  EXPECT_EQ(
      values("2", empty_first, "2").page,
      WizardPage("5", Title("Enter CheckBoxes names") + ValueRow("1", "CkbVal") + ValueRow("2", "CkbVal"), "AQBBD"));
  EXPECT_EQ(values("4", {}, " 1.4 ").page,
            WizardPage("5", Title("Enter Radio Buttons names") + ValueRow("1", "CkbVal"), "AQBBD"));
  for (const char* kind : {"1", "2", "4"}) {
    for (const char* wrong : {"", "x", "1;2"}) EXPECT_EQ(values(kind, empty_first, wrong).faults, kMismatch) << wrong;
    for (const char* huge : {"999999999", "32768", "1e300"}) {
      EXPECT_EQ(values(kind, empty_first, huge).faults, kOverflow) << huge;
    }
  }
  EXPECT_EQ(values("1", empty_first, "32767").faults, kOverflow) << "one more is asked for";
  EXPECT_EQ(values("2", {}, "32767").Count("name=CkbVal"), 32767);
}

TEST_P(Wizard, StoresEveryKindOfRow) {
  seed.Surva({});
  struct Case {
    std::string phrase;
    std::string role;
    std::string kind;
    NameValues options;
    NameValues values;
    std::string question;
    std::string answers = {};
  };
  const NameValues two = {{"CkbVal1", "Yes"}, {"CkbVal2", "No"}, {"CkbVal3", "never read"}, {"CmbVal1", "neither"}};
  const std::vector<Case> cases = {
      {"Group's \"name\"", "1", "", {}, {}, "Group's \"name\",1,0,0,0,0,0"},
      {"Label", "4", "", {}, {}, "Label,4,0,0,0,0,0"},
      {"Text", "2", "3", {{"SizeX", "30"}, {"SizeY", "4"}, {"AnswerIsRequired", "1"}}, {}, "Text,2,3,30,4,0,-1"},
      {"Text", "3", "3", {{"SizeX", "0"}, {"SizeY", "-1"}, {"AnswerIsRequired", "2"}}, {}, "Text,3,3,0,-1,0,0"},
      {"Text", "3", "3", {{"SizeX", "1"}, {"SizeY", "1"}, {"LineRows", "1"}}, {}, "Text,3,3,1,1,-1,0"},
      {"Combo",
       "2",
       "1",
       {{"FirstValueIsEmpty", "1"}, {"NumberOfValues", "3"}, {"NumberOfRows", "2"}, {"AnswerIsRequired", "1"}},
       {{"CmbVal1", ""}, {"CmbVal2", "It's A"}, {"CmbVal4", "C"}, {"CmbVal5", "never read"}},
       "Combo,2,1,2,0,-1,-1",
       ". .It's A . .C"},
      {"Combo",
       "3",
       "1",
       {{"FirstValueIsEmpty", "2"}, {"NumberOfValues", "1"}, {"NumberOfRows", "5"}, {"AnswerIsRequired", "2"}},
       {{"CmbVal1", "A"}, {"CmbVal2", "never read"}},
       "Combo,3,1,5,0,-1,0",
       ".A"},
      // What the combo box before asked for must not reach these.
      {"Boxes",
       "2",
       "2",
       {{"NumberOfValues", "2"}, {"LineRows", "1"}, {"AnswerIsRequired", "1"}},
       two,
       "Boxes,2,2,0,0,0,-1",
       ".Yes .No"},
      {"Boxes",
       "3",
       "2",
       {{"NumberOfValues", "2"}, {"LineRows", "2"}, {"AnswerIsRequired", "2"}},
       two,
       "Boxes,3,2,0,0,-1,0",
       ".Yes .No"},
      {"Radio",
       "2",
       "4",
       {{"NumberOfValues", "2"}, {"LineRows", "1"}, {"AnswerIsRequired", "2"}},
       two,
       "Radio,2,4,0,0,0,0",
       ".Yes .No"},
      {"Radio",
       "3",
       "4",
       {{"NumberOfValues", "0"}, {"LineRows", "2"}, {"AnswerIsRequired", "1"}},
       two,
       "Radio,3,4,0,0,-1,-1",
       ""},
  };
  std::string layout;
  for (const Case& c : cases) {
    Step("2a", {{"question", c.phrase}});
    Answer answer = Step("2", {{"AnswerType", c.role}});
    if (!c.kind.empty()) {
      Step("3", {{"QuestionType", c.kind}});
      answer = Step("4", c.options);
      if (!c.values.empty()) answer = Step("5", c.values);
    }
    EXPECT_TRUE(answer.Holds("Modify surva layout")) << c.question << answer.page;
    EXPECT_EQ(answer.Count("<HTML>"), 1);
    EXPECT_EQ(NewestQuestion(), c.question);
    EXPECT_EQ(NewestAnswers(), c.answers) << c.question;
    EXPECT_EQ(visitor.session()["layout"].Text(), "1");
  }
  EXPECT_EQ(Read({"select PositionID from SurvaLayout where SurvaVersionID=3 order by QuestionID"}),
            "1 2 3 4 5 6 7 8 9 10 11");
}

TEST_P(Wizard, RowsWithoutAControl) {
  seed.Surva({});
  // Only requests made by hand lead here: no role, and roles that are none.
  EXPECT_EQ(Step("2", {}).faults, kNone);
  EXPECT_EQ(NewestQuestion(), ",2,5,0,0,0,0");
  Step("2a", {{"question", "Thanks"}});
  for (const char* role : {"5", "0", "x", "'"}) {
    EXPECT_EQ(Step("2", {{"AnswerType", role}}).faults, kNone) << role;
    EXPECT_EQ(NewestQuestion(), "Thanks,2,5,0,0,0,0") << role;
  }
  // A role that is posted holds, though the session is lost; an empty phrase is stored as one.
  visitor.session() = Session();
  EXPECT_EQ(Step("2", {{"AnswerType", "4"}}).faults, kNone);
  EXPECT_EQ(Read({"select count(*) from Question where Content=''"}), "2");
}

TEST_P(Wizard, GoingBackToTheRoleForgetsThePhrase) {
  seed.Surva({});
  Begin("Who?", "2", "3");
  Back("AQBBC", "4");  // to the kinds: the role stays
  Step("3", {{"QuestionType", "3"}});
  Step("4", {{"SizeX", "1"}, {"SizeY", "1"}});
  EXPECT_EQ(NewestQuestion(), "Who?,2,3,1,1,0,0");
  Begin("Who?", "3");
  Back("AQBBB", "3");  // to the roles
  Step("2", {{"AnswerType", "3"}});
  Step("3", {{"QuestionType", "3"}});
  Step("4", {{"SizeX", "1"}, {"SizeY", "1"}});
  EXPECT_EQ(NewestQuestion(), ",3,3,1,1,0,0");
  Begin("Who?", "3");
  Back("AQBBB", "3");
  Back("AQBBBa", "2");
  Begin("Who again?", "1");
  EXPECT_EQ(NewestQuestion(), "Who again?,1,0,0,0,0,0");
}

TEST_P(Wizard, Places) {
  struct Case {
    std::string version;
    std::string above;
    std::string places;  // SurvaLayoutID,PositionID of the version
  };
  seed.Surva(
      {.rows = {{kGroup, kNoAnswer, "A"}, {kLabel, kNoAnswer, "B"}, {kLabel, kNoAnswer, "C"}, {kMain, kText, "D"}}});
  seed.Surva({.rows = {{kGroup, kNoAnswer, "Another surva"}}});
  // A copy shares the questions and has places of its own.
  Post({{"CreateNewSurva2", "Next"}, {"SurvaVersionID", "3"}});
  const std::vector<Case> cases = {
      {"3", "33", "31,1 32,2 40,3 33,4 34,5"},
      {"3", "31", "41,1 31,2 32,3 40,4 33,5 34,6"},
      {"3", " -1.0 ", "41,1 31,2 32,3 40,4 33,5 34,6 42,7"},
      {"4", "-1", "35,1 43,2"},
      {"5", "39", "36,1 37,2 38,3 44,4 39,5"},
      {"99", "-1", "45,1"},
  };
  for (const Case& c : cases) {
    above = c.above;
    version = c.version;
    Begin("New", "1");
    EXPECT_EQ(Read({"select SurvaLayoutID, PositionID from SurvaLayout where SurvaVersionID=", data::Number(c.version),
                    " order by PositionID"}),
              c.places)
        << c.version << " " << c.above;
  }
  // Gaps stay gaps.
  Write({"update SurvaLayout set PositionID=20 where SurvaLayoutID=43"});
  version = "4";
  above = "-1";
  Begin("New", "4");
  above = "43";
  Begin("New", "4");
  EXPECT_EQ(Layout(4), "35,15,1 47,23,20 43,19,21 46,22,22");
}

// What a failing step has written before stands.
TEST_P(Wizard, Failures) {
  seed.Surva({.rows = {{kGroup, kNoAnswer, "A"}}});
  seed.Surva({.rows = {{kGroup, kNoAnswer, "B"}}});
  const std::string before = Layout(3) + " " + Layout(4);
  struct Place {
    std::string version;
    std::string above;
    Faults faults;
  };
  // The question is stored first, and finds no place.
  for (const Place& c : std::vector<Place>{{"3", "", kMismatch},
                                           {"3", "x", kMismatch},
                                           {"3", "31 or 1=1", kMismatch},
                                           {"3", "32", kNoRow},
                                           {"3", "99", kNoRow},
                                           {"3", "-2", kNoRow},
                                           {"3", "1,000", kSyntax},
                                           {"", "-1", kSyntax},
                                           {"x", "31", kSyntax},
                                           {"3 or 1=1", "-1", kSyntax}}) {
    above = c.above;
    version = c.version;
    const std::string questions = Read({"select count(*) from Question"});
    Step("2a", {{"question", "Lost"}});
    EXPECT_EQ(Step("2", {{"AnswerType", "1"}}).faults, c.faults) << c.version << " " << c.above;
    EXPECT_EQ(Read({"select count(*) from Question"}), std::to_string(std::stoi(questions) + 1));
    EXPECT_EQ(Layout(3) + " " + Layout(4), before);
  }

  above = "-1";
  version = "3";
  const std::string stored = Counts();
  Begin("Text", "2", "3");
  EXPECT_EQ(Step("4", {{"SizeX", "wide"}, {"SizeY", "4"}}).faults, kMismatch);
  EXPECT_EQ(Step("4", {{"SizeX", "30"}}).faults, kMismatch);
  EXPECT_EQ(Step("4", {{"SizeX", "30"}, {"SizeY", "99999999999"}}).faults, Faults{FaultNumber::kOutOfRange});
  Begin("Combo", "2", "1");
  Step("4", {{"NumberOfValues", "1"}, {"NumberOfRows", "all"}});
  EXPECT_EQ(Step("5", {{"CmbVal1", "A"}}).faults, kMismatch);
  Begin(std::string(251, 'p'), "2", "3");
  EXPECT_EQ(Step("4", {{"SizeX", "30"}, {"SizeY", "4"}}).faults, kRefused);
  visitor.session() = Session();
  EXPECT_EQ(Step("5", {{"CkbVal1", "A"}}).faults, kMismatch) << "no role is left";
  EXPECT_EQ(Counts(), stored) << "a question that the database refuses leaves nothing";

  // A choice that is too long stops in the middle; the row and the choices before it stand.
  Begin("Boxes", "2", "2");
  Step("4", {{"NumberOfValues", "3"}, {"LineRows", "1"}});
  EXPECT_EQ(Step("5", {{"CkbVal1", "A"}, {"CkbVal2", std::string(61, 'b')}, {"CkbVal3", "C"}}).faults, kRefused);
  EXPECT_EQ(NewestAnswers(), ".A");
  EXPECT_EQ(Read({"select PositionID from SurvaLayout where QuestionID=(select max(QuestionID) from Question)"}), "2");
  // A count that the values page has refused is still refused after the row was placed.
  Step("4", {{"NumberOfValues", "999999999"}});
  EXPECT_EQ(Step("5", {}).faults, kOverflow);
  EXPECT_EQ(NewestAnswers(), "");
  EXPECT_EQ(Read({"select max(PositionID) from SurvaLayout where SurvaVersionID=3"}), "3");
}

TEST_P(Wizard, TextsAtTheirWidest) {
  seed.Surva({});
  std::string phrase;
  for (int letter = 0; letter < 250; ++letter) phrase += "\u017b";
  Begin(phrase, "2", "4");
  Step("4", {{"NumberOfValues", "1"}});
  EXPECT_EQ(Step("5", {{"CkbVal1", "<b>'\"%&" + std::string(53, 'v')}}).faults, kNone);
  EXPECT_EQ(Read({"select Content from Question"}), phrase);
  EXPECT_EQ(NewestAnswers(), ".<b>'\"%&" + std::string(53, 'v'));
  EXPECT_TRUE(Get({{"Preview", "3"}}).Holds("value=\"<b>'\"%&" + std::string(53, 'v') + "\">"));
}

}  // namespace
}  // namespace surva::test
