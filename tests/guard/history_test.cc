// What pages delete comes back.
#include "guard/history.h"

#include "frame/values/fault.h"
#include "tests/support/fixture.h"

namespace surva::guard {
namespace {

class HistoryTest : public test::OnFixture {
 protected:
  template <class Work>
  void As(const char* person, const char* request, Work work) {
    data::Connection connection(*database);
    connection.SetAuthor({person, request});
    work(connection);
    connection.Commit();
  }
  // Of the fourteen tables.
  std::string Rows() {
    std::string rows;
    for (const data::Table* table : data::AllTables()) {
      rows += Read({"select * from ", Name(*table), " order by ", Name(table->key())}) + "\n";
    }
    return rows;
  }
  std::vector<Change> Changes(const History::Filter& filter = {}) {
    data::Connection connection(*database);
    return History(connection).List(filter, 1000);
  }
};

TEST_P(HistoryTest, KeepsWhatWasAndPutsARequestBack) {
  Write({"insert into Message (Message) values ('it''s \"\u0105\" <b>\n{}')"});
  const std::string before = Rows();
  EXPECT_TRUE(Changes().empty()) << "what is added has no old row";
  // A failed statement in between must not make the author forgotten.
  As("visitor", "r1", [](data::Connection& db) {
    EXPECT_THROW(db.Execute({"delete from Mark where MarkID=500 and Nothing=1"}), Fault);
    db.Execute({"update Mark set TextAnswer='' where MarkID=500"});
    for (const data::Table* table : data::AllTables()) db.Execute({"delete from ", Name(*table)});
  });
  EXPECT_EQ(Rows(), std::string(14, '\n'));
  const auto all = static_cast<std::int64_t>(Changes().size());
  EXPECT_EQ(Changes({.table = "mark", .person = "Visitor"}).size(), 34U + 1);
  const DateTime today = Clock::System().Now();
  EXPECT_EQ(Changes({.day = today}).size(), all);
  for (const int days : {-1, 1}) EXPECT_TRUE(Changes({.day = AddDays(today, days)}).empty());
  EXPECT_TRUE(Changes({.person = "bert"}).empty());
  As("anna", "r2", [&](data::Connection& db) { EXPECT_EQ(History(db).PutRequestBack("r1"), all); });
  EXPECT_EQ(Rows(), before);

  // A single change, which is kept in its turn.
  As("anna", "r3", [](data::Connection& db) { db.Execute({"update Company set CompanyName='B' where CompanyID=3"}); });
  EXPECT_EQ(Changes().at(0).person + Changes().at(0).table, "annaCompany");
  As("anna", "r4", [&](data::Connection& db) { EXPECT_EQ(History(db).PutBack(Changes().at(0).id), 1); });
  EXPECT_EQ(Rows(), before);
  EXPECT_NE(Changes({.request = "r4"}).at(0).row.find("\"B\""), std::string::npos);
  EXPECT_EQ(Changes({.request = "r1"}).size(), all);

  As("", "", [&](data::Connection& db) { History(db).Purge(AddDays(today, 1)); });
  EXPECT_TRUE(Changes().empty());
}

SURVA_ON_BOTH_ENGINES(HistoryTest);

}  // namespace
}  // namespace surva::guard
