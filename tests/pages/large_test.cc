// Long lists and forms: they cost no more statements than short ones, and show what the plain statement gives.
#include <map>

#include "tests/support/node.h"

namespace surva::test {
namespace {

class Large : public OnSite {
 protected:
  // The reads of each page.
  std::map<std::string, int> Reads() {
    std::map<std::string, int> reads;
    for (const auto& [path, query, form] :
         std::initializer_list<std::array<const char*, 3>>{{"/surva.asp", "", "PIN=1112"},
                                                           {"/surva.asp", "", "Next=Next"},
                                                           {"/surva.asp", "", "FormAccepted=41"},
                                                           {"/admin/CreateForm.asp", "", ""},
                                                           {"/admin/CreateForm.asp", "AQBBA=Back&SurvaVersion=41", ""},
                                                           {"/admin/schedule.asp", "Action=P&M=5&Y=2004", ""},
                                                           {"/admin/schedule.asp", "ModDown=52", ""},
                                                           {"/admin/stat.asp", "Action=P&M=5&Y=2004", ""},
                                                           {"/admin/stat.asp", "BrowseWeek=1&M=5&Y=2004", ""},
                                                           {"/admin/browse.asp", "BrowseForms=1&ScheduleID=52", ""},
                                                           {"/admin/browse.asp", "Stats=1&ScheduleID=52", ""},
                                                           {"/admin/company.asp", "Search=Search", ""},
                                                           {"/admin/company.asp", "Search=Search", "Mv=Next"}}) {
      watch.Reset();
      const wire::HttpResponse answer = browser.Ask(node, RequestFor(path, query, form));
      const std::string page = std::string(path) + "?" + query + " " + form;
      EXPECT_GT(answer.body.size(), 1000U) << page;
      EXPECT_FALSE(Holds(answer, "Error number")) << page;
      reads[page] = watch.reads;
    }
    return reads;
  }

  // The keys of the rows that a search lists.
  std::string Found(const std::string& path, const std::string& criteria) {
    const std::string page = browser.Ask(node, RequestFor(path, "Search=Search", criteria)).body;
    std::string keys;
    for (std::size_t at = 0; (at = page.find("?Modify=", at)) != std::string::npos; ++at) {
      keys += (keys.empty() ? "" : " ") + page.substr(at + 8, page.find('>', at) - at - 8);
    }
    return keys;
  }
  // `plain` gives a page's keys from the row at an offset.
  void ExpectPages(const std::string& path, const std::string& criteria, const auto& plain) {
    EXPECT_EQ(Found(path, criteria), plain(0)) << criteria;
    const std::string second = plain(10);
    EXPECT_EQ(second.empty() ? "" : Found(path, "Mv=Next"), second) << criteria;
  }
};
SURVA_ON_BOTH_ENGINES(Large);

TEST_P(Large, PagesCostNoMoreStatements) {
  Reads();  // the first of all finds no session
  const auto before = Reads();
  Write({"insert into SurvaLayout (SurvaVersionID, QuestionID, PositionID) select 41, QuestionID, SurvaLayoutID "
         "from SurvaLayout where SurvaVersionID>41 and SurvaVersionID<48"});
  Write({"insert into SurvaVersion (SurvaName) select LastName from Student"});
  Write({"insert into Schedule (TrainingID, TrainerID, SurvaVersionID, BeginDate, EndDate) select 31, 21, 41, "
         "BeginDate, '2004-05-09 00:00:00' from Schedule where BeginDate is not null"});
  Write({"insert into Participant (ScheduleID, StudentID, PIN) select 52, StudentID, '' from Student"});
  Write({"insert into Mark (StudentID, ScheduleID, QuestionID, FieldValueID) "
         "select StudentID, 52, 72, 101 from Student"});
  Write({"insert into Company (CompanyName) select CompanyName from Company"});
  EXPECT_EQ(Reads(), before);
}

TEST_P(Large, TablesAreReadAsThePlainStatementReadsThem) {
  Write({"delete from Student"});
  Write({"delete from Company"});
  Write({"insert into Company (CompanyName, City) with recursive n(i) as "
         "(select 1 union all select i+1 from n where i<1500) select "
         "case i % 31 when 0 then null when 1 then 'Zo\u00e9 ' || i else 'Name ' || (i * 797 % 1499) end, "
         "case i % 29 when 0 then null when 1 then '' else 'City ' || (i % 211) end from n"});
  Write({"insert into Student (CompanyID, LastName) select CompanyID, CompanyName from Company"});
  for (const bool names_are_missing : {true, false}) {
    if (!names_are_missing) Write({"update Company set CompanyName='Name' where CompanyName is null"});
    for (const std::string name : {"", "n", "ZO", "NAME 1", "name 14", "name 1_4", "%9", "name 9999", "z"}) {
      for (const std::string city : {"", "C", "city 12", "CITY 21_", "city 999"}) {
        ExpectPages("/admin/company.asp", "CompanyName=" + name + "&City=" + city, [&](int offset) {
          return Read({"select CompanyID from Company where (CompanyName like ", data::Pattern(name + "%"),
                       " or CompanyName is null) and (City like ", data::Pattern(city + "%"),
                       " or City is null) order by CompanyName nulls first, CompanyID limit 10 offset ",
                       data::Number(offset)});
        });
      }
    }
  }
  for (const std::string company : {"1", "15", "150", "1500", "15000", "0", "1_", "-2", "2147483648"}) {
    ExpectPages("/admin/student.asp", "CompanyID=" + company + "&LastName=n", [&](int offset) {
      return Read({"select StudentID from Student where CompanyID like ", data::Pattern(company + "%"),
                   " and (LastName like 'n%' or LastName is null) order by LastName nulls first, StudentID "
                   "limit 10 offset ",
                   data::Number(offset)});
    });
  }
}

}  // namespace
}  // namespace surva::test
