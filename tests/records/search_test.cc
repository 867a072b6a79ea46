// Searching on the record pages: criteria, pages, and what stands in the lists.
#include "tests/records/clerk.h"
#include "tests/support/watched_engine.h"

namespace surva::test {
namespace {

using namespace data::tables;

class RecordSearch : public Clerk {
 protected:
  void AddCompanies(int count) {
    for (int number = 1; number <= count; ++number) {
      Add(kCompany, {{"CompanyName", Value((number < 10 ? "C0" : "C") + std::to_string(number))}});
    }
  }
};
SURVA_ON_BOTH_ENGINES(RecordSearch);

TEST_P(RecordSearch, ListOfCompanies) {
  AddCompanies(11);
  const auto first = Add(kCompany, {{"CompanyName", "<b>A</b>"},
                                    {"City", "Warsaw"},
                                    {"Street", "Mill Lane 2"},
                                    {"PostCode", "00-950"},
                                    {"TaxNumber", "526"}});
  std::string rows;
  for (int number = 1; number <= 9; ++number) {
    rows += "<TR><TD><a href=company.asp?Modify=" + std::to_string(number) + ">C0" + std::to_string(number) +
            "</a>&nbsp;</TD><TD>&nbsp;</TD><TD>&nbsp;</TD><TD>&nbsp;</TD><TD>&nbsp;</TD></TR>";
  }
  EXPECT_EQ(StaffBody(Search(records::kCompany).page),
            "<Form Action=company.asp Method=POST><Input Type=Hidden Name=PageNo Value=1>"
            "<Input Type=Hidden Name=Action Value=P><Input Type=Hidden Name=Search Value=Search>"
            "<TABLE align=center BORDER=0 cellspacing=0 cellpadding=2><tr><td>&nbsp;</td></tr><TR>"
            "<TH align=left width=150 nobr><Font color=navy>Company Name</Font></TH>"
            "<TH align=left width=90 nobr><Font color=navy>City</Font></TH>"
            "<TH align=left width=90 nobr><Font color=navy>Street</Font></TH>"
            "<TH align=left width=90 nobr><Font color=navy>Postcode</Font></TH>"
            "<TH align=left width=90 nobr><Font color=navy>Tax Number</Font></TH></tr>"
            "<tr><td bgcolor=#6699FF size=1 colspan=6></td></tr><tr><td>&nbsp;</td></tr>"
            "<TR><TD><a href=company.asp?Modify=" +
                std::to_string(first) +
                "><b>A</b></a>&nbsp;</TD><TD>Warsaw&nbsp;</TD><TD>Mill Lane 2&nbsp;</TD><TD>00-950&nbsp;</TD>"
                "<TD>526&nbsp;</TD></TR>" +
                rows +
                "<tr><td>&nbsp;</td></tr><tr><td bgcolor=#6699FF size=1 colspan=6></td></tr><tr><td>"
                "<INPUT TYPE=Submit Name=Mv Value=Next></td><td colspan=5 align=right></td></tr></Form></Table>");
}

TEST_P(RecordSearch, RowsOfTheOtherLists) {
  const auto company = Add(kCompany, {{"CompanyName", "Ames"}});
  const std::string student = std::to_string(
      Add(kStudent, {{"CompanyID", company}, {"FirstName", "Zo\u00eb"}, {"LastName", "Lee"}, {"City", "Ely"}}));
  Add(kStudent, {{"FirstName", "Of"}, {"LastName", "No Company"}});
  Add(kStudent, {{"CompanyID", company + 1}, {"FirstName", "Of"}, {"LastName", "Lost Company"}});
  const std::string trainer = std::to_string(Add(kTrainer, {{"LastName", "Kay"}, {"Phone", "5"}}));
  const std::string training = std::to_string(
      Add(kTraining, {{"TrainingName", "C++"}, {"Category", "IT"}, {"OfficialID", "O1"}, {"InternalID", "I1"}}));

  const std::string students = StaffBody(Search(records::kStudent).page);
  EXPECT_NE(students.find("<TH align=left width=80 nobr><Font color=navy><nobr>Last name</nobr></Font></TH>"
                          "<TH align=left width=80 nobr><Font color=navy><nobr>First name</nobr></Font></TH>"
                          "<TH align=left width=80 nobr><Font color=navy><nobr>City</nobr></Font></TH>"
                          "<TH align=left width=110 nobr><Font color=navy><nobr>Company</nobr></Font></TH></tr>"
                          "<tr><td bgcolor=#6699FF size=1 colspan=5></td></tr><tr><td>&nbsp;</td></tr>"
                          "<TR><TD><a href=Student.asp?Modify=" +
                          student +
                          ">Lee</a>&nbsp;</TD><TD>Zo\u00eb&nbsp;</TD><TD>Ely&nbsp;</TD><TD>Ames&nbsp;</TD></TR>"
                          "<tr><td>&nbsp;</td></tr><tr><td bgcolor=#6699FF size=1 colspan=5></td></tr>"
                          "<tr><td></td><td colspan=4 align=right></td></tr></Form></Table>"),
            std::string::npos)
      << students;
  const std::string trainers = StaffBody(Search(records::kTrainer).page);
  EXPECT_NE(trainers.find("<TH align=left width=150 nobr><Font color=navy><nobr>Last Name</nobr></Font></TH>"
                          "<TH align=left width=90 nobr><Font color=navy><nobr>First Name</nobr></Font></TH>"
                          "<TH align=left width=90 nobr><Font color=navy>e-mail</Font></TH>"
                          "<TH align=left width=90 nobr><Font color=navy>Phone</Font></TH></tr>"),
            std::string::npos)
      << trainers;
  EXPECT_NE(trainers.find("<TR><TD><a href=Trainer.asp?Modify=" + trainer +
                          ">Kay</a>&nbsp;</TD><TD>&nbsp;</TD><TD><a href=mailto:></a>&nbsp;</TD><TD>5&nbsp;</TD></TR>"),
            std::string::npos)
      << trainers;
  const std::string trainings = StaffBody(Search(records::kTraining).page);
  EXPECT_NE(trainings.find("<TH align=left width=150 nobr><Font color=navy>Training Name</Font></TH>"
                           "<TH align=left width=70 nobr><Font color=navy>Category</Font></TH>"
                           "<TH align=left width=80 nobr><Font color=navy><nobr>Official ID</nobr></Font></TH>"
                           "<TH align=left width=80 nobr><Font color=navy><nobr>Internal ID</nobr></Font></TH></tr>"),
            std::string::npos)
      << trainings;
  EXPECT_NE(trainings.find("<TR><TD><a href=training.asp?Modify=" + training +
                           ">C++</a>&nbsp;</TD><TD>IT&nbsp;</TD><TD>O1&nbsp;</TD><TD>I1&nbsp;</TD></TR>"),
            std::string::npos)
      << trainings;
}

TEST_P(RecordSearch, Pages) {
  AddCompanies(25);
  const std::string first = "C01 C02 C03 C04 C05 C06 C07 C08 C09 C10";
  const std::string second = "C11 C12 C13 C14 C15 C16 C17 C18 C19 C20";
  const std::string third = "C21 C22 C23 C24 C25";
  struct Case {
    const char* move;
    const char* page_number;
    std::string listed;   // empty: the page fails
    const char* printed;  // PageNo on the page, or the failure's number
    const char* buttons;  // N and P
  };
  for (const Case& one : std::initializer_list<Case>{
           {"", "", first, "1", "N"},
           {"Next", "", second, "2", "NP"},
           {"Next", "1", second, "2", "NP"},
           {"Next", "2", third, "3", "P"},
           {"Next", "3", "", "-2146825267", ""},  // only the first page is asked whether there is a next one
           {"Previous", "3", second, "2", "NP"},
           {"Previous", "2", first, "1", "N"},
           {"Previous", "1", first, "1", "N"},
           {"Previous", "0", first, "1", "N"},
           {"Previous", "-7", first, "1", "N"},
           {"Previous", "9", "", "-2146825267", ""},
           {"next", "2", second, "2", "NP"},  // neither of the two moves
           {"x", "02", second, "02", "NP"},
           {"x", " 3 ", third, " 3 ", "P"},
           {"x", "2.5", second, "2.5", "NP"},  // halves go to the even page
           {"x", "1.5", second, "1.5", "NP"},
           {"x", "2.6", third, "2.6", "NP"},  // and the number itself is less than the last page's
           {"Next", "1.5", second, "2.5", "NP"},
           {"x", "4", "", "-2146825267", ""},
           {"x", "0", "", "-2146825267", ""},
           {"x", "two", "", "-2147352571", ""},
           {"Next", "two", "", "-2147352571", ""},
           {"Previous", "two", "", "-2147352571", ""},
           {"x", "99999999999", "", "-2147352566", ""},
       }) {
    Search(records::kCompany);
    const Answer answer =
        Post(records::kCompany, {{"Search", "Search"}, {"Mv", one.move}, {"PageNo", one.page_number}, {"Action", "P"}});
    SCOPED_TRACE(std::string(one.move) + " " + one.page_number);
    EXPECT_EQ(Listed(answer), one.listed);
    if (one.listed.empty()) {
      ASSERT_EQ(answer.faults.size(), 1U);
      EXPECT_TRUE(answer.Holds(std::string("Error number: ") + one.printed + "<BR>"));
      continue;
    }
    EXPECT_TRUE(answer.Holds(std::string("Name=PageNo Value=") + one.printed + ">"));
    EXPECT_EQ(answer.Holds("Name=Mv Value=Next"), std::string(one.buttons).find('N') != std::string::npos);
    EXPECT_EQ(answer.Holds("Name=Mv Value=Previous"), std::string(one.buttons).find('P') != std::string::npos);
  }
}

TEST_P(RecordSearch, TenRowsAreOnePage) {
  AddCompanies(10);
  Answer answer = Search(records::kCompany);
  EXPECT_EQ(answer.Count("?Modify="), 10);
  EXPECT_FALSE(answer.Holds("Name=Mv"));
  // A next page is asked for although there is none: the only page comes again, whatever its number was.
  answer = Post(records::kCompany, {{"Search", "Search"}, {"Mv", "Next"}, {"PageNo", "many"}});
  EXPECT_EQ(answer.Count("?Modify="), 10);
  EXPECT_TRUE(answer.Holds("Name=PageNo Value=1>"));
}

TEST_P(RecordSearch, NothingFound) {
  EXPECT_EQ(StaffBody(Search(records::kCompany).page), kNothingFound);
  AddCompanies(1);
  EXPECT_EQ(StaffBody(Search(records::kCompany, {{"CompanyName", "x"}, {"PageNo", "many"}}).page), kNothingFound);
}

TEST_P(RecordSearch, EqualNamesAndMissingOnesHaveOneOrder) {
  for (const char* name : {"b", "A", "a", "B"}) Add(kCompany, {{"CompanyName", name}});
  Add(kCompany, {{"City", "x"}});
  EXPECT_EQ(Listed(Search(records::kCompany)), " A a b B");
  const std::string page = Search(records::kCompany).page;
  for (const char* key : {"=5>", "=2>A", "=3>a", "=1>b", "=4>B"}) EXPECT_NE(page.find(key), std::string::npos) << key;
}

TEST_P(RecordSearch, Criteria) {
  Add(kCompany, {{"CompanyName", "Ames"}, {"City", "Warsaw"}, {"Street", "Mill 1"}, {"PostCode", "00-950"}});
  Add(kCompany, {{"CompanyName", "AMBER"}, {"City", "War_saw"}, {"Street", "Mill 22"}, {"PostCode", "30"}});
  Add(kCompany, {{"CompanyName", "Cam"}, {"City", ""}});
  Add(kCompany, {{"CompanyName", "\u00c9mile"}, {"City", "Lodz"}});
  Add(kCompany, {{"CompanyName", "Null"}});
  Add(kCompany, {{"City", "Warsaw"}});
  struct Case {
    NameValues criteria;
    std::string listed;
  };
  for (const Case& one : std::initializer_list<Case>{
           {{{"CompanyName", "am"}}, " AMBER Ames"},  // a prefix, or no name at all
           {{{"CompanyName", "%am"}}, " AMBER Ames Cam"},
           {{{"CompanyName", "_m"}}, " AMBER Ames \u00c9mile"},
           {{{"CompanyName", "\u00e9M"}}, " \u00c9mile"},
           {{{"CompanyName", "am%s"}}, " Ames"},
           {{{"CompanyName", "%"}}, " AMBER Ames Cam Null \u00c9mile"},
           {{{"CompanyName", "ames%"}}, " Ames"},
           {{{"CompanyName", " am"}}, ""},
           {{{"CompanyName", "\\"}}, ""},
           {{{"CITY", "war"}}, " AMBER Ames Null"},
           {{{"City", "war_"}}, " AMBER Ames Null"},
           {{{"City", "warsaw"}, {"CompanyName", "a"}}, " Ames"},
           {{{"Street", "Mill 2"}}, " AMBER Cam Null \u00c9mile"},
           {{{"PostCode", "0"}, {"CompanyName", "A"}}, " Ames"},
           {{{"TaxNumber", "no criterion"}, {"CompanyName", "C"}}, " Cam"},
       }) {
    const Answer answer = Search(records::kCompany, one.criteria);
    EXPECT_EQ(Listed(answer), one.listed) << one.criteria[0].first << " " << one.criteria[0].second;
  }
  const Answer refused = Search(records::kCompany, {{"Street", "O'Hara"}});
  EXPECT_EQ(refused.faults, std::vector{FaultNumber::kStatementFailed});
  EXPECT_FALSE(refused.Holds("O'Hara"));
}

TEST_P(RecordSearch, NumberCriteriaArePrefixesToo) {
  const auto version = Add(kSurvaVersion, {{"SurvaName", "S"}});
  Add(kTraining, {{"TrainingName", "one"}, {"Category", "Law"}, {"SurvaVersionID", version}});
  Add(kTraining, {{"TrainingName", "two"}, {"Category", "-1"}, {"SurvaVersionID", 10 * version + 3}});
  Add(kTraining, {{"TrainingName", "three"}, {"Category", "Lawn"}, {"SurvaVersionID", 2}});
  Add(kTraining, {{"TrainingName", "four"}, {"Category", "Law"}});
  ASSERT_EQ(version, 1);
  EXPECT_EQ(Listed(Search(records::kTraining, {{"SurvaVersionId", "1"}})), "four one two");
  EXPECT_EQ(Listed(Search(records::kTraining, {{"SurvaVersionId", "-1"}, {"Category", "-1"}})), "four one three two");
  EXPECT_EQ(Listed(Search(records::kTraining, {{"Category", "law"}, {"SurvaVersionId", "2"}})), "four three");
  EXPECT_EQ(Listed(Search(records::kTraining, {{"TrainingName", "-1"}})), "");

  for (int number = 1; number <= 12; ++number) {
    const auto company = Add(kCompany, {{"CompanyName", "C"}});
    Add(kStudent, {{"CompanyID", company}, {"LastName", Value("s" + std::to_string(company))}});
  }
  EXPECT_EQ(Listed(Search(records::kStudent, {{"CompanyID", "1"}, {"Lastname", "-1"}})), "s1 s10 s11 s12");
  EXPECT_EQ(Listed(Search(records::kStudent, {{"CompanyID", "-1"}, {"Firstname", "-1"}})),
            "s1 s10 s11 s12 s2 s3 s4 s5 s6 s7")
      << "no student has a first name";
}

TEST_P(RecordSearch, CriteriaOutliveThePageAndAreShared) {
  AddCompanies(12);
  Add(kCompany, {{"CompanyName", "Other"}, {"City", "Ely"}});
  Search(records::kCompany, {{"CompanyName", "C"}, {"City", "Ely"}});
  Get(records::kCompany, {{"Action", "P"}});
  // A move leaves them as they are, even if the form sends others.
  EXPECT_EQ(Listed(Post(records::kCompany, {{"Search", "Search"}, {"Mv", "Next"}, {"CompanyName", "O"}})), "C11 C12");
  EXPECT_EQ(visitor.session()["CompanyName"].Text(), "C%");
  EXPECT_EQ(visitor.session()["city"].Text(), "Ely%");
  EXPECT_EQ(visitor.session()["Street"].Text(), "%");
  Search(records::kStudent, {{"City", "Bath"}});
  EXPECT_EQ(visitor.session()["City"].Text(), "Bath%");
  EXPECT_EQ(visitor.session()["CompanyID"].Text(), "%");
  // Who has never searched has no criteria, and those match missing values only.
  Visitor stranger(*database);
  EXPECT_EQ(
      StaffBody(
          stranger.Serve<RecordPage>(NameValues{{"Search", "Search"}, {"Mv", "Next"}}, NameValues{}, records::kCompany)
              .page),
      kNothingFound);
}

// However a page is read, it shows what the plain statement gives.
TEST_P(RecordSearch, LargeTables) {
  test::Write(*database, {"insert into Company (CompanyName, City) with recursive n(i) as "
                          "(select 1 union all select i+1 from n where i<1500) select "
                          "case i % 31 when 0 then null else 'Name ' || (i * 797 % 1499) end, "
                          "case i % 29 when 0 then null when 1 then '' else 'City ' || (i % 211) end from n"});
  test::Write(*database, {"insert into Student (CompanyID, LastName) select CompanyID, CompanyName from Company"});
  const auto keys = [](const Answer& answer) {
    std::string listed;
    for (std::size_t at = answer.page.find("?Modify="); at != std::string::npos;
         at = answer.page.find("?Modify=", at + 1)) {
      listed += (listed.empty() ? "" : " ") + answer.page.substr(at + 8, answer.page.find('>', at) - at - 8);
    }
    return listed;
  };
  const auto pattern = [](const std::string& typed) { return typed + "%"; };
  const auto expect_pages = [&](const records::Description& page, const NameValues& criteria, const auto& plain) {
    const std::string first = plain(0);
    const std::string second = plain(10);
    EXPECT_EQ(keys(Search(page, criteria)), first) << criteria[0].second << ", " << criteria[1].second;
    if (!second.empty()) {
      EXPECT_EQ(keys(Post(page, {{"Search", "Search"}, {"Mv", "Next"}})), second)
          << criteria[0].second << ", " << criteria[1].second;
    }
  };
  for (const bool names_are_missing : {true, false}) {
    if (!names_are_missing) test::Write(*database, {"update Company set CompanyName='Name' where CompanyName is null"});
    for (const std::string name : {"", "n", "NAME 1", "name 14", "name 1_4", "%9", "name 9999", "z"}) {
      for (const std::string city : {"", "C", "city 12", "CITY 21_", "city 999"}) {
        expect_pages(records::kCompany, {{"CompanyName", name}, {"City", city}}, [&](int offset) {
          return Read({"select CompanyID from Company where (CompanyName like ", data::Pattern(pattern(name)),
                       " or CompanyName is null) and (City like ", data::Pattern(pattern(city)),
                       " or City is null) order by CompanyName nulls first, CompanyID limit 10 offset ",
                       data::Number(offset)});
        });
      }
    }
  }
  for (const std::string company : {"1", "15", "150", "1500", "15000", "0", "1_", "-2", "2147483648"}) {
    expect_pages(records::kStudent, {{"CompanyID", company}, {"LastName", "n"}}, [&](int offset) {
      return Read({"select StudentID from Student where CompanyID like ", data::Pattern(pattern(company)),
                   " and (LastName like 'n%' or LastName is null) order by LastName nulls first, StudentID "
                   "limit 10 offset ",
                   data::Number(offset)});
    });
  }
}

TEST_P(RecordSearch, APageIsReadByItself) {
  AddCompanies(25);
  Watch watch;
  data::Database watched(database.dsn(), WatchedEngine::Around(watch));
  Visitor clerk(watched);
  clerk.Serve<RecordPage>(NameValues{{"Search", "Search"}}, NameValues{}, records::kCompany);
  EXPECT_EQ(watch.reads, 1);
  watch.Reset();
  clerk.Serve<RecordPage>(NameValues{{"Search", "Search"}, {"Mv", "Next"}}, NameValues{}, records::kCompany);
  EXPECT_EQ(watch.reads, 2);
  EXPECT_EQ(watch.writes, 0);
}

}  // namespace
}  // namespace surva::test
