// What the tests of the record pages share: a member of staff, and his records.
#pragma once

#include <string>

#include "frame/values/fault.h"
#include "records/record_page.h"
#include "tests/support/page_harness.h"
#include "tests/support/seed.h"
#include "tests/support/staff_page.h"
#include "tests/support/test_database.h"

namespace surva::test {

class Clerk : public OnBothEngines {
 protected:
  Answer Get(const records::Description& page, const NameValues& query) {
    return visitor.Serve<RecordPage>(query, {}, page);
  }
  Answer Post(const records::Description& page, const NameValues& form) {
    return visitor.Serve<RecordPage>({}, form, page);
  }
  // A new search with these criteria.
  Answer Search(const records::Description& page, NameValues criteria = {}) {
    criteria.emplace_back("Search", "Search");
    criteria.emplace_back("Action", "P");
    return Post(page, criteria);
  }
  std::int64_t Add(const data::Table& table, ColumnValues values) { return AddRow(*database, table, values); }
  std::string Read(std::initializer_list<data::Piece> select) { return test::Read(*database, select); }

  // The names that a list shows, by blanks.
  static std::string Listed(const Answer& answer) {
    std::string names;
    const std::string link = "?Modify=";
    std::size_t at = answer.page.find(link);
    while (at != std::string::npos) {
      const std::size_t begin = answer.page.find('>', at) + 1;
      names.append(answer.page, begin, answer.page.find("</a>", begin) - begin);
      at = answer.page.find(link, begin);
      if (at != std::string::npos) names += ' ';
    }
    return names;
  }

  TestDatabase database{GetParam()};
  Visitor visitor{*database};
};

inline const std::string kSaved = "<BLOCKQUOTE>Data have been successfully saved into the database.</BLOCKQUOTE>";
inline const std::string kNothingFound =
    "<BLOCKQUOTE>Database does not contain records that match your query</BLOCKQUOTE>";

}  // namespace surva::test
