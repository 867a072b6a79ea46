// The forms of an event, and what they store.
#include "tests/scheduling/planner.h"

namespace surva::test {
namespace {

using namespace data::tables;

class Events : public Planner {
 protected:
  static NameValues Form(const std::string& surva = "31") {
    return {{"TrainingID", "11"}, {"TrainerID", "21"}, {"SurvaVersionID", surva}, {"Place", "Hall B"},
            {"BDay", "1"},        {"BMonth", "3"},     {"BYear", "2004"},         {"EDay", "5"},
            {"EMonth", "3"},      {"EYear", "2004"},   {"Description", "typed"},  {"Save", "Save"}};
  }
  static NameValues With(NameValues form, const std::string& name, const std::string& value) {
    std::erase_if(form, [&](const auto& pair) { return pair.first == name; });
    form.emplace_back(name, value);
    return form;
  }
  std::string Stored(std::int64_t event) {
    return Read({"select TrainingID, TrainerID, SurvaVersionID, BeginDate, EndDate, Place, Description from Schedule "
                 "where ScheduleID=",
                 data::Number(event)});
  }
  std::string CountEvents() { return Read({"select count(*) from Schedule"}); }
};
SURVA_ON_BOTH_ENGINES(Events);

const std::string kStar = "<font color=red><b>*</b></font>";
const std::string kRule = "<tr><td bgcolor=#6699FF size=1 colspan=2></td></tr><tr>";

std::string Caption(const std::string& caption, const std::string& cell = "<td>") {
  return "<tr>" + cell + "<font color=navy>" + caption + "</font></td></tr>" + kRule;
}

std::string DateFields(const std::string& letter, const std::string& day, int month, const std::string& year) {
  static const char* const kMonths[] = {"January", "February", "March",     "April",   "May",      "June",
                                        "July",    "August",   "September", "October", "November", "December"};
  std::string fields =
      "<input type=text size=2 name=" + letter + "Day value=" + day + ">&nbsp;&nbsp;<select name=" + letter + "Month>";
  for (int i = 1; i <= 12; ++i) {
    fields += "<option value=" + std::to_string(i) + (i == month ? " selected >" : ">") + kMonths[i - 1] + "</option>";
  }
  return fields + "</select>&nbsp;&nbsp;<input type=text size=4 name=" + letter + "Year value=" + year;
}

std::string Dates(const std::string& begin, const std::string& end) {
  return "<tr><td><font color=navy>Start date" + kStar + "</font></td><td><font color=navy>End date" + kStar +
         "</font></td></tr>" + kRule + "<td>" + begin + "></td><td>" + end + "></td></tr>";
}

std::string Notes(const std::string& text) {
  return Caption("Notes") + "<td colspan=2><textarea name=Description rows=5 cols=40>" + text +
         "</textarea></td></tr><TR><td colspan=2><INPUT TYPE=Submit Name=Save Value=Save>&nbsp;";
}

const std::string kFieldRequired =
    "<BR><BR><Font color=red><b>*)</b></font><Font color=navy>&nbsp;<I>Field required</I></font>";
const std::string kDefaultOption =
    "<option value=-1>Default surva (associated to chosen training or system default)</option>";
const std::string kSurvaCaption = Caption("surva version&nbsp;" + kStar);
const std::string kPlaceCaption = Caption("Place&nbsp;" + kStar);

TEST_P(Events, AddForm) {
  AddEvent();
  const std::string name = "0123456789The last ninety characters of a name, which is a good deal longer than any that "
                           "is in use.";
  Add(kTraining, {{"TrainingName", name}, {"OfficialID", "A2"}});
  Add(kTrainer, {{"FirstName", "Bo"}, {"LastName", "adams"}});
  Add(kSurvaVersion, {{"SurvaName", "Another"}});
  visitor.clock.now = {2004, 2, 25, 23, 59, 59};  // a Wednesday; the Friday is of the next month
  EXPECT_EQ(StaffBody(Get({{"Add", "1"}}).page),
            "<Form Action=Schedule.asp method=post><Input Type=Hidden Name=ScheduleID Value=><BR>"
            "<Table BORDER=0 cellspacing=0 cellpadding=2 width=460>" +
                Caption("Training name&nbsp;" + kStar, "<td colspan=2>") +
                "<td colspan=2><select size=1 name=TrainingID><option value=12>A2&nbsp;" +
                name.substr(name.size() - 90) +
                "</option><option value=11>O1&nbsp;C++ <20></option></select></td></tr>" +
                Caption("Trainer name&nbsp;" + kStar) +
                "<td colspan=2><select size=1 name=TrainerID><option value=22>adams&nbsp;Bo</option>"
                "<option value=21>Kay&nbsp;Ann</option></select></td></tr>" +
                kSurvaCaption + "<td colspan=2><select size=1 name=SurvaVersionID>" + kDefaultOption +
                "<option value=32>Another&nbsp;</option><option value=31>Course&nbsp;</option></select></td></tr>" +
                kPlaceCaption + "<td colspan=2><input type=text name=Place size=40 maxlength=50></td></tr>" +
                Dates(DateFields("B", "1", 3, "2004"), DateFields("E", "5", 3, "2004")) + Notes("") + kFieldRequired +
                "</td></TR></Table></form>");
}

TEST_P(Events, AddFormProposesTheComingWeek) {
  struct Case {
    DateTime today;
    std::string begin, end;
  };
  for (const Case& one : std::initializer_list<Case>{
           {{2004, 3, 1}, DateFields("B", "8", 3, "2004"), DateFields("E", "12", 3, "2004")},     // a Monday
           {{2004, 3, 7}, DateFields("B", "8", 3, "2004"), DateFields("E", "12", 3, "2004")},     // a Sunday
           {{2003, 12, 25}, DateFields("B", "29", 12, "2003"), DateFields("E", "2", 1, "2004")},  // a Thursday
       }) {
    visitor.clock.now = one.today;
    const Answer answer = Get({{"Add", "1"}});
    EXPECT_TRUE(answer.Holds(one.begin + "></td><td>" + one.end)) << IsoText(one.today);
  }
}

TEST_P(Events, ModifyForm) {
  AddEvent();
  Add(kSurvaVersion, {{"SurvaName", "Another"}});
  Add(kTraining, {{"TrainingName", "Ada"}, {"OfficialID", "O2"}});
  Add(kTrainer, {{"LastName", "Lee"}});
  const std::string head =
      "<Form Action=Schedule.asp method=post><Input Type=Hidden Name=Update Value=41><BR>"
      "<Table BORDER=0 cellspacing=0 cellpadding=2 width=460>" +
      Caption("Training name&nbsp;" + kStar, "<td colspan=2>") +
      "<td colspan=2><select size=1 name=TrainingID><option selected value=11>O1&nbsp;C++ <20></option>"
      "<option value=12>O2&nbsp;Ada</option></select></td></tr>" +
      Caption("Trainer name&nbsp;" + kStar) +
      "<td colspan=2><select size=1 name=TrainerID><option selected value=21>Kay&nbsp;Ann</option>"
      "<option value=22>Lee&nbsp;</option></select></td></tr>" +
      kSurvaCaption + "<td colspan=2>";
  const std::string rest =
      "</td></tr>" + kPlaceCaption +
      "<td colspan=2><input type=text name=Place size=40 maxlength=50 value=\"Hall A\"></td></tr>" +
      Dates(DateFields("B", "9", 2, "2004"), DateFields("E", "13", 2, "2004")) + Notes("Bring <b>\r\nbooks");
  const std::string end = "</td></TR></Table></form>";
  EXPECT_EQ(StaffBody(Get({{"ModSch1", "41"}}).page),
            head + "<select size=1 name=SurvaVersionID>" + kDefaultOption +
                "<option value=32>Another&nbsp;</option><option selected value=31>Course&nbsp;</option></select>" +
                rest + "<INPUT TYPE=Submit Name=DeleteEvent Value=Delete>&nbsp;" + kFieldRequired + end);

  Add(kParticipant, {{"ScheduleID", 41}});
  EXPECT_EQ(StaffBody(Get({{"ModSch1", "41"}}).page),
            head + "<input type=hidden name=SurvaVersionID value=31>Course<font color=red><B>&nbsp;**</B></font>" +
                rest + kFieldRequired +
                "<BR><Font color=red><b>**)</b></font><Font color=navy>&nbsp;<I>You can not change surva of this event "
                "because it has registered participants</I></font>"
                "<BR><Font color=red><b>***)</b></font><Font color=navy>&nbsp;<I>You can not delete this event because "
                "it has registered participants</I></font>" +
                end);
}

std::string Frames(const std::string& id) {
  return "<html><frameset framespacing=0 border=0 rows=\"315,*\"frameborder=0>"
         "<frame name=top scrolling=no noresize src=schedule.asp?ModUp=" +
         id + " marginwidth=0 marginheight=0><frame name=bottom scrolling=yes noresize src=schedule.asp?ModDown=" + id +
         " marginwidth=0 marginheight=0><noframes><body bgcolor=white>"
         "  <p>This page uses frames, but your browser doesn't support them.</p></body></noframes></frameset></html>";
}

TEST_P(Events, SaveUpdateDelete) {
  AddEvent();
  EXPECT_EQ(Post(Form()).page, Frames("42"));
  EXPECT_EQ(Stored(42), "11,21,31,3/1/2004,3/5/2004,Hall B,") << "the add form's notes are not stored";
  EXPECT_EQ(Post(With(Form(), "Notes", "kept")).page, Frames("43"));
  EXPECT_EQ(Stored(43), "11,21,31,3/1/2004,3/5/2004,Hall B,kept");

  // The modify form's Save button updates.
  NameValues update = With(With(Form(), "Update", "42"), "BMonth", " 2 ");
  EXPECT_EQ(Post(update).page, Frames("42"));
  EXPECT_EQ(Stored(42), "11,21,31,2/1/2004,3/5/2004,Hall B,typed");
  EXPECT_EQ(CountEvents(), "3");

  update.emplace_back("DeleteEvent", "Delete");
  Add(kParticipant, {{"ScheduleID", 42}});
  EXPECT_EQ(StaffBody(Post(update).page),
            "<BLOCKQUOTE>Schedule has been successfully deleted from the system.</BLOCKQUOTE>");
  EXPECT_EQ(Stored(42), "") << "participants do not keep an event from being deleted";
  EXPECT_EQ(CountEvents(), "2");
}

TEST_P(Events, Surva) {
  AddEvent();
  Add(kSurvaVersion, {{"SurvaName", "Second"}, {"Valid", 0}});
  Add(kSurvaVersion, {{"SurvaName", "Third"}, {"Valid", 1}});
  Add(kTraining, {{"TrainingName", "without"}});
  const auto resolve = [&](const std::string& surva, const std::string& training) {
    Post(With(Form(surva), "TrainingID", training));
    return Read({"select SurvaVersionID from Schedule order by ScheduleID desc limit 1"});
  };
  test::Write(*database, {"update SurvaVersion set Valid=0 where SurvaVersionID=31"});
  EXPECT_EQ(resolve("32", "11"), "32") << "the one posted";
  EXPECT_EQ(resolve("-1", "11"), "31") << "the training's";
  EXPECT_EQ(resolve("-1", "12"), "33") << "the valid one";
  test::Write(*database, {"update Training set SurvaVersionID=32"});
  EXPECT_EQ(Stored(43).substr(0, 8), "11,21,31") << "an event keeps its surva";

  // An update resolves in the same way; a locked surva comes back as it is.
  Post(With(Form("-1"), "Update", "43"));
  EXPECT_EQ(Stored(43).substr(0, 8), "11,21,32");
  Post(With(Form("31"), "Update", "43"));
  EXPECT_EQ(Stored(43).substr(0, 8), "11,21,31");

  test::Write(*database, {"update SurvaVersion set Valid=0"});
  test::Write(*database, {"update Training set SurvaVersionID=NULL"});
  EXPECT_EQ(Post(Form("-1")).faults, Faults{FaultNumber::kNoCurrentRow});
  EXPECT_EQ(Post(With(Form("-1"), "TrainingID", "99")).faults, Faults{FaultNumber::kNoCurrentRow});
  EXPECT_EQ(CountEvents(), "4");
}

TEST_P(Events, Refused) {
  AddEvent();
  const std::string before = Stored(41);
  using enum FaultNumber;
  struct Case {
    const char* name;
    std::string value;
    FaultNumber fault;
  };
  for (const Case& one : std::initializer_list<Case>{{"BDay", "31", kTypeMismatch},  // of February
                                                     {"BDay", "", kTypeMismatch},
                                                     {"BDay", "-1", kTypeMismatch},
                                                     {"BDay", "0", kTypeMismatch},
                                                     {"BDay", "1-", kTypeMismatch},
                                                     {"EYear", "two", kTypeMismatch},
                                                     {"EYear", "", kTypeMismatch},
                                                     {"EYear", "2004 10:00", kTypeMismatch},
                                                     {"EYear", "2001-", kTypeMismatch},
                                                     {"EYear", "2001- ", kTypeMismatch},
                                                     {"EYear", "2001 - ", kTypeMismatch},
                                                     {"BMonth", "0", kInvalidArgument},
                                                     {"EMonth", "13", kInvalidArgument},
                                                     {"BMonth", "", kTypeMismatch},
                                                     {"BMonth", "February", kTypeMismatch},
                                                     {"TrainingID", "", kTypeMismatch},
                                                     {"TrainerID", "Kay", kTypeMismatch},
                                                     {"SurvaVersionID", "", kTypeMismatch},
                                                     {"Place", std::string(51, 'x'), kValueRefused}}) {
    const NameValues form = With(With(Form(), "BMonth", "2"), one.name, one.value);
    const Answer save = Post(form);
    EXPECT_EQ(save.faults, Faults{one.fault}) << one.name << "=" << one.value;
    EXPECT_EQ(StaffBody(save.page).substr(0, 16), "<BLOCKQUOTE><BR>");
    EXPECT_EQ(Post(With(form, "Update", "41")).faults, Faults{one.fault}) << one.name << "=" << one.value;
  }
  for (const auto& [id, fault] :
       {std::pair("42", kNoCurrentRow), {"x", kStatementFailed}, {"41 or 1", kStatementFailed}}) {
    EXPECT_EQ(Get({{"ModSch1", id}}).faults, Faults{fault});
    EXPECT_EQ(Post(With(Form(), "Update", id)).faults, Faults{fault});
  }
  EXPECT_EQ(Post({{"DeleteEvent", "Delete"}}).faults, Faults{kStatementFailed});
  EXPECT_EQ(Post({{"DeleteEvent", "Delete"}, {"Update", "41 or 1=1"}}).faults, Faults{kStatementFailed});
  EXPECT_EQ(Stored(41), before);
  EXPECT_EQ(CountEvents(), "1");
  // Whose version is gone cannot be modified.
  test::Write(*database, {"delete from SurvaVersion"});
  EXPECT_EQ(Get({{"ModSch1", "41"}}).faults, Faults{kNoCurrentRow});
}

TEST_P(Events, DatesAreReadAsTheyAreTyped) {
  AddEvent();
  struct Case {
    const char *day, *month, *year, *stored;
  };
  for (const Case& one : {Case{"29", "2", "4", "2/29/2004"},
                          {"01", "02", "04", "2/1/2004"},
                          {" 7", "12", "29", "12/7/2029"},
                          {"1", "1", "30", "1/1/1930"},
                          {"1", "1.5", "1999", "2/1/1999"},
                          {"1", "2.5", "0100", "2/1/100"}}) {
    Post(With(With(With(Form(), "BDay", one.day), "BMonth", one.month), "BYear", one.year));
    EXPECT_EQ(Read({"select BeginDate from Schedule order by ScheduleID desc limit 1"}), one.stored);
  }
  // An end before its begin is taken as it is, and a quote in a place as well.
  Post(With(With(Form(), "EYear", "1999"), "Place", "Jo's \"hall\""));
  EXPECT_EQ(Read({"select EndDate, Place from Schedule order by ScheduleID desc limit 1"}), "3/5/1999,Jo's \"hall\"");
}

TEST_P(Events, AFormOfAnEventWithoutDates) {
  AddEvent();
  test::Write(*database, {"update Schedule set BeginDate=NULL"});
  const Answer answer = Get({{"ModSch1", "41"}});
  EXPECT_TRUE(answer.Holds(DateFields("B", "", 0, "") + "></td><td>" + DateFields("E", "13", 2, "2004")));
}

}  // namespace
}  // namespace surva::test
