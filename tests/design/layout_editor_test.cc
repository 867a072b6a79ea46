// A surva's rows with their buttons, the preview, and what deletes and moves rows.
#include "tests/design/designer.h"
#include "tests/support/watched_engine.h"

namespace surva::test {
namespace {

class LayoutEditor : public Designer {
 protected:
  Answer Edit(const std::string& version = "3") { return Get({{"AQBBA", "Back"}, {"SurvaVersion", version}}); }
};
SURVA_ON_BOTH_ENGINES(LayoutEditor);

std::string HeadForm(const std::string& version) {
  return "<Form action=CreateForm.asp method=post><input type=hidden name=Version   value=\"" + version +
         "\"><input type=hidden name=SurvaVersion   value=\"" + version +
         "\"><input type=hidden name=SaveSurvaProperties   value=1>" + Table("2", "4") +
         "<tr><th align=left><Font color=navy>Modify surva layout</Font></th><TD align=right bgColor=\"white\">"
         "<input type=submit style=\"font-family: Tahoma; font-size: 8pt\" name=AQBBA value=\"surva properties\">"
         "</TD></TR><tr><td width=100% colspan=2 bgcolor=#6699FF size=1></td></tr></table></form>"
         "<Form action=CreateForm.asp method=post><input type=hidden name=Version   value=\"" +
         version + "\"><input type=hidden name=SurvaVersion   value=\"" + version + "\">" + Table("0", "2");
}

std::string AddLink(const std::string& version) {
  return "<a href=CreateForm.asp?SurvaVersion=" + version +
         "&AddQuestion=-1&AddQuestionStep=1><img border=0 src=images/addnew.gif alt=\"Add a new question or main "
         "group\"></a> &nbsp;</TD>";
}

enum Place { kFirst = 1, kLast = 2 };
std::string Strip(const std::string& id, int place = 0) {
  const std::string link = "<a href=CreateForm.asp?SurvaVersion=3&";
  return link + "AddQuestion=" + id +
         "&AddQuestionStep=1><img border=0 src=images/addnew.gif alt=\"Add new question or group above this one\"></a> "
         "&nbsp;" +
         link + "ModifyQuestion=" + id +
         "><img border=0 src=images/modify.gif alt=\"Modify this group or question\"></a> &nbsp;&nbsp; &nbsp;"
         "<img border=0 src=images/delete.gif alt=\"Mark neighbouring option and press delete button to delete that "
         "object\">        <input type=radio title=\"Select that option and press delete button on the bottom of the "
         "page to delete this object \" name=CnfDelQuestion value=" +
         id + ">&nbsp;&nbsp; &nbsp;" +
         ((place & kFirst) != 0 ? ""
                                : link + "MoveUp=" + id +
                                      "><img border=0 src=images/up.gif alt=\"Move one level up\"></a> &nbsp;&nbsp;") +
         ((place & kLast) != 0
              ? ""
              : link + "MoveDown=" + id +
                    "><img border=0 src=images/down.gif alt=\"Move one level down\"></a> &nbsp;&nbsp;");
}

// The rows of EveryKind; `editor` brings the buttons, and a label's cell without its last blank.
std::string Rows(bool editor) {
  const auto strip = [&](const std::string& id, int place = 0) { return editor ? Strip(id, place) : ""; };
  const std::string bar = "<tr><TD bgColor=\"#C0C0C0\" colspan=\"2\"></TD></tr>";
  const std::string main = "<TR><TD bgcolor=\"#C0C0C0\" align=left valign=\"top\" width=\"55%\">";
  const std::string sub = "<TR><TD bgcolor=\"#C0C0C0\" align=right width=\"55%\">";
  const std::string answer = "<TD bgcolor=\"#EAEAEA\" align=left width=\"45%\">";
  return "<TR><TH bgcolor=\"#000000\" align=left colspan=\"2\">" + strip("31", kFirst) +
         "<font color=\"white\">Trainer</font></th></tr>"

         + bar + main + strip("32") + "1. Clear?<font face=arial size=4 color=\"red\"><B>*</B></font></td>" + answer +
         "<input type=\"radio\" name=\"32\" value=\"Yes\">Yes&nbsp;<input type=\"radio\" name=\"32\" value=\"No\">No"
         "&nbsp;</TD></TR>"

         + sub + strip("33") + "Room</td>" + answer +
         "<select name=\"33\" size=\"2\"><option value=\"\"></option><option value=\"Hall A\">Hall A</option></select>"
         "</td></TR>"

         + bar + "<TR><Td bgcolor=\"#c0c0c0\" align=left" + (editor ? ">" : " >") + strip("34") +
         "<font color=\"black\">2. Materials</font></td>" + answer + "&nbsp;</TD></tr>"

         + sub + strip("35") + "Used<font face=Arial size=4 color=\"red\"><B>*</B></font></td>" + answer +
         "<input type=\"checkbox\" name=\"35\" value=\"Book\">Book<br>"
         "<input type=\"checkbox\" name=\"35\" value=\"Slides\">Slides<br></TD></TR>"

         + "<tr><td colspan=2>&nbsp;</td></tr><TR><TH bgcolor=\"#000000\" align=left colspan=\"2\">" + strip("36") +
         "<font color=\"white\">Other <i>things</i></font></th></tr>"

         + bar + main + strip("37") + "1. Say \"it\"</td>" + answer +
         "<textarea rows=\"5\" name=\"37\" cols=\"40\"></textarea></TD>"

         + bar + main + strip("38", kLast) + "2. Thanks</td>" + answer + "&nbsp;</TD></TR>";
}

TEST_P(LayoutEditor, Editor) {
  seed.Surva(EveryKind());
  EXPECT_EQ(Edit().page,
            PageWith(HeadForm("3") + Rows(true) + "<TR><TD align=left>" + AddLink("3") +
                     "<TD align=right><input type=submit Name=DeleteQuestion Value=\"Delete selected\" "
                     "style=\"font-family: Tahoma; font-color:Red; font-size: 8pt\"></TD></TR></Table></form>"));
  seed.Surva({});
  for (const char* empty : {"4", "99", "-1", "40000"}) {
    EXPECT_EQ(Edit(empty).page,
              PageWith(HeadForm(empty) + "<TR><TD colspan=2>" + AddLink(empty) + "</TR></Table></form>"));
  }
  for (const char* wrong : {"", "x", "'", "3 or 1=1"}) EXPECT_EQ(Edit(wrong).faults, kSyntax) << wrong;
}

TEST_P(LayoutEditor, Preview) {
  seed.Surva(EveryKind());
  EXPECT_EQ(Get({{"preview", "3"}}).page, PageWith("<BR>" + Table("0", "2") + Rows(false) + "</Table>"));
  EXPECT_EQ(Get({{"Preview", "99"}}).page, PageWith("<BR>" + Table("0", "2") + "</Table>"));
  EXPECT_EQ(Get({{"Preview", "x"}}).faults, kSyntax);
}

TEST_P(LayoutEditor, ReadsAFormInAFixedNumberOfStatements) {
  Watch watch;
  data::Database watched(database.dsn(), WatchedEngine::Around(watch));
  Visitor reader(watched);
  const auto reads = [&](const char* version) {
    watch.Reset();
    EXPECT_EQ(reader.Serve<CreateForm>({{"AQBBA", "Back"}, {"SurvaVersion", version}}, {}).faults, kNone);
    return watch.reads.load();
  };
  seed.Surva({.rows = {{kMain, kRadio, "Clear?", true, {"Yes", "No"}}}});
  seed.Surva(EveryKind());
  EXPECT_EQ(reads("3"), reads("4"));
}

TEST_P(LayoutEditor, RowsOfNoKnownKind) {
  seed.Surva({.rows = {{kMain, kText, "Why?"}, {kGroup, kNoAnswer, "Group"}, {kSub, kRadio, "How?"}}});
  // Values that only another program stores: no role, no control, nothing at all.
  Write({"update Question set AnswerType=7, QuestionType=9 where QuestionID=11"});
  Write({"update Question set Content=NULL, AnswerType=2, QuestionType=NULL, Required=NULL where QuestionID=12"});
  Write({"update Question set LineRows=NULL, Required=1 where QuestionID=13"});
  Write({"insert into FieldValue (QuestionID) values (13)"});
  Write({"insert into SurvaLayout (SurvaVersionID, QuestionID, PositionID) values (3, 99, 4)"});
  EXPECT_EQ(Get({{"Preview", "3"}}).page,
            PageWith("<BR>" + Table("0", "2") +
                     "<tr><TD bgColor=\"#C0C0C0\" colspan=\"2\"></TD></tr>"
                     "<TR><TD bgcolor=\"#C0C0C0\" align=left valign=\"top\" width=\"55%\">1. </td>"
                     "<TD bgcolor=\"#EAEAEA\" align=left width=\"45%\">"
                     "<TR><TD bgcolor=\"#C0C0C0\" align=right width=\"55%\">How?"
                     "<font face=Arial size=4 color=\"red\"><B>*</B></font></td>"
                     "<TD bgcolor=\"#EAEAEA\" align=left width=\"45%\">"
                     "<input type=\"radio\" name=\"33\" value=\"\">&nbsp;</TD></TR></Table>"));
  EXPECT_FALSE(Edit().Holds("value=34>")) << "a row without its question is not there";
  EXPECT_TRUE(Edit().Holds(Strip("33", kLast)));
}

TEST_P(LayoutEditor, ButtonsOfLoneRows) {
  seed.Surva({.rows = {{kGroup, kNoAnswer, "Only"}}});
  EXPECT_TRUE(Edit().Holds(Strip("31", kFirst | kLast) + "<font color=\"white\">Only"));
  EXPECT_TRUE(Edit(" 3.0").Holds("CreateForm.asp?SurvaVersion=3&AddQuestion=31&"));
  Write({"update SurvaLayout set SurvaLayoutID=32767"});
  EXPECT_EQ(Edit().faults, kNone);
  Write({"update SurvaLayout set SurvaLayoutID=32768"});
  EXPECT_EQ(Edit().faults, kOverflow) << "the buttons take keys of 16 bits";
  EXPECT_EQ(Get({{"Preview", "3"}}).faults, kNone);
}

TEST_P(LayoutEditor, Moves) {
  struct Case {
    std::string places;  // of the rows 31, 32, 33
    NameValues move;
    std::string after;  // rows in the order of their places
  };
  const std::vector<Case> cases = {
      {"123", {{"MoveUp", "32"}}, "32,12,1 31,11,2 33,13,3"},
      {"123", {{"MoveDown", "32"}}, "31,11,1 33,13,2 32,12,3"},
      {"123", {{"MoveUp", "31"}}, "31,11,0 32,12,2 33,13,3"},
      {"123", {{"MoveDown", "33"}}, "31,11,1 32,12,2 33,13,4"},
      {"125", {{"MoveUp", "33"}}, "31,11,1 32,12,2 33,13,4"},
      {"135", {{"MoveUp", "32"}}, "31,11,1 32,12,2 33,13,5"},
      {"125", {{"MoveDown", "32"}}, "31,11,1 32,12,3 33,13,5"},
      {"113", {{"MoveDown", "31"}}, "32,12,1 31,11,2 33,13,3"},
      {"122", {{"MoveUp", "33"}}, "33,13,1 31,11,2 32,12,2"},
      {"112", {{"MoveUp", "33"}}, "33,13,1 31,11,2 32,12,2"},
  };
  seed.Surva({.rows = {{kGroup, kNoAnswer, "A"}, {kLabel, kNoAnswer, "B"}, {kLabel, kNoAnswer, "C"}}});
  seed.Surva({.rows = {{kGroup, kNoAnswer, "Another surva"}}});
  for (const Case& c : cases) {
    for (int row = 0; row < 3; ++row) {
      Write({"update SurvaLayout set PositionID=", data::Number(c.places[static_cast<std::size_t>(row)] - '0'),
             " where SurvaLayoutID=", data::Number(31 + row)});
    }
    NameValues query = c.move;
    query.emplace_back("SurvaVersion", "3");
    EXPECT_TRUE(Get(query).Holds("Modify surva layout"));
    EXPECT_EQ(Layout(3), c.after) << c.places << " " << c.move[0].first << " " << c.move[0].second;
  }
  EXPECT_EQ(Layout(4), "34,14,1");
  EXPECT_EQ(visitor.session()["layout"].Text(), "1");
}

TEST_P(LayoutEditor, Deletes) {
  seed.Surva(EveryKind());
  seed.Surva({.rows = {{kGroup, kNoAnswer, "Another surva"}}});
  const auto remove = [&](const char* row, const char* version = "3") {
    return Post({{"DeleteQuestion", "Delete selected"}, {"CnfDelQuestion", row}, {"SurvaVersion", version}}).faults;
  };
  const std::string before = Layout(3);
  EXPECT_EQ(remove(""), kNone);
  EXPECT_EQ(Layout(3), before);
  EXPECT_EQ(remove("33"), kNone);
  EXPECT_EQ(Layout(3), "31,11,1 32,12,2 34,14,3 35,15,4 36,16,5 37,17,6 38,18,7");
  EXPECT_EQ(Layout(4), "39,19,1");
  EXPECT_EQ(Answers(13), "23, 24,Hall A");
  // A row twice, of another surva, of none; texts that are no rows.
  EXPECT_EQ(remove("33"), kNoRow);
  EXPECT_EQ(remove("39"), kNoRow);
  EXPECT_EQ(remove("31", "99"), kNoRow);
  for (const char* wrong : {"31, 32", "x", "31 or 1=1", "'"}) EXPECT_EQ(remove(wrong), kSyntax) << wrong;
  EXPECT_EQ(Layout(3), "31,11,1 32,12,2 34,14,3 35,15,4 36,16,5 37,17,6 38,18,7");
  EXPECT_EQ(remove("31"), kNone);
  EXPECT_TRUE(Edit().Holds("1. Clear?")) << "what stood in the group stays";
}

TEST_P(LayoutEditor, MovesThatFail) {
  seed.Surva(EveryKind());
  seed.Surva({.rows = {{kGroup, kNoAnswer, "Another surva"}}});
  const std::string before = Layout(3) + Layout(4);
  for (const char* move : {"MoveUp", "MoveDown"}) {
    EXPECT_EQ(Get({{move, "39"}, {"SurvaVersion", "3"}}).faults, kNoRow);
    EXPECT_EQ(Get({{move, "99999"}, {"SurvaVersion", "3"}}).faults, kNoRow);
    EXPECT_EQ(Get({{move, "x"}, {"SurvaVersion", "3"}}).faults, kSyntax);
    EXPECT_EQ(Get({{move, "32"}}).faults, kSyntax);
  }
  EXPECT_EQ(Layout(3) + Layout(4), before);
}

}  // namespace
}  // namespace surva::test
