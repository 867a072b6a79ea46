// The criteria forms, what is kept of them, and what the filter then finds.
#include "tests/reporting/analyst.h"

namespace surva::test {
namespace {

using namespace data::tables;

const std::string kRule = "<tr><td colspan=2 bgcolor=#6699FF size=1></td></tr>";
const std::string kAll = "<option value=\"\" selected>All</option>";

std::string Block(const std::string& caption, const std::string& control, const std::string& options,
                  const std::string& end = "</TD></tr>") {
  return "<tr><TH colspan=2 align=left><Font color=navy>" + caption + "&nbsp;</Font></th></TR>" + kRule +
         "<tr><td colspan=2 align=left><select name=" + control + " size=1>" + kAll + options + end;
}

std::string VersionBlock(const std::string& control, const std::string& options) {
  return "<tr><TH  colspan=2 align=left><Font color=navy>surva version&nbsp;</Font></th></TR>" + kRule +
         "<tr><td colspan=2 align=left><select name=" + control + " size=1>" + kAll + options + "</TD></tr>";
}

std::string DateControls(const std::string& letter, const std::string& suffix, const std::string& day,
                         const std::string& month, const std::string& year) {
  std::string text = "<input type=text size=2 name=" + letter + "Day" + suffix + " value=" + day +
                     ">&nbsp;&nbsp;<select name=" + letter + "Month" + suffix + ">";
  for (const std::string name : {"January", "February", "March", "April", "May", "June", "July", "August", "September",
                                 "October", "November", "December"}) {
    text += "<option value=\"" + name + "\" " + (name == month ? " selected " : "") + ">" + name + "</option>";
  }
  return text + "</select>&nbsp;&nbsp;<input type=text size=4 name=" + letter + "Year" + suffix + " value=" + year +
         ">";
}

std::string DateRows(const std::string& begin, const std::string& end) {
  return "<tr><td ><Font color=navy><B>Start date</B></font></td><td ><Font color=navy><B>End date</B></font></td></tr>" +
         kRule + "<tr><TD>" + begin + "</td><td>" + end +
         "</td></tr><TR><TD colspan=2 alig=rigtht><INPUT TYPE=Submit Name=Search Value=Search></TD></TR></table></form>";
}

class CriteriaForms : public Analyst {};
SURVA_ON_BOTH_ENGINES(CriteriaForms);

TEST_P(CriteriaForms, Named) {
  AddEvents();
  const Value none;
  Add(kTraining, {{"TrainingName", "Never held"}, {"OfficialID", "A"}});
  Add(kTraining, {{"TrainingName", none}, {"OfficialID", none}});
  AddEvent(44, 32, 51, none, none, "room 7");
  AddEvent(41, 32, 51, none, none, "");
  AddEvent(41, 32, 51, none, none, "ROOM 7");
  Add(kCompany, {{"CompanyName", "Of nobody"}});
  Add(kStudent, {{"CompanyID", 13}, {"FirstName", "Never"}, {"LastName", "Enrolled"}});
  Add(kTrainer, {{"FirstName", "Gone"}, {"LastName", "Away"}});
  visitor.clock.now = {2004, 3, 7, 23, 59, 59};  // a Sunday
  EXPECT_EQ(
      StaffBody(GetStat({{"Criteria", "1"}}).page),
      "<br><Form Action=browse.asp Method=POST><Input Type=Hidden Name=ReadCriteria Value=1>"
      "<Table align=left border=0 cellspacing=0 cellpadding=2>" +
          Block("Training name", "TrainingID",
                "<option value=44> </option><option value=42>O1 SQL</option><option value=41>O2 C++ <20></option>",
                "</td></tr>") +
          Block("Trainer name", "TrainerID", "<option value=31>Kay Ann</option><option value=32>Lee Bob</option>") +
          "<tr><TH colspan=2 align=left><Font color=navy>Place&nbsp;</Font></th></TR>"
          "<tr><td bgcolor=#6699FF size=1 colspan=2></td></tr>"
          "<tr><td align=left  colspan=2><select name=Place size=1>" +
          kAll +
          "<option value=\"\"></option><option value=\"\"></option><option value=\"Hall A\">Hall A</option>"
          "<option value=\"Room 7\">Room 7</option></TD></tr>" +
          Block("Company name", "CompanyID",
                "<option value=11>Ames & Sons</option><option value=12>bolt <b></option>") +
          Block("Student name", "StudentID",
                "<option value=23>AmesCy</option><option value=21>AmesZo\u00eb</option>"
                "<option value=22>boltBen</option>") +
          VersionBlock("SurvaVersionID", "<option value=52>brief - Create on:1/2/2004</option>"
                                         "<option value=51>Course - Create on:12/31/2003 9:05:00 AM</option>") +
          DateRows(DateControls("B", "", "1", "March", "2004"), DateControls("E", "", "5", "March", "2004")));
}

TEST_P(CriteriaForms, Anonymous) {
  AddEvents();
  Add(kSurvaVersion, {{"SurvaName", "Of nobody"}});
  const Value filled = DateTime{2004, 3, 1, 9, 0, 0};
  for (const auto& [address, version, fill_date] : {std::tuple(Value("FE80::1"), 52, filled),
                                                    {Value("fe80::1"), 52, filled},
                                                    {Value("10.0.0.9"), 51, Value()},
                                                    {Value("10.0.0.8"), 99, filled},
                                                    {Value(), 52, filled},
                                                    {Value("fe80::1"), 52, Value()}}) {
    Add(kAnonymousStudent, {{"IPAddress", address}, {"SurvaVersionID", version}, {"FillDate", fill_date}});
  }
  visitor.clock.now = {2005, 1, 1, 0, 0, 0};
  EXPECT_EQ(
      StaffBody(GetStat({{"CriteriaA", "1"}}).page),
      "<br><Form Action=browse.asp Method=POST><Input Type=Hidden Name=ReadCriteriaA Value=1>"
      "<Table align=left border=0 cellspacing=0 cellpadding=2>" +
          Block("IP Address", "IPAddressA",
                "<option value=>  (1)</option><option value=10.0.0.8>10.0.0.8  (1)</option>"
                "<option value=FE80::1>FE80::1  (2)</option>") +
          VersionBlock("SurvaVersionIDA", "<option value=52>brief - Create on:1/2/2004</option>"
                                          "<option value=51>Course - Create on:12/31/2003 9:05:00 AM</option>") +
          DateRows(DateControls("B", "A", "31", "December", "2004"), DateControls("E", "A", "2", "January", "2005")));
}

TEST_P(CriteriaForms, LongTextsLoseTheirBeginning) {
  std::string eighty;
  for (int i = 0; i < 40; ++i) eighty += "\u017ca";  // two characters of three bytes
  const std::string name = "\u00c9" + eighty;
  const auto cut = [&](std::size_t width) { return (name.size() > width ? name.substr(2) : name); };
  Add(kCompany, {{"CompanyName", name}});
  Add(kTraining, {{"TrainingName", name}, {"OfficialID", "O1"}});
  Add(kSurvaVersion, {{"SurvaName", name}});
  AddEvent(41, 31, 51, Value(), Value(), Value());
  const Answer answer = GetStat({{"Criteria", "1"}});
  EXPECT_TRUE(answer.Holds("<option value=41>O1 " + cut(80) + "</option>"));
  EXPECT_TRUE(answer.Holds("<option value=51>" + cut(80) + " - Create on:</option>"));
}

class Criteria : public Analyst {
 protected:
  std::string Kept(std::initializer_list<const char*> keys) {
    std::string kept;
    for (const char* key : keys) {
      const Value& value = visitor.session()[key];
      kept += (kept.empty() ? "" : " ") + std::string(key) + "=" + (value.IsNull() ? "-" : value.Text());
    }
    return kept;
  }
};
SURVA_ON_BOTH_ENGINES(Criteria);

TEST_P(Criteria, KeptInTheSession) {
  PostBrowse({{"ReadCriteria", "1"},
              {"TrainerID", "31"},
              {"Place", ""},
              {"BDAY", "1"},
              {"bMonth", "March"},
              {"ByEaR", "2004"},
              {"EDay", ""},
              {"EMonth", "May"},
              {"EYear", "2004"}});
  const auto named = {"TrainerID", "CompanyID", "StudentID", "TrainingID", "SurvaVersionID", "Place", "BDate", "EDate"};
  EXPECT_EQ(Kept(named), "TrainerID=31 CompanyID=% StudentID=% TrainingID=% SurvaVersionID=% Place=% "
                         "BDate=1-March-2004 EDate=-");
  PostBrowse({{"ReadCriteria", "1"}, {"Place", "Hall A"}, {"BMonth", "June"}, {"EDay", "31"}, {"EYear", "x"}});
  EXPECT_EQ(Kept(named), "TrainerID=% CompanyID=% StudentID=% TrainingID=% SurvaVersionID=% Place=Hall A "
                         "BDate=1-March-2004 EDate=31--x");
  PostBrowse({{"ReadCriteriaA", "1"},
              {"ReadCriteria", "1"},
              {"IPAddressA", "10.0.0.8"},
              {"BDayA", "1"},
              {"BMonthA", "May"},
              {"BYearA", "4"},
              {"TrainerID", "9"}});
  EXPECT_EQ(Kept({"IPAddressA", "SurvaVersionIDA", "BDateA", "EDateA", "TrainerID"}),
            "IPAddressA=10.0.0.8 SurvaVersionIDA=% BDateA=1-May-4 EDateA=- TrainerID=%");
}

TEST_P(Criteria, WhatTheyFind) {
  AddEvents();
  AddEvent(41, 77, 51, DateTime{2004, 3, 1}, DateTime{2004, 3, 2}, "Of no trainer");
  Add(kParticipant, {{"ScheduleID", 64}, {"StudentID", 21}, {"PIN", ""}});
  Add(kParticipant, {{"ScheduleID", 61}, {"StudentID", 21}, {"PIN", ""}});       // once more: the same form
  Add(kParticipant, {{"ScheduleID", 61}, {"StudentID", 21}, {"PIN", Value()}});  // one of its own
  struct Case {
    const char* name;
    const char* value;
    int found;
  };
  for (const Case& one : std::initializer_list<Case>{
           {"Place", "", 4},        {"Place", "hall a", 3},      {"Place", "%a", 3},
           {"Place", "Room _", 1},  {"Place", "Hall", 0},        {"TrainerID", "31", 3},
           {"TrainerID", "3_", 4},  {"TrainerID", "3", 0},       {"TrainerID", "031", 0},
           {"TrainerID", "%1", 3},  {"TrainerID", "31.0", 0},    {"TrainerID", "Kay", 0},
           {"TrainerID", " 31", 0}, {"CompanyID", "11", 3},      {"CompanyID", "12", 1},
           {"StudentID", "21", 3},  {"StudentID", "22", 1},      {"StudentID", "121", 0},
           {"TrainingID", "42", 1}, {"SurvaVersionID", "51", 3}, {"SurvaVersionID", "99999999999999999999", 0}}) {
    const Answer answer = PostBrowse({{"ReadCriteria", "1"}, {one.name, one.value}});
    EXPECT_EQ(StaffBody(answer.page),
              "<Blockquote>Number of filled survas: " + std::to_string(one.found) + "</Blockquote>")
        << one.name << "=" << one.value;
    EXPECT_TRUE(answer.Holds("<A HREF=browse.asp?browseforms=1&ScheduleID=>Preview survas</A>"));
  }
}

TEST_P(Criteria, AnonymousOnesToo) {
  AddEvents();
  const DateTime noon{2004, 3, 1, 12, 0, 0};
  for (const auto& [address, version, fill_date] : {std::tuple(Value("FE80::1"), 52, Value(noon)),
                                                    {Value("fe80::1"), 52, Value(noon)},
                                                    {Value("fe80::1"), 51, Value(noon)},
                                                    {Value("10.0.0.8"), 51, Value(DateTime{2004, 3, 2})},
                                                    {Value("10.0.0.8"), 51, Value()},
                                                    {Value(), 51, Value(noon)},
                                                    {Value("10.0.0.8"), 99, Value(noon)}}) {
    Add(kAnonymousStudent, {{"IPAddress", address}, {"SurvaVersionID", version}, {"FillDate", fill_date}});
  }
  struct Case {
    const char* address;
    const char* version;
    const char* last_day;
    int found;
  };
  for (const Case& one : std::initializer_list<Case>{{"", "", "2", 3},  // two of one address and second are one
                                                     {"", "", "1", 0},  // that day has only its midnight
                                                     {"FE80::1", "", "2", 2},
                                                     {"fe80%", "51", "2", 1},
                                                     {"fe80", "", "2", 0},
                                                     {"", "5_", "2", 3},
                                                     {"", "5", "2", 0}}) {
    const Answer answer = PostBrowse({{"ReadCriteriaA", "1"},
                                      {"IPAddressA", one.address},
                                      {"SurvaVersionIDA", one.version},
                                      {"BDayA", "1"},
                                      {"BMonthA", "March"},
                                      {"BYearA", "2004"},
                                      {"EDayA", one.last_day},
                                      {"EMonthA", "mar"},
                                      {"EYearA", "04"}});
    EXPECT_EQ(StaffBody(answer.page),
              "<Blockquote>Number of filled survas: " + std::to_string(one.found) + "</Blockquote>")
        << one.address << " " << one.version << " " << one.last_day;
    EXPECT_TRUE(answer.Holds("<A HREF=browse.asp?browseformsA=1&ScheduleID=>Preview survas</A>"));
  }
}

// Nothing is in the database: it is the filter that fails, not a row.
TEST_P(Criteria, RefusedOnes) {
  using Form = NameValues;
  const auto dates = [](const char* suffix, const char* day, const char* month, const char* year) {
    const std::string s = suffix;
    return Form{{"BDay" + s, day}, {"BMonth" + s, month}, {"BYear" + s, year},
                {"EDay" + s, "1"}, {"EMonth" + s, "May"}, {"EYear" + s, "2004"}};
  };
  std::vector<Form> forms = {{{"ReadCriteria", "1"}, {"Place", "O'Hare"}},
                             {{"ReadCriteria", "1"}, {"TrainerID", "1' or '1'='1"}},
                             {{"ReadCriteria", "1"}, {"BDay", "1"}, {"BMonth", "May"}, {"BYear", "2004"}},
                             {{"ReadCriteriaA", "1"}}};
  for (const auto& [day, month, year] : {std::tuple("31", "April", "2004"),
                                         {"1", "Maj", "2004"},
                                         {"1", "May", "x"},
                                         {"29", "February", "1900"},
                                         {"1", "5", "2004"}}) {
    forms.push_back(dates("", day, month, year));
    forms.back().emplace_back("ReadCriteria", "1");
    forms.push_back(dates("A", day, month, year));
    forms.back().emplace_back("ReadCriteriaA", "1");
  }
  forms.push_back(dates("A", "1", "May", "2004"));
  forms.back().insert(forms.back().end(), {{"ReadCriteriaA", "1"}, {"IPAddressA", "a'b"}});
  for (const Form& form : forms) {
    Visitor visitor{*database};
    const Answer answer = visitor.Serve<Browse>({}, form);
    EXPECT_EQ(answer.faults, Faults{FaultNumber::kStatementFailed}) << form[0].second << " " << form[1].second;
    // Around an error stands the frame of the named forms, whichever was asked for.
    EXPECT_TRUE(answer.Holds("<A HREF=browse.asp?browseforms=1&ScheduleID=>"));
    EXPECT_EQ(answer.Count("Number of filled survas"), 0);
    for (const char* page : {"Stats", "BrowseForms"}) {
      const std::string suffix =
          form.back().first == "ReadCriteriaA" || form[0].first == "ReadCriteriaA" || form.back().first == "IPAddressA"
              ? "A"
              : "";
      EXPECT_EQ(visitor.Serve<Browse>({{page + suffix, "1"}}, {}).faults, Faults{FaultNumber::kStatementFailed})
          << page;
    }
  }
}

TEST_P(Criteria, BeforeAnyWereGiven) {
  AddEvents();
  EXPECT_EQ(StaffBody(GetBrowse({{"BrowseForms", "1"}}).page),
            "</TD><TD width=5>&nbsp;&nbsp;&nbsp;</TD><TD><BLOCKQUOTE>No survas to display.</BLOCKQUOTE>");
  EXPECT_EQ(StaffBody(GetBrowse({{"Stats", "1"}}).page),
            "</TD><TD width=5>&nbsp;&nbsp;&nbsp;</TD><TD><BR><table width=90% align=left border=1 cellspacing=0 "
            "cellpadding=2><TR><TD bgcolor=blue colspan=2><font color=white><B>Number of filled survas: 0</B></font>"
            "</TD></TR></TABLE>");
  EXPECT_EQ(GetBrowse({{"BrowseFormsA", "1"}}).faults, Faults{FaultNumber::kStatementFailed});
  EXPECT_EQ(GetBrowse({{"StatsA", "1"}}).faults, Faults{FaultNumber::kStatementFailed});
}

}  // namespace
}  // namespace surva::test
