// The lists of records on tables of a size at which a search takes other ways.
#include "records/record_page.h"
#include "tests/support/fixture.h"

namespace surva::test {
namespace {

// However a page is read, it shows what the plain statement gives.
class LargeTables : public OnFixture {
 protected:
  Answer Post(const records::Description& page, const NameValues& form) {
    return visitor.Serve<RecordPage>(NameValues{{"Search", "Search"}}, form, page);
  }
};
SURVA_ON_BOTH_ENGINES(LargeTables);

TEST_P(LargeTables, AreReadAsThePlainStatementReadsThem) {
  Write(*database, {"delete from Student"});
  Write(*database, {"delete from Company"});
  Write(*database, {"insert into Company (CompanyName, City) with recursive n(i) as "
                    "(select 1 union all select i+1 from n where i<1500) select "
                    "case i % 31 when 0 then null when 1 then 'Zo\u00e9 ' || i else 'Name ' || (i * 797 % 1499) end, "
                    "case i % 29 when 0 then null when 1 then '' else 'City ' || (i % 211) end from n"});
  Write(*database, {"insert into Student (CompanyID, LastName) select CompanyID, CompanyName from Company"});
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
    EXPECT_EQ(keys(Post(page, criteria)), first) << criteria[0].second << ", " << criteria[1].second;
    if (!second.empty()) {
      EXPECT_EQ(keys(Post(page, {{"Mv", "Next"}})), second) << criteria[0].second << ", " << criteria[1].second;
    }
  };
  for (const bool names_are_missing : {true, false}) {
    if (!names_are_missing) Write(*database, {"update Company set CompanyName='Name' where CompanyName is null"});
    for (const std::string name : {"", "n", "ZO", "NAME 1", "name 14", "name 1_4", "%9", "name 9999", "z"}) {
      for (const std::string city : {"", "C", "city 12", "CITY 21_", "city 999"}) {
        expect_pages(records::kCompany, {{"CompanyName", name}, {"City", city}}, [&](int offset) {
          return Read(
              *database,
              {"select CompanyID from Company where (CompanyName like ", data::Pattern(pattern(name)),
               " or CompanyName is null) and (City like ", data::Pattern(pattern(city)),
               " or City is null) order by CompanyName nulls first, CompanyID limit 10 offset ", data::Number(offset)});
        });
      }
    }
  }
  for (const std::string company : {"1", "15", "150", "1500", "15000", "0", "1_", "-2", "2147483648"}) {
    expect_pages(records::kStudent, {{"CompanyID", company}, {"LastName", "n"}}, [&](int offset) {
      return Read(*database, {"select StudentID from Student where CompanyID like ", data::Pattern(pattern(company)),
                              " and (LastName like 'n%' or LastName is null) order by LastName nulls first, StudentID "
                              "limit 10 offset ",
                              data::Number(offset)});
    });
  }
}

}  // namespace
}  // namespace surva::test
