// The list of survas, the default, and new survas from nothing and from others.
#include "tests/design/designer.h"
#include "tests/support/watched_engine.h"

namespace surva::test {
namespace {

class VersionList : public Designer {
 protected:
  std::string Versions() {
    return Read({"select SurvaVersionID, SurvaName, Valid, RequireAuthorisation, RequirePersonalDataPreview, "
                 "ThankYouPage, DisplayMenu from SurvaVersion order by SurvaVersionID"});
  }
};
SURVA_ON_BOTH_ENGINES(VersionList);

const std::string kListHead =
    "<form Action=CreateForm.asp Method=POST><Input Type=Hidden Name=Action Value=P>" + Table("2", "2") +
    "<tr><TD bgColor=white><font face=tahoma size=2 color=navy><B>Actions</B></font></TD><TD bgColor=white><font "
    "face=tahoma size=2 color=navy><B>surva versions</B></font></TD><TD align=center bgColor=white><font face=tahoma "
    "size=2 color=navy><B>Default</B></font></TD></tr><tr><td bgcolor=#6699FF size=1 colspan=3></td></tr>";
const std::string kListEnd =
    "<tr><td bgcolor=#6699FF size=1 colspan=3></td></tr>"
    "<tr><td colspan=2 bgcolor=white><font face=tahoma size=2 color=black><B>You can not delete survas that have been "
    "registered for any training or in the schedule or are the default.</B></font></td><td bgcolor=white "
    "align=left><INPUT TYPE=Submit Name=ChangeValid Value=\"Change\"></td></tr></form></table>";

std::string Item(const std::string& id, const std::string& text, const std::string& use) {
  std::string item =
      "<tr><TD align=left valign=middle bgcolor=white><a href=CreateForm.asp?Preview=" + id +
      " target=_new><img border=0 alt=\"Preview Surva\"src=images/preview2.gif></a>&nbsp;<a href=CreateForm.asp?view=" +
      id + "><img border=0 alt=\"Modify Surva\"src=images/modify2.gif></a>&nbsp;";
  item += use.empty() ? "<a href=CreateForm.asp?DeleteSurva=" + id +
                            "><img border=0 alt=\"Delete Surva\"src=images/delete2.gif></a></td><td "
                            "bgcolor=white><font face=tahoma size=1 color=black>" +
                            text
                      : "<img border=0 src=images/white.gif></td><td bgcolor=white><font face=tahoma size=1 "
                        "color=black>" +
                            text + "-<strong>" + use + "</strong></font>&nbsp;&nbsp;&nbsp;&nbsp;";
  return item + "</td><td bgcolor=white align=center><input type=radio name=Number value=" + id +
         (use == "default" ? " checked " : "") + "></td></tr>";
}

TEST_P(VersionList, ShowsTheUseOfEachSurva) {
  EXPECT_EQ(Get().page, PageWith(kListHead + kListEnd));
  for (int count = 0; count < 6; ++count) seed.Surva({});
  Write({"update SurvaVersion set CreateDate=CDate('2-March-2004')"});
  Write({"update SurvaVersion set CreateDate=CDate('3-March-2004') where SurvaVersionID=6"});
  Write({"update SurvaVersion set CreateDate=NULL where SurvaVersionID=3"});
  Write({"update SurvaVersion set Valid=-1, SurvaName='Old <b>one</b>' where SurvaVersionID=4"});
  Write({"insert into Schedule (SurvaVersionID) values (5)"});
  Write({"insert into Training (SurvaVersionID) values (6)"});
  Write({"insert into AnonymousStudent (SurvaVersionID) values (7)"});
  // Neither of these makes a surva used.
  Write({"insert into SurvaLayout (SurvaVersionID, QuestionID, PositionID) values (8, 1, 1)"});
  Write({"insert into AnonymousMark (StudentID, QuestionID) values (8, 1)"});
  const std::string when = "Course evaluation - Created on: 3/2/2004";
  EXPECT_EQ(Get().page, PageWith(kListHead + Item("6", "Course evaluation - Created on: 3/3/2004", "used") +
                                 Item("4", "Old <b>one</b> - Created on: 3/2/2004", "default") +
                                 Item("5", when, "used") + Item("7", when, "used") + Item("8", when, "") +
                                 Item("3", "Course evaluation - Created on: ", "") + kListEnd));
  EXPECT_EQ(visitor.session()["NewSurva"].Text(), "0");
}

TEST_P(VersionList, AsksForAllUsesAtOnce) {
  Watch watch;
  data::Database watched(database.dsn(), WatchedEngine::Around(watch));
  Visitor reader(watched);
  const auto reads = [&] {
    watch.Reset();
    EXPECT_EQ(reader.Serve<CreateForm>({}, {}).faults, kNone);
    return watch.reads.load();
  };
  seed.Surva({});
  const int of_one = reads();
  for (int count = 0; count < 20; ++count) seed.Surva({});
  EXPECT_EQ(reads(), of_one);
}

TEST_P(VersionList, TheDefaultChangesWhollyOrNotAtAll) {
  for (int count = 0; count < 3; ++count) seed.Surva({});
  Write({"update SurvaVersion set Valid=0"});
  const auto change = [&](const char* number) { return Post({{"ChangeValid", "Change"}, {"Number", number}}).faults; };
  const auto valid = [&] { return Read({"select SurvaVersionID from SurvaVersion where Valid<>0"}); };
  EXPECT_EQ(change("4"), kNone);
  EXPECT_EQ(valid(), "4");
  EXPECT_EQ(change("4"), kNone);
  EXPECT_EQ(valid(), "4");
  for (const char* wrong : {"", "x", "'", "5; delete from SurvaVersion", "3 or 1=1"}) {
    EXPECT_EQ(change(wrong), kSyntax) << wrong;
    EXPECT_EQ(valid(), "4") << wrong;
  }
  // The first of its two statements and the second fail in the database.
  Watch watch;
  data::Database watched(database.dsn(), WatchedEngine::Around(watch));
  for (const int nth : {1, 2}) {
    Visitor unlucky(watched);
    watch.fail_write = nth;
    EXPECT_EQ(unlucky.Serve<CreateForm>({}, {{"ChangeValid", "Change"}, {"Number", "5"}}).faults, kRefused);
    EXPECT_EQ(valid(), "4") << nth;
  }
  EXPECT_EQ(change("99"), kNone);
  EXPECT_EQ(valid(), "") << "a surva that is not there takes the flag from the others all the same";
}

TEST_P(VersionList, DeletesTheVersionAlone) {
  seed.Surva(EveryKind());
  Write({"update SurvaVersion set Valid=-1"});
  EXPECT_EQ(Get({{"DeleteSurva", "3 or 1=1"}}).faults, kSyntax);
  EXPECT_EQ(Get({{"DeleteSurva", "4"}}).Count("name=Number"), 1);
  EXPECT_EQ(Get({{"DeleteSurva", "3"}}).Count("name=Number"), 0) << "typed by hand, the default goes too";
  EXPECT_EQ(Read({"select count(*) from SurvaLayout"}), "8");
  EXPECT_EQ(Read({"select count(*) from Question"}), "8");
  EXPECT_EQ(Read({"select count(*) from FieldValue"}), "6");
  // What is left can be looked at, and has no properties.
  EXPECT_TRUE(Get({{"AQBBA", "Back"}, {"SurvaVersion", "3"}}).Holds("1. Clear?"));
  EXPECT_TRUE(Get({{"Preview", "3"}}).Holds("1. Clear?"));
  EXPECT_EQ(Get({{"View", "3"}}).faults, kNoRow);
}

TEST_P(VersionList, EmptySurvas) {
  const Answer answer = Get({{"CreateEmptySurva", "1"}});
  EXPECT_TRUE(answer.Holds("<B>Modify surva properties</B>"));
  EXPECT_TRUE(answer.Holds("name=ModifySurvaProperties value=\"1\">"));
  EXPECT_TRUE(answer.Holds("name=SurvaName value=\"Empty Surva\">"));
  EXPECT_FALSE(answer.Holds("Link to surva"));
  EXPECT_EQ(Versions(), "1,Empty Surva,0,-1,-1,,-1");
  EXPECT_EQ(Read({"select count(*) from SurvaVersion where CreateDate>CDate('1-January-2024') and CreateDate<=now()"}),
            "1");
}

TEST_P(VersionList, Picker) {
  for (int count = 0; count < 2; ++count) seed.Surva({});
  Write({"update SurvaVersion set CreateDate=CDate('2-March-2004'), Valid=0"});
  Write({"update SurvaVersion set Valid=-1 where SurvaVersionID=4"});
  const auto item = [](const std::string& id, const std::string& default_mark, const std::string& checked) {
    return "<tr><TD bgColor=\"white\"><a href=CreateForm.asp?preview=" + id +
           " target=_new><img src=images/preview2.gif border=0 alt=\"Preview Surva\"></a>&nbsp;&nbsp;"
           "<font face=tahoma size=1 color=black>Course evaluation - Created on: 3/2/2004" +
           default_mark + "</td><TD bgcolor=white><input type=radio name=SurvaVersionID " + checked + "value=" + id +
           "></td></TR>";
  };
  EXPECT_EQ(Get({{"CreateNewSurva", "1"}}).page,
            PageWith("<form Action=CreateForm.asp Method=POST><input type=hidden name=SaveSurvaProperties value=1>" +
                     Table("2", "2") +
                     "<tr><TD colspan=2 bgColor=\"white\"><font face=tahoma size=2 color=navy><B>Choose surva based "
                     "on which you want to create a new surva</B></font></TD></tr>"
                     "<tr><td bgcolor=#6699FF size=1 colspan=2></td></tr>" +
                     item("3", "", "") + item("4", "<b> - currently default</B>", "checked ") +
                     "<tr><td bgcolor=#6699FF size=1 colspan=2></td></tr><tr><TD align=right bgColor=\"white\"><TD "
                     "align=left bgColor=\"white\"><input type=submit name=CreateNewSurva2 value=Next></TD></tr>"
                     "</table></form>"));
  EXPECT_EQ(visitor.session()["NewSurva"].Text(), "1");
}

TEST_P(VersionList, CopiesShareTheirQuestions) {
  SurvaSeed source = EveryKind();
  source.thank_you_page = "thanks.asp";
  source.authorisation = false;
  seed.Surva(source);
  // A hole and an order of keys that is not that of the places.
  Write({"update SurvaLayout set PositionID=20 where SurvaLayoutID=31"});
  const NameValues next = {{"SaveSurvaProperties", "1"}, {"SurvaVersionID", "3"}, {"CreateNewSurva2", "Next"}};
  EXPECT_TRUE(Post(next).Holds("name=SurvaName value=\"Copy of: Course evaluation\">"));
  EXPECT_EQ(Versions(), "3,Course evaluation,-,0,0,thanks.asp,0 4,Copy of: Course evaluation,0,0,0,-,-");
  EXPECT_EQ(Layout(4), "40,12,2 41,13,3 42,14,4 43,15,5 44,16,6 45,17,7 46,18,8 39,11,20");
  EXPECT_EQ(Read({"select count(*) from Question"}) + Read({"select count(*) from FieldValue"}), "86");
  Post({{"SaveSurvaProperties", "1"}, {"SurvaVersionID", "4"}, {"CreateNewSurva2", "Next"}});
  EXPECT_EQ(Read({"select SurvaName from SurvaVersion where SurvaVersionID=5"}), "Copy of: Copy of: Course evaluation");
  // A phrase changed through a copy shows in the source; a row deleted from a copy stays there.
  Post({{"ModifyQuestionProperties", "40"},
        {"Version", "4"},
        {"Question", "Was it clear?"},
        {"AnswerType", "2"},
        {"LineRows", "0"},
        {"Required", "0"}});
  Post({{"DeleteQuestion", "Delete selected"}, {"CnfDelQuestion", "41"}, {"SurvaVersion", "4"}});
  EXPECT_TRUE(Get({{"Preview", "3"}}).Holds("1. Was it clear?</td>"));
  EXPECT_TRUE(Get({{"Preview", "3"}}).Holds("Room"));
  EXPECT_FALSE(Get({{"Preview", "4"}}).Holds("Room"));
}

TEST_P(VersionList, CopiesThatFail) {
  seed.Surva(EveryKind());
  const auto copy = [&](const char* id) { return Post({{"CreateNewSurva2", "Next"}, {"SurvaVersionID", id}}).faults; };
  for (const char* wrong : {"", "'", "3 or 1=1"}) EXPECT_EQ(copy(wrong), kSyntax) << wrong;
  EXPECT_EQ(Read({"select count(*) from SurvaVersion"}), "1");
  const std::string name(142, 'n');
  Write({"update SurvaVersion set SurvaName=", data::Text(name)});
  EXPECT_EQ(copy("3"), kRefused) << "the copy's name would be 151 characters long";
  EXPECT_EQ(Read({"select count(*) from SurvaVersion"}) + "," + Read({"select count(*) from SurvaLayout"}), "1,8");
  Write({"delete from SurvaVersion"});
  EXPECT_EQ(copy("3"), kSyntax) << "there is no newest surva";
}

TEST_P(VersionList, KeysBeyond16BitsFailAfterTheirRowsAreWritten) {
  seed.Surva(EveryKind());
  Write({"insert into SurvaVersion (SurvaVersionID, SurvaName) values (32768, 'Far away')"});
  if (GetParam() == data::Dialect::kPostgres) {
    Read({"select setval(pg_get_serial_sequence('survaversion', 'survaversionid'), 32768)"});
  }
  EXPECT_EQ(Get({{"CreateEmptySurva", "1"}}).faults, kOverflow);
  EXPECT_EQ(Read({"select count(*) from SurvaVersion where SurvaName='Empty Surva'"}), "1");
  EXPECT_EQ(Post({{"CreateNewSurva2", "Next"}, {"SurvaVersionID", "3"}}).faults, kOverflow);
  EXPECT_EQ(Read({"select count(*) from SurvaVersion where SurvaName like 'Copy of:%'"}), "1");
  EXPECT_EQ(Read({"select count(*) from SurvaLayout where SurvaVersionID>=32768"}), "8");
}

}  // namespace
}  // namespace surva::test
