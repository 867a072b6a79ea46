// The same statements mean the same on both engines.
#include <chrono>
#include <utility>
#include <vector>

#include "frame/data/connection.h"
#include "frame/values/fault.h"
#include "frame/values/text.h"
#include "tests/support/recorded.h"
#include "tests/support/test_database.h"

namespace surva::test {
namespace {

using namespace std::literals;
using namespace data;
using namespace data::tables;

class Dialects : public OnBothEngines {
 protected:
  TestDatabase database{GetParam()};
  Connection db{*database};

  std::int64_t Count(std::initializer_list<Piece> select) { return db.Query(select).First()[0].Integer(); }
};
SURVA_ON_BOTH_ENGINES(Dialects);

TEST_P(Dialects, LetterCaseNeverCounts) {
  // Every letter of windows-1252 that has two cases there, as (capital, small).
  std::vector<std::pair<std::string, std::string>> letters;
  for (int byte = 'a'; byte < 0x100; ++byte) {
    const std::string small = FromWindows1252(std::string(1, static_cast<char>(byte)));
    const std::string capital = CapitalLetters(small);
    if (capital != small && ToWindows1252(capital).size() == 1) letters.emplace_back(capital, small);
  }
  EXPECT_EQ(letters.size(), 26U + 30 + 4);
  for (const auto& [capital, small] : letters) {
    db.AddNew(kTrainer).Set("FirstName", Value(capital + "x")).Set("LastName", Value(small + "X")).Update();
    db.AddNew(kTrainer).Set("FirstName", Value(small + "X")).Set("LastName", Value(capital + "x")).Update();
  }
  const auto all = static_cast<std::int64_t>(letters.size());
  EXPECT_EQ(Count({"select count(*) from Trainer where FirstName=LastName"}), 2 * all);
  EXPECT_EQ(db.Query({"select distinct FirstName from Trainer"}).size(), letters.size());
  EXPECT_EQ(db.Query({"select count(*) as Cnt from Trainer group by LastName having count(*)=2"}).size(),
            letters.size());
  std::string missed;
  for (const auto& [capital, small] : letters) {
    if (Count({"select count(*) from Trainer where FirstName=", Text(capital + "X")}) != 2) missed += capital;
    if (Count({"select count(*) from Trainer where FirstName like ", Pattern(small + "%")}) != 2) missed += small;
  }
  EXPECT_EQ(missed, "");
}

TEST_P(Dialects, NowIsTheServersLocalTime) {
  const DateTime before = Clock::System().Now();
  db.Execute({"insert into Schedule (BeginDate, EndDate) select now(), NOW()"});
  const Rows rows = db.Query({"Select now(),* from Schedule"});
  const DateTime after = Clock::System().Now();
  const Row row = rows.First();
  ASSERT_NO_THROW(row[0].Date()) << "a date, not its text: " << row[0].Text();
  // Each engine cuts the parts of a second.
  for (const Field& at : {row[0], row["BeginDate"], row["EndDate"]}) {
    EXPECT_LE(before, at.Date());
    EXPECT_LE(at.Date(), after);
  }
}

TEST_P(Dialects, KeysAreNeverUsedTwice) {
  const auto add = [&] {
    const std::int64_t key = db.AddNew(kCompany).Set("CompanyName", Value("x")).Update();
    EXPECT_EQ(Count({"select max(CompanyID) from Company"}), key);
    return key;
  };
  const std::int64_t first = add();
  db.Execute({"delete from Company"});
  const std::int64_t second = add();
  EXPECT_GT(second, first);
  db.Commit();
  db.Execute({"delete from Company where CompanyID=", Number(second)});
  db.Commit();
  EXPECT_GT(add(), second);
}

TEST_P(Dialects, WidthsAreCharacters) {
  const auto write = [&](const Table& table, const char* column, std::size_t characters) {
    std::string text;
    for (std::size_t i = 0; i < characters; ++i) text += "\u20ac";
    db.AddNew(table).Set(column, Value(text)).Update();
    return db.Query({"select * from ", Name(table), " order by ", Name(table.key()), " desc"})
               .First()[ColumnName(column)]
               .Text() == text;
  };
  for (const Table* table : AllTables()) {
    for (const Column& column : table->columns) {
      if (column.type != ColumnType::kText) continue;
      const std::string name(column.name);
      EXPECT_TRUE(write(*table, name.c_str(), static_cast<std::size_t>(column.width))) << table->name << '.' << name;
      try {
        write(*table, name.c_str(), static_cast<std::size_t>(column.width) + 1);
        ADD_FAILURE() << table->name << '.' << name << " takes more than it should";
      } catch (const Fault& fault) {
        EXPECT_EQ(fault.number(), FaultNumber::kValueRefused);
      }
    }
  }
  EXPECT_TRUE(write(kMark, "TextAnswer", 300'000));
}

TEST_P(Dialects, WhatIsNotThereIsAFault) {
  EXPECT_THROW(db.AddNew(kStudent).Set("NoColumn", Value(1)), Fault);
  EXPECT_THROW(db.Query({"select * from Trainer"}).First(), Fault);
}

TEST_P(Dialects, Cases) {
  const auto count = [this](std::initializer_list<Piece> select) { return std::to_string(Count(select)); };
  const auto event = [this](const char* column, const Value& value) {
    db.Execute({"delete from Schedule"});
    db.AddNew(kSchedule).Set(column, value).Update();
  };
  const auto like = [&](const std::string& pair) {
    const std::size_t bar = pair.find('|');
    event("Place", Value(pair.substr(0, bar)));
    return count({"select count(*) from Schedule where Place like ", Pattern(pair.substr(bar + 1))});
  };
  // Of a number, and of a null.
  const auto like_170 = [&](const std::string& pattern) {
    event("TrainerID", Value(170));
    return count({"select count(*) from Schedule where Schedule.TrainerID like ", Pattern(pattern)}) + " " +
           count({"select count(*) from Schedule where Schedule.TrainingID like ", Pattern(pattern)}) + " " +
           count({"select count(*) from Schedule where Place like ", Pattern(pattern)});
  };
  const auto parts = [&](const std::string& date) {
    event("BeginDate", Value(ReadIso(date).value()));
    return Read(db, {"select DATEPART('ww',BeginDate), datepart('yyyy',BeginDate), Year(BeginDate), "
                     "MONTH(Schedule.BeginDate), MONTH(EndDate), BeginDate from Schedule"});
  };
  // Of five days those up to a date and those from it on.
  const auto up_to_and_from = [&](const std::string& date) {
    event("Place", Value("no date"));
    for (const DateTime& at :
         {DateTime{2003, 12, 31, 23, 59, 59}, {2004, 1, 1}, {2004, 1, 1, 9}, {2004, 10, 1}, {2004, 2, 1}}) {
      db.AddNew(kSchedule).Set("BeginDate", at).Update();
    }
    return count({"select count(*) from Schedule where BeginDate<=CDate(", DateText(date), ")"}) + " " +
           count({"select count(*) from Schedule where BeginDate>=CDate(", DateText(date), ")"});
  };
  const auto stored = [&](const Table& table, const char* column) {
    return [this, &table, column](const std::string& text) {
      db.AddNew(table).Set(column, Value(text)).Update();
      return Read(db, {"select ", Name(table.Find(column)), " from ", Name(table), " order by ", Name(table.key()),
                       " desc limit 1"});
    };
  };
  // As a number place finds it among the numbers at the ends.
  const auto found = [&](const std::string& number) {
    db.Execute({"delete from Mark"});
    for (const std::int64_t each : {-2147483648LL, -1LL, 0LL, 2147483647LL}) {
      db.AddNew(kMark).Set("FieldValueID", each).Update();
    }
    return Read(db, {"select FieldValueID from Mark where FieldValueID=", Number(number)}) + ", " +
           count({"select count(*) from Mark where FieldValueID<", Number(number)}) + " below";
  };
  const auto text = [&](const std::string& written) {
    db.AddNew(kMessage).Set("Message", Value(written)).Update();
    return Read(db, {"select StudentID, Message from Message where Message=", Text(written)}) + ", deletes " +
           std::to_string(db.Execute({"delete from Message where Message=", Text(written)}));
  };
  const auto places = [](const std::string& bound) {
    std::string refusals;
    for (Piece (*const place)(std::string_view) : {Text, Pattern, DateText}) {
      try {
        place(bound);
      } catch (const Fault& fault) {
        refusals += std::string(fault.what()) + ", ";
      }
    }
    return refusals;
  };
  const auto sorted = [&](const std::vector<std::string>& names) {
    for (const std::string& name : names) db.AddNew(kTrainer).Set("LastName", Value(name)).Update();
    return Read(db, {"select LastName from Trainer order by LastName, TrainerID"});
  };
  db.AddNew(kCompany).Set("CompanyName", Value("Ames")).Set("FAX", Value("1")).Set("eMail", Value("c@x")).Update();
  db.AddNew(kStudent).Set("LastName", Value("Zo")).Set("Fax", Value("2")).Set("email", Value("s@x")).Update();
  const auto column = [this](const std::string& name) {
    return db.Query({"SELECT *,Student.email as emailS FROM Company, Student"}).First()[ColumnName(name)].Text();
  };
  PlayCases("tests/data/dialect.cases", {.each = {{"column", column},
                                                  {"like", like},
                                                  {"like-170", like_170},
                                                  {"parts", parts},
                                                  {"up-to-and-from", up_to_and_from},
                                                  {"stored-number", stored(kMark, "FieldValueID")},
                                                  {"stored-date", stored(kSchedule, "BeginDate")},
                                                  {"found", found},
                                                  {"text", text},
                                                  {"kept", stored(kMessage, "Message")},
                                                  {"places", places}},
                                         .lines = {{"sorted", sorted}}});
}

TEST(Statements, TakeNumbersWholeAndNothingElse) {
  EXPECT_EQ(std::get<std::int64_t>(Number("9223372036854775807"sv).content().content()), INT64_MAX);
  EXPECT_THROW(Number(Value()), Fault) << "an unset session key";
  EXPECT_THROW(Number(Value(DateTime{2004, 1, 1})), Fault);
}

TEST(Tally, CountsAsGroupingDoes) {
  TestDatabase database(Dialect::kSqlite);
  constexpr Piece kRows = "with recursive N(i) as (select 0 union all select i+1 from N where i<19999), "
                          "Triples(a, b, c) as (select i%3000-1500, i%2, case when i%3>0 then i%5-2 end from N) ";
  EXPECT_EQ(Read(*database, {kRows, "select value->>0 as a, value->>1 as b, value->>2 as c, value->>3 as n from "
                                    "json_each((select tally(a, b, c) from Triples)) order by a, b, c"}),
            Read(*database, {kRows, "select a, b, c, count(*) as n from Triples group by a, b, c order by a, b, c"}));
  EXPECT_EQ(Read(*database, {"select tally(1, 2, 3) from (select 1 where 1=0)"}), "[]");
}

}  // namespace
}  // namespace surva::test
