// What pages delete comes back.
#include "guard/history.h"

#include <gtest/gtest.h>

#include "frame/values/fault.h"
#include "tests/support/test_database.h"

namespace surva::guard {
namespace {

namespace tables = data::tables;

class HistoryTest : public test::OnBothEngines {
 protected:
  template <class Work>
  void As(const char* person, const char* request, Work work) {
    data::Connection connection(*database_);
    connection.SetAuthor({person, request});
    work(connection);
    connection.Commit();
  }
  std::string Marks() {
    return test::Read(*database_, {"select MarkID, QuestionID, TextAnswer from Mark order by MarkID"});
  }
  std::vector<Change> Changes(const History::Filter& filter = {}) {
    data::Connection connection(*database_);
    return History(connection).List(filter, 100);
  }

  test::TestDatabase database_{GetParam()};
};

TEST_P(HistoryTest, KeepsWhatWasAndPutsARequestBack) {
  As("", "", [](data::Connection& db) {
    for (std::int64_t question = 1; question <= 3; ++question) {
      data::RowWriter row = db.AddNew(tables::kMark);
      row.Set("StudentID", std::int64_t{7}).Set("QuestionID", question);
      row.Set("TextAnswer", std::string_view("it's \"ą\" <b>\n{}")).Update();
    }
  });
  const std::string before = Marks();
  EXPECT_TRUE(Changes().empty()) << "what is added has no old row";

  // A failed statement in between must not make the author forgotten.
  As("visitor", "r1", [](data::Connection& db) {
    EXPECT_THROW(db.Execute({"delete from Mark where MarkID=1 and Nothing=1"}), Fault);
    db.Execute({"update Mark set TextAnswer='' where MarkID=1"});
    db.Execute({"delete from Mark where StudentID=7"});
  });
  EXPECT_EQ(Marks(), "");
  As("anna", "r2", [](data::Connection& db) {
    db.AddNew(tables::kCompany).Set("CompanyName", std::string_view("A")).Update();
    db.Execute({"update Company set CompanyName='B'"});
  });

  ASSERT_EQ(Changes().size(), 5U);
  EXPECT_EQ(Changes().front().person + Changes().front().table, "annaCompany");
  EXPECT_EQ(Changes({.table = "mark", .person = "Visitor"}).size(), 4U);
  EXPECT_EQ(Changes({.day = Clock::System().Now()}).size(), 5U);
  EXPECT_TRUE(Changes({.day = AddDays(Clock::System().Now(), -1)}).empty());
  EXPECT_TRUE(Changes({.person = "bert"}).empty());

  As("anna", "r3", [](data::Connection& db) { EXPECT_EQ(History(db).PutRequestBack("r1"), 4); });
  EXPECT_EQ(Marks(), before);
  // A single change, which is kept in its turn.
  const std::int64_t renamed = Changes({.table = "Company"}).front().id;
  As("anna", "r4", [&](data::Connection& db) { EXPECT_EQ(History(db).PutBack(renamed), 1); });
  EXPECT_NE(Changes({.request = "r4"}).front().row.find("\"B\""), std::string::npos);

  As("", "", [](data::Connection& db) { History(db).Purge(AddDays(Clock::System().Now(), 1)); });
  EXPECT_TRUE(Changes().empty());
}

TEST_P(HistoryTest, CoversAllFourteenTables) {
  const auto value = [](const data::Table& table) {
    return table.columns[1].type == data::ColumnType::kLong ? Value(5) : Value("5");
  };
  As("", "", [&](data::Connection& db) {
    for (const data::Table* table : data::AllTables()) {
      db.AddNew(*table).Set(table->columns[1].name, value(*table)).Update();
    }
  });
  As("anna", "all", [](data::Connection& db) {
    for (const data::Table* table : data::AllTables()) db.Execute({"delete from ", Name(*table)});
  });
  EXPECT_EQ(Changes({.request = "all"}).size(), 14U);
  As("anna", "back", [](data::Connection& db) { EXPECT_EQ(History(db).PutRequestBack("all"), 14); });
  data::Connection db(*database_);
  for (const data::Table* table : data::AllTables()) {
    const data::Rows rows = db.Query({"select * from ", Name(*table)});
    EXPECT_EQ(rows.size() == 1 ? rows.First()[1].Text() : "", "5") << table->name;
  }
}

SURVA_ON_BOTH_ENGINES(HistoryTest);

}  // namespace
}  // namespace surva::guard
