// Which page answers which parameters.
#include "tests/design/designer.h"

namespace surva::test {
namespace {

class Dispatch : public Designer {};
SURVA_ON_BOTH_ENGINES(Dispatch);

const std::string kList = "<B>surva versions</B>";
const std::string kPicker = "Choose surva based on which";
const std::string kProperties = "<B>Modify surva properties</B>";
const std::string kEditor = "Modify surva layout";
const std::string kQuestion = "<B>Modify main question properties</B>";
const std::string kPhrase = "name=AddQuestionStep value=2a>";
const std::string kRole = "name=AddQuestionStep value=2>";
const std::string kKind = "name=AddQuestionStep value=3>";
const std::string kOptions = "name=AddQuestionStep value=4>";
const std::string kValues = "name=AddQuestionStep value=5>";

// A request with every parameter at once goes to the first; taken away one by one, they answer in their order.
TEST_P(Dispatch, TestsStandInTheirOrder) {
  seed.Surva(EveryKind());
  visitor.session().Set("AnswerType", "2");
  visitor.session().Set("QuestionType", "1");
  struct Link {
    const char* name;
    const char* value;
    std::string shows;
    Faults faults = {};
  };
  const std::vector<Link> links = {
      {"AQAAA", "List of survas", ""},
      {"AQBBD", "Back", kOptions},
      {"AQBBC", "Back", kKind},
      {"AQBBBa", "Back", kPhrase},
      {"AQBBB", "Back", kRole},
      {"AQBBA", "Back", kProperties},  // for CreateEmptySurva is there
      {"ModifySurvaProperties", "3", "", kMismatch},
      {"CreateNewSurva", "1", kPicker},
      {"CreateNewSurva2", "Next", "", kSyntax},  // no source
      {"CreateEmptySurva", "1", kProperties},
      {"View", "3", kProperties},
      {"Preview", "3", "<BR><TABLE align=\"center\""},
      {"ModifyQuestionProperties", "32", kQuestion},
      {"ModifyQuestionAnswers", "32", kQuestion},
      {"DeleteQuestionAnswer", "99", kQuestion},
      {"AddQuestionAnswer", "12", kQuestion},
      {"DeleteQuestion", "Delete selected", kEditor},
      {"MoveUp", "32", kEditor},
      {"MoveDown", "32", kEditor},
      {"ModifyQuestion", "32", kQuestion},
      {"AddQuestionStep", "1", kPhrase},
      {"unknown", "1", kList},
  };
  for (std::size_t first = 0; first < links.size(); ++first) {
    NameValues form = {{"SurvaVersion", "3"}, {"Version", "3"},        {"AddQuestion", "-1"},
                       {"Number", "32"},      {"NumberOfValues", "2"}, {"question", "Clear?"},
                       {"AnswerType", "2"},   {"LineRows", "0"},       {"Required", "0"}};
    for (std::size_t later = links.size(); later-- > first;) form.emplace_back(links[later].name, links[later].value);
    const Answer answer = Post(form);
    if (!links[first].faults.empty()) {
      EXPECT_EQ(answer.faults, links[first].faults) << links[first].name;
    } else if (first == 0) {
      EXPECT_EQ(answer.redirect, "CreateForm.asp");
    } else {
      EXPECT_TRUE(answer.Holds(links[first].shows)) << links[first].name << " gave " << answer.page;
    }
  }
}

TEST_P(Dispatch, StepsOfTheWizard) {
  seed.Surva({});
  const std::vector<std::pair<NameValues, std::string>> steps = {
      {{{"AddQuestionStep", "2a"}, {"question", " "}}, kRole},  // one blank is a phrase
      {{{"AddQuestionStep", "2A"}, {"Question", "Who?"}}, kRole},
      {{{"AddQuestionStep", "2"}, {"AnswerType", "3"}}, kKind},
      {{{"AddQuestionStep", "3"}, {"QuestionType", "1"}}, kOptions},
      {{{"AddQuestionStep", "4"}, {"NumberOfValues", "1"}, {"NumberOfRows", "1"}}, kValues},
      {{{"AddQuestionStep", "5"}, {"AQBBD", "Back"}}, kOptions},
      {{{"AddQuestionStep", "5"}}, kEditor},
      {{{"AddQuestionStep", "9"}}, kList},
      {{{"AddQuestionStep", "2 a"}}, kList},
      {{{"AddQuestionStep", ""}, {"MoveUp", ""}, {"View", ""}}, kList},
  };
  for (auto [form, shows] : steps) {
    form.insert(form.end(), {{"AddQuestion", "-1"}, {"SurvaVersion", "3"}});
    const Answer answer = Post(form);
    EXPECT_TRUE(answer.Holds(shows)) << form[0].second << " gave " << answer.page;
  }
  EXPECT_EQ(Read({"select count(*) from Question"}), "1") << "the Back button won over the step that saves";
}

TEST_P(Dispatch, ABlankPhraseStays) {
  seed.Surva({});
  const NameValues form = {{"AddQuestionStep", "2a"}, {"AddQuestion", "-1"}, {"SurvaVersion", "3"}};
  const Answer answer = Post(form);
  EXPECT_TRUE(answer.Holds("</HEAD><SCRIPT language=JScript>"
                           "alert('You have not entered question phrase or a group name !');</SCRIPT><BODY"));
  EXPECT_TRUE(answer.Holds(kPhrase));
  EXPECT_EQ(answer.response.scripts().size(), 3U) << "the alert, the toolbar and the help may run";
  EXPECT_EQ(Get({{"AddQuestionStep", "1"}}).Count("alert("), 0) << "it shows once";
}

TEST_P(Dispatch, ActionsThatGoOn) {
  for (int count = 0; count < 3; ++count) seed.Surva({});
  EXPECT_TRUE(Get({{"ChangeValid", "change"}, {"Number", "3"}, {"View", "4"}}).Holds(kProperties));
  EXPECT_EQ(Read({"select SurvaVersionID, Valid from SurvaVersion order by SurvaVersionID"}), "3,-1 4,0 5,0");
  EXPECT_TRUE(Post({{"ChangeValid", "Change"}, {"Number", "4"}, {"DeleteSurva", "5"}}).Holds(kList));
  EXPECT_EQ(Read({"select SurvaVersionID, Valid from SurvaVersion order by SurvaVersionID"}), "3,0 4,-1");
  EXPECT_TRUE(Post({{"ChangeValid", "Changed"}, {"Number", "3"}}).Holds(kList));
  EXPECT_EQ(Read({"select SurvaVersionID, Valid from SurvaVersion order by SurvaVersionID"}), "3,0 4,-1");
}

TEST_P(Dispatch, KeysThatAreConverted) {
  seed.Surva(EveryKind());
  struct Case {
    const char* version;
    Faults faults;
  };
  for (const Case& c : std::vector<Case>{{"3", kNone},
                                         {" 3.4 ", kNone},
                                         {"2.5", kNoRow},  // 2
                                         {"", kNoRow},
                                         {"32767", kNoRow},
                                         {"32768", kOverflow},
                                         {"-32769", kOverflow},
                                         {"1e99", kOverflow},
                                         {"three", kMismatch},
                                         {"3 or 1=1", kMismatch},
                                         {"3, 3", kMismatch}}) {
    for (const auto& [name, version_name] :
         {std::pair("ModifyQuestion", "SurvaVersion"), std::pair("DeleteQuestionAnswer", "Version")}) {
      const Answer answer = Get({{name, "32"}, {"Number", "32"}, {version_name, c.version}});
      EXPECT_EQ(answer.faults, c.faults) << name << " " << c.version;
      EXPECT_EQ(answer.Holds("name=SurvaVersion   value=\"3\""), c.faults.empty());
    }
  }
  EXPECT_EQ(Get({{"ModifyQuestion", "32"}}).faults, kNoRow);
}

TEST_P(Dispatch, ErrorsStandInTheFrame) {
  visitor.session().Set("ErrorMsg", "Look out");
  EXPECT_EQ(Get({{"View", "'"}}).page,
            PageWith("<BLOCKQUOTE><BR><font face=tahoma color=red size=2><B>Error occurred</B><BR><BR>"
                     "Error number: -2147217900<BR>Error source: surva database<BR>Error in file: surva.dll<BR>"
                     "Error description: Syntax error in query expression.<BR></font><BR></BLOCKQUOTE>"));
  EXPECT_EQ(visitor.session()["SurvaProperties"].Text(), "1");
  visitor.dsn = "";
  for (const NameValues& query : std::vector<NameValues>{
           {}, {{"AddQuestionStep", "1"}}, {{"AQBBB", "Back"}}, {{"CreateNewSurva", "1"}}, {{"Preview", "3"}}}) {
    const Answer answer = Get(query);
    EXPECT_EQ(answer.faults, Faults{FaultNumber::kConnectionFailed});
    EXPECT_EQ(answer.Count("<HTML>") + answer.Count("</HTML>") + answer.Count("<form"), 2) << answer.page;
  }
  EXPECT_EQ(visitor.session()["SurvaProperties"].Text(), "0");
}

}  // namespace
}  // namespace surva::test
