// A surva's properties and its public link.
#include "tests/design/designer.h"

namespace surva::test {
namespace {

class Properties : public Designer {};
SURVA_ON_BOTH_ENGINES(Properties);

struct Shown {
  std::string name = "Course evaluation";
  std::string thank_you_page = {};
  bool authorisation = true;
  bool personal_data = true;
  bool menu = true;
  std::string link = {};
};

std::string Flag(const std::string& caption, const std::string& name, bool on) {
  return Caption(caption, on ? "<input type=radio name=" + name +
                                   " value=0>No&nbsp;&nbsp;<input type=radio name=" + name + " checked value=-1>Yes"
                             : "<input type=radio name=" + name +
                                   " value=0 checked>No&nbsp;&nbsp;<input type=radio name=" + name + " value=-1>Yes");
}

std::string PropertiesPage(const Shown& shown) {
  return PageWith(
      "<Form action=CreateForm.asp method=post><input type=hidden name=ModifySurvaProperties value=\"3\">"
      "<input type=hidden name=Version   value=\"3\"><input type=hidden name=SurvaVersion   value=\"3\">" +
      Table("2", "6") + Title("Modify surva properties") +
      Caption("surva name", "<input type=text size=50 maxlength=150 name=SurvaName value=\"" + shown.name + "\">") +
      Caption("Thank You page name <i>(leave it blank for default)</i>",
              "<input type=text size=50 maxlength=150 name=ThankYouPage value=\"" + shown.thank_you_page + "\">") +
      Flag("surva requires authorization <I>(PIN number)</I>", "RequireAuthorisation", shown.authorisation) +
      (shown.link.empty() ? ""
                          : "<TR><TD bgColor=\"black\"><font face=tahoma size=2 color=white>Link to surva <I>(without "
                            "authorization required)</I></font</TD><TD bgcolor=#c0c0c0><font face=tahoma size=2 "
                            "color=black><A target=_prev href=\"" +
                                shown.link + "\">" + shown.link + "</A></FONT></TD></TR>") +
      Flag("surva requires personal details preview", "RequirePersonalDataPreview", shown.personal_data) +
      Flag("Display menu", "DisplayMenu", shown.menu) +
      "<tr><TD align=right bgColor=\"black\"><input type=submit name=AQAAA value=\"List of survas\"></TD>"
      "<TD align=right bgcolor=#c0c0c0><input type=submit name=SaveSurvaPropertiesButton Value=\"Save properties "
      "changes\"><input type=submit name=SaveSurvaPropertiesButton Value=\"Layout definition\"></td></TR></table>");
}

NameValues Form(const std::string& name, const std::string& button) {
  return {{"ModifySurvaProperties", "3"},
          {"Version", "3"},
          {"SurvaVersion", "3"},
          {"SurvaName", name},
          {"ThankYouPage", ""},
          {"RequireAuthorisation", "0"},
          {"DisplayMenu", "0"},
          {"RequirePersonalDataPreview", "0"},
          {"SaveSurvaPropertiesButton", button}};
}

TEST_P(Properties, Page) {
  seed.Surva({.authorisation = true, .personal_data = true, .display_menu = true, .thank_you_page = "thanks.asp?a=1"});
  EXPECT_EQ(Get({{"view", "3"}}).page, PropertiesPage({.thank_you_page = "thanks.asp?a=1"}));
  EXPECT_EQ(visitor.session()["SurvaProperties"].Text(), "1");
  // The layout editor's own button leads here too.
  EXPECT_EQ(
      Post({{"AQBBA", "surva properties"}, {"SaveSurvaProperties", "1"}, {"SurvaVersion", "3"}, {"Version", "3"}}).page,
      PropertiesPage({.thank_you_page = "thanks.asp?a=1"}));
  EXPECT_EQ(visitor.session()["SurvaProperties"].Text(), "0");
  // What was never set is not off.
  Write({"update SurvaVersion set SurvaName='<i>\"', ThankYouPage=NULL, RequireAuthorisation=NULL, "
         "RequirePersonalDataPreview=NULL, DisplayMenu=NULL"});
  EXPECT_EQ(Get({{"view", "3"}}).page, PropertiesPage({.name = "<i>\""}));
  for (const char* unknown : {"99", "0", "-3"}) EXPECT_EQ(Get({{"view", unknown}}).faults, kNoRow);
}

TEST_P(Properties, PublicLink) {
  seed.Surva({.authorisation = false});
  struct Case {
    std::string script;
    bool https;
    std::string link;
  };
  for (const Case& c : std::vector<Case>{
           {"/admin/CreateForm.asp", false, "http://www.example/surva.asp?version=3"},
           {"/Admin/createform.ASP", true, "https://www.example/surva.asp?version=3"},
           {"/site/admin/CREATEFORM.asp", true, "https://www.example/site/surva.asp?version=3"},
           {"/admin/CreateForm.asp/admin/CreateForm.asp", false, "http://www.example//surva.asp?version=3"},
           {"/other.asp", false, "http://www.example/other.aspsurva.asp?version=3"},
       }) {
    visitor.variables.script_name = c.script;
    visitor.variables.https = c.https;
    EXPECT_TRUE(Get({{"View", " 3"}}).Holds("<A target=_prev href=\"" + c.link + "\">" + c.link + "</A>")) << c.link;
  }
}

TEST_P(Properties, Saves) {
  seed.Surva({.authorisation = true, .personal_data = true, .display_menu = true, .thank_you_page = "thanks.asp"});
  seed.Surva({});
  const std::string link = "http://www.example/surva.asp?version=3";
  EXPECT_EQ(
      Post(Form("O'Brien's \"form\"", "save PROPERTIES changes")).page,
      PropertiesPage(
          {.name = "O'Brien's \"form\"", .authorisation = false, .personal_data = false, .menu = false, .link = link}));
  EXPECT_TRUE(Post(Form("", "Layout definition")).Holds("Modify surva layout")) << "an empty name is a name";
  EXPECT_EQ(Read({"select SurvaName, RequireAuthorisation, RequirePersonalDataPreview, ThankYouPage, DisplayMenu, "
                  "Valid, CreateDate from SurvaVersion order by SurvaVersionID"}),
            ",0,0,,0,-,- Course evaluation,-1,0,,0,-,-");
  // The list's button does not save.
  NameValues list = Form("Not saved", "");
  list.emplace_back("AQAAA", "List of survas");
  EXPECT_EQ(Post(list).redirect, "CreateForm.asp");
  EXPECT_EQ(Read({"select count(*) from SurvaVersion where SurvaName='Not saved'"}), "0");
}

TEST_P(Properties, SavesNothingOfWhatIsWrong) {
  seed.Surva({});
  const std::string before = Read({"select * from SurvaVersion"});
  struct Case {
    const char* name;
    std::string value;
    Faults faults;
  };
  for (const Case& c : std::vector<Case>{{"SurvaName", std::string(151, 'n'), kRefused},
                                         {"ThankYouPage", std::string(151, 't'), kRefused},
                                         {"RequireAuthorisation", "", kMismatch},
                                         {"DisplayMenu", "maybe", kMismatch},
                                         {"RequirePersonalDataPreview", "3000000000", {FaultNumber::kOutOfRange}},
                                         {"Version", "4", kNoRow},
                                         {"Version", "", kSyntax},
                                         {"Version", "3 or 1=1", kSyntax}}) {
    NameValues form = Form("New", "Layout definition");
    for (auto& [name, value] : form) {
      if (name == c.name) value = c.value;
    }
    EXPECT_EQ(Post(form).faults, c.faults) << c.name << " " << c.value;
  }
  EXPECT_EQ(Read({"select * from SurvaVersion"}), before);
}

}  // namespace
}  // namespace surva::test
