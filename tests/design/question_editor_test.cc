// The editor of a question and its answers, which all survas that hold it share.
#include "tests/design/designer.h"
#include "tests/support/watched_engine.h"

namespace surva::test {
namespace {

class QuestionEditor : public Designer {
 protected:
  void SetUp() override { seed.Surva(EveryKind()); }
  Answer Edit(const std::string& row) { return Get({{"SurvaVersion", "3"}, {"ModifyQuestion", row}}); }
  Answer Save(const std::string& row, NameValues form) {
    form.insert(form.begin(), {{"ModifyQuestionProperties", row}, {"Version", "3"}, {"SurvaVersion", "3"}});
    return Post(form);
  }
  Answer SaveAnswers(const std::string& row, NameValues form) {
    form.insert(form.begin(), {{"ModifyQuestionAnswers", row}, {"Version", "3"}});
    return Post(form);
  }
  std::string Question(int id) {
    return Read({"select Content, AnswerType, QuestionType, SizeX, SizeY, LineRows, Required from Question where "
                 "QuestionID=",
                 data::Number(id)});
  }
};
SURVA_ON_BOTH_ENGINES(QuestionEditor);

std::string Properties(const std::string& row, const std::string& rows) {
  return "<Form action=CreateForm.asp method=post><input type=hidden name=ModifyQuestionProperties value=\"" + row +
         "\"><input type=hidden name=Version   value=\"3\"><input type=hidden name=SurvaVersion   value=\"3\">" +
         Table("2", "6") + rows +
         "<tr><TD align=right bgColor=\"black\"><input type=submit name=AQBBA value=Back></TD><TD align=left "
         "bgcolor=#c0c0c0><input type=submit name=SaveQuestionPropertiesButton Value=\"Save properties changes\">"
         "</td></TR></table></form>";
}

std::string Phrase(const std::string& title, const std::string& caption, const std::string& content) {
  return Title(title) +
         Caption(caption, "<input type=text name=Question size=50 maxlength=250 value=\"" + content + "\">");
}

const std::string kIsMain =
    Caption("Question type", "<input type=radio name=AnswerType value=2 checked>Main Question&nbsp;&nbsp;"
                             "<input type=radio name=AnswerType value=3>Sub-question");
const std::string kIsSub =
    Caption("Question type", "<input type=radio name=AnswerType value=2>Main Question&nbsp;&nbsp;"
                             "<input type=radio name=AnswerType checked value=3>Sub-question");
const std::string kInOneRow =
    Caption("Answers layout", "<input type=radio name=LineRows value=0 checked>All answers in one row&nbsp;"
                              "&nbsp;<input type=radio name=LineRows value=-1>Each answer in a separate row");
const std::string kInRows =
    Caption("Answers layout", "<input type=radio name=LineRows value=0>All answers in one row&nbsp;&nbsp;"
                              "<input type=radio name=LineRows value=-1 checked>Each answer in a separate row");
const std::string kNeeded =
    Caption("Answer is required", "<input type=radio name=Required value=-1 checked>Yes&nbsp;&nbsp;"
                                  "<input type=radio name=Required value=0>No");
const std::string kOptional = Caption("Answer is required", "<input type=radio name=Required value=-1>Yes&nbsp;&nbsp;"
                                                            "<input type=radio name=Required value=0 checked>No");

std::string Size(const std::string& caption, const std::string& name, const std::string& value) {
  return Caption(caption, "<input type=text name=" + name + " size=2 maxlength=3 value=\"" + value + "\">");
}

using Choices = std::vector<std::pair<std::string, std::string>>;
std::string AnswersForm(const std::string& question, const std::string& row, const Choices& choices) {
  std::string form = "<BR><HR><BR><Form action=CreateForm.asp method=post><input type=hidden "
                     "name=ModifyQuestionAnswers value=\"" +
                     row +
                     "\"><input type=hidden name=Version   value=\"3\"><input type=hidden name=NumberOfValues   "
                     "value=\"" +
                     std::to_string(choices.size()) + "\">" + Table("2", "6") + Title("Answer values");
  int number = 0;
  for (const auto& [key, text] : choices) {
    const std::string count = std::to_string(++number);
    form += "<tr><TD align=center bgColor=\"black\"><font face=tahoma size=2 color=white>" + count +
            ".</td><TD bgcolor=#c0c0c0><input type=text name=FV" + count + " size=20 maxlength=60 value=\"" + text +
            "\"> &nbsp;&nbsp;<a href=CreateForm.asp?DeleteQuestionAnswer=" + key + "&Number=" + row +
            "&Version=3><img border=0 src=images/delete.gif alt=\"Delete this answer\"></a></td></TR>";
  }
  return form + "<tr><TD align=center bgColor=\"black\"><a href=CreateForm.asp?AddQuestionAnswer=" + question +
         "&Number=" + row +
         "&Version=3><img border=0 src=images/addnew.gif alt=\"Add new answer\"></a></TD><TD align=left "
         "bgcolor=#c0c0c0><input type=submit name=SaveQuestionValuesButton Value=\"Save answers changes\"></td></TR>"
         "</table></form>";
}

TEST_P(QuestionEditor, Pages) {
  const std::string main = "Modify main question properties";
  const std::string sub = "Modify sub-question properties";
  const std::vector<std::pair<std::string, std::string>> pages = {
      {"31", Properties("31", Phrase("Modify group properties", "Main group name", "Trainer"))},
      {"32", Properties("32", Phrase(main, "Question phrase", "Clear?") + kIsMain + kInOneRow + kNeeded) +
                 AnswersForm("12", "32", {{"21", "Yes"}, {"22", "No"}})},
      {"33", Properties("33", Phrase(sub, "Sub-question phrase", "Room") + kIsSub +
                                  Size("Number of rows displayed at a time <I>(Size)</I>", "SizeX", "2") + kOptional) +
                 AnswersForm("13", "33", {{"23", ""}, {"24", "Hall A"}})},
      {"34", Properties("34", Phrase("Modify label properties", "Label phrase", "Materials"))},
      {"35", Properties("35", Phrase(sub, "Sub-question phrase", "Used") + kIsSub + kInRows + kNeeded) +
                 AnswersForm("15", "35", {{"25", "Book"}, {"26", "Slides"}})},
      {"37",
       Properties("37", Phrase(main, "Question phrase", "Say \"it\"") + kIsMain + Size("Number of rows", "SizeY", "5") +
                            Size("Number of columns", "SizeX", "40") + kOptional)},
      {"38", Properties("38", Phrase(main, "Question phrase", "Thanks") + kIsMain + kOptional)},
  };
  for (const auto& [row, page] : pages) EXPECT_EQ(Edit(row).page, PageWith(page)) << row;
  // A role that only another program stores has neither title nor phrase; flags that were never set count as on.
  Write({"update Question set AnswerType=7, LineRows=NULL, Required=NULL where QuestionID=12"});
  EXPECT_EQ(Edit("32").page,
            PageWith(Properties("32", kInRows + kNeeded) + AnswersForm("12", "32", {{"21", "Yes"}, {"22", "No"}})));
}

TEST_P(QuestionEditor, SavesWhatTheRowHas) {
  // Everything is posted; each row takes what belongs to it.
  const NameValues form = {{"Question", "It's \"new\""}, {"AnswerType", "3"}, {"SizeX", "7"}, {"SizeY", "8"},
                           {"LineRows", "-1"},           {"Required", "0"}};
  const std::vector<std::pair<int, std::string>> saved = {
      {11, "1,0,1,0,-1,0"}, {12, "3,4,0,0,-1,0"}, {13, "3,1,7,0,-1,0"}, {14, "4,0,1,0,-1,-1"},
      {15, "3,2,1,0,-1,0"}, {17, "3,3,7,8,0,0"},  {18, "3,5,1,0,-1,0"},
  };
  Write({"update Question set Required=0 where QuestionID=18"});
  for (const auto& [question, columns] : saved) {
    const Answer answer = Save(std::to_string(question + 20), form);
    EXPECT_EQ(Question(question), "It's \"new\"," + columns);
    EXPECT_TRUE(answer.Holds("name=Question size=50 maxlength=250 value=\"It's \"new\"\">")) << answer.page;
  }
  // Turned into sub-questions, they have lost their numbers.
  const std::string preview = Get({{"Preview", "3"}}).page;
  EXPECT_EQ(preview.find("1. It's \"new\"</td>"), std::string::npos);
  EXPECT_NE(preview.find("1. It's \"new\"</font></td>"), std::string::npos) << "the label's is the first number now";
  // A row of no control keeps what is required of it.
  Save("38", {{"Question", "Thanks"}, {"AnswerType", "2"}, {"Required", "-1"}});
  EXPECT_EQ(Question(18), "Thanks,2,5,1,0,-1,0");
}

TEST_P(QuestionEditor, SavesNothingOfWhatIsWrong) {
  const NameValues right = {{"Question", "New"}, {"AnswerType", "2"}, {"SizeX", "7"},
                            {"SizeY", "8"},      {"LineRows", "0"},   {"Required", "0"}};
  struct Case {
    const char* row;
    const char* name;
    const char* value;
    Faults faults;
  };
  const std::string all = Read({"select * from Question order by QuestionID"});
  const std::string long_phrase(251, 'p');
  for (const Case& c : std::vector<Case>{{"33", "SizeX", "wide", kMismatch},
                                         {"33", "SizeX", "", kMismatch},
                                         {"37", "SizeY", "1e20", {FaultNumber::kOutOfRange}},
                                         {"32", "AnswerType", "", kMismatch},
                                         {"32", "LineRows", "yes", kMismatch},
                                         {"32", "Required", "", kMismatch},
                                         {"31", "Question", long_phrase.c_str(), kRefused},
                                         {"30", "Question", "No row", kNoRow},
                                         {"x", "Question", "No row", kSyntax},
                                         {"31 or 1=1", "Question", "No row", kSyntax}}) {
    NameValues form = right;
    for (auto& [name, value] : form) {
      if (name == c.name) value = c.value;
    }
    EXPECT_EQ(Save(c.row, form).faults, c.faults) << c.row << " " << c.name;
  }
  EXPECT_EQ(Read({"select * from Question order by QuestionID"}), all);
  Write({"delete from Question where QuestionID=11"});
  EXPECT_EQ(Edit("31").faults, kNoRow);
  EXPECT_EQ(Save("31", right).faults, kNoRow);
}

TEST_P(QuestionEditor, AnswersAreRenewedAtEverySave) {
  Write({"insert into Mark (StudentID, ScheduleID, QuestionID, FieldValueID) values (5, 7, 12, 21)"});
  const Answer answer = SaveAnswers("32", {{"NumberOfValues", "2"}, {"FV1", "Yes"}, {"FV2", "No"}});
  EXPECT_TRUE(answer.Holds(AnswersForm("12", "32", {{"27", "Yes"}, {"28", "No"}}))) << answer.page;
  EXPECT_EQ(Read({"select FieldValueID from Mark"}), "21") << "answers given keep a key that is gone";
  // An emptied input stays as an empty answer; quotes and markup are kept as they are.
  SaveAnswers("32", {{"NumberOfValues", "3"}, {"FV1", ""}, {"FV2", "It's <b>\"bold\"</b>"}});
  EXPECT_EQ(Answers(12), "29, 30,It's <b>\"bold\"</b> 31,");
  // A stale page shortens the list.
  SaveAnswers("32", {{"NumberOfValues", "1"}, {"FV1", "A"}, {"FV2", "B"}});
  EXPECT_EQ(Answers(12), "32,A");
  EXPECT_EQ(Answers(13) + " " + Answers(15), "23, 24,Hall A 25,Book 26,Slides");
}

TEST_P(QuestionEditor, AnswersThatFail) {
  EXPECT_EQ(SaveAnswers("99", {{"NumberOfValues", "1"}, {"FV1", "A"}}).faults, kNoRow);
  EXPECT_EQ(Post({{"ModifyQuestionAnswers", "32"}, {"NumberOfValues", "1"}}).faults, kNoRow) << "no version is named";
  EXPECT_EQ(Answers(12), "21,Yes 22,No");
  // The old answers go first, and what was written before the failure stands.
  EXPECT_EQ(
      SaveAnswers("32", {{"NumberOfValues", "3"}, {"FV1", "A"}, {"FV2", std::string(61, 'b')}, {"FV3", "C"}}).faults,
      kRefused);
  EXPECT_EQ(Answers(12), "27,A");
  const std::vector<std::pair<const char*, Faults>> counts = {
      {"", kMismatch}, {"x", kMismatch}, {"999999999", kOverflow}, {"32768", kOverflow}};
  for (const auto& [count, faults] : counts) {
    EXPECT_EQ(SaveAnswers("33", {{"NumberOfValues", count}, {"FV1", "A"}}).faults, faults) << count;
    EXPECT_EQ(Answers(13), "");
  }
  EXPECT_EQ(SaveAnswers("35", {{"NumberOfValues", "-1"}, {"FV1", "A"}}).faults, kNone);
  EXPECT_EQ(Answers(15), "");
}

TEST_P(QuestionEditor, AddsAndDeletesAnswers) {
  const auto add = [&](const char* question, const char* row) {
    return Get({{"AddQuestionAnswer", question}, {"Number", row}, {"Version", "3"}});
  };
  const auto remove = [&](const char* answer, const char* row) {
    return Get({{"DeleteQuestionAnswer", answer}, {"Number", row}, {"Version", "3"}});
  };
  EXPECT_TRUE(add("12", "32").Holds(AnswersForm("12", "32", {{"21", "Yes"}, {"22", "No"}, {"27", ""}})));
  EXPECT_TRUE(remove("21", "32").Holds(AnswersForm("12", "32", {{"22", "No"}, {"27", ""}})));
  remove("22", "32");
  EXPECT_TRUE(remove("27", "32").Holds(AnswersForm("12", "32", {}))) << "all answers may go";
  // The page that follows fails; what was done stands.
  EXPECT_EQ(add("13", "99").faults, kNoRow);
  EXPECT_EQ(Answers(13), "23, 24,Hall A 28,");
  EXPECT_EQ(remove("28", "x").faults, kSyntax);
  EXPECT_EQ(Answers(13), "23, 24,Hall A");
  EXPECT_EQ(add("many", "33").faults, kMismatch);
  EXPECT_EQ(remove("23 or 1=1", "33").faults, kSyntax);
  EXPECT_EQ(Read({"select count(*) from FieldValue"}), "4");
}

}  // namespace
}  // namespace surva::test
