// The same statements mean the same on both engines.
#include <chrono>
#include <utility>
#include <vector>

#include "frame/data/connection.h"
#include "frame/values/fault.h"
#include "frame/values/text.h"
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

// Every letter of windows-1252 that has two cases, as (capital, small).
std::vector<std::pair<std::string, std::string>> Letters() {
  std::vector<std::pair<std::string, std::string>> letters;
  for (int capital = 'A'; capital <= 0xDE; ++capital) {
    if (capital == 'Z' + 1) capital = 0xC0;
    if (capital == 0xD7) continue;  // the multiplication sign
    letters.emplace_back(FromWindows1252(std::string(1, static_cast<char>(capital))),
                         FromWindows1252(std::string(1, static_cast<char>(capital + 32))));
  }
  for (const auto& [capital, small] :
       {std::pair("\u0160", "\u0161"), {"\u0152", "\u0153"}, {"\u017D", "\u017E"}, {"\u0178", "\u00FF"}}) {
    letters.emplace_back(capital, small);
  }
  return letters;
}

TEST_P(Dialects, LetterCaseNeverCounts) {
  const auto letters = Letters();
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

TEST_P(Dialects, SortedBySmallLetters) {
  for (const char* name : {"b", "\u00C9mile", "Z", "_", "a", "B", "\u00e9m", "", "A", "aa", "10", "9", "\u017Duk"}) {
    db.AddNew(kTrainer).Set("LastName", Value(name)).Update();
  }
  EXPECT_EQ(Read(*database, {"select LastName from Trainer"}), "") << "not committed yet";
  db.Commit();
  EXPECT_EQ(Read(*database, {"select LastName from Trainer where LastName<>'' order by LastName, TrainerID"}),
            "10 9 _ a A aa b B Z \u00e9m \u00C9mile \u017Duk");
}

TEST_P(Dialects, Like) {
  const auto check = [&](std::string_view pair, int matches) {
    const std::size_t bar = pair.find('|');
    db.Execute({"delete from Schedule"});
    db.AddNew(kSchedule).Set("Place", pair.substr(0, bar)).Update();
    EXPECT_EQ(Count({"select count(*) from Schedule where Place like ", Pattern(pair.substr(bar + 1))}), matches)
        << pair;
  };
  for (const char* pair : {"Warsaw|%", "Warsaw|w%w", "Warsaw|%sa%", "Warsaw|______", "\u0141\u00f3d\u017a|____",
                           "\u00C9cole|\u00e9%", "|%", "50\\x|50\\%", "a\\b|a\\b", "a\\|a\\", "[ab]|[ab]", "a*c|a*c",
                           "two\nlines|two%lines", "aXbXc|%x%x%", "aaab|%aab", "mississippi|%iss%ip%_"}) {
    check(pair, 1);
  }
  for (const char* pair :
       {"Warsaw|war", "Warsaw|_______", "|_", "50%|50\\%", "a_b|a\\_b", "a|[ab]", "abc|a*c", " a|a"}) {
    check(pair, 0);
  }
  db.Execute({"delete from Schedule"});
  db.AddNew(kSchedule).Set("TrainerID", Value(170)).Update();
  EXPECT_EQ(Count({"select count(*) from Schedule where Place like '%'"}), 0) << "a null matches nothing";
  for (const auto& [pattern, matches] : {std::pair("170", 1), {"%", 1}, {"1%", 1}, {"17", 0}, {"1_0", 1}, {"", 0}}) {
    EXPECT_EQ(Count({"select count(*) from Schedule where Schedule.TrainerID like ", Pattern(pattern)}), matches)
        << pattern;
    EXPECT_EQ(Count({"select count(*) from Schedule where Schedule.TrainingID like ", Pattern(pattern)}), 0) << pattern;
  }
}

TEST_P(Dialects, PartsOfDates) {
  struct Case {
    DateTime at;
    int week;
  };
  static constexpr Case kCases[] = {
      {{2000, 1, 1}, 1}, {{2000, 1, 2}, 2},     {{2000, 12, 30}, 53}, {{2000, 12, 31, 23, 59, 59}, 54},
      {{2001, 1, 6}, 1}, {{2001, 1, 7}, 2},     {{2004, 2, 29}, 10},  {{2005, 12, 31}, 53},
      {{2006, 1, 1}, 1}, {{2006, 1, 7, 23}, 1}, {{2006, 1, 8}, 2},    {{1900, 3, 1}, 9},
  };
  for (const Case& one : kCases) {
    db.Execute({"delete from Schedule"});
    db.AddNew(kSchedule).Set("BeginDate", one.at).Update();
    const Rows rows =
        db.Query({"select DATEPART('ww',BeginDate) as w, datepart('yyyy',BeginDate) as y1, Year(BeginDate) as y2, "
                  "MONTH(Schedule.BeginDate) as m, MONTH(EndDate) as none, BeginDate from Schedule"});
    const Row row = rows.First();
    EXPECT_EQ(row["w"].Integer(), one.week) << IsoText(one.at);
    EXPECT_EQ(row["y1"].Integer(), one.at.year);
    EXPECT_EQ(row["y2"].Integer(), one.at.year);
    EXPECT_EQ(row["m"].Integer(), one.at.month);
    EXPECT_TRUE(row["none"].IsNull());
    EXPECT_EQ(row["BeginDate"].Date(), one.at);
  }
}

TEST_P(Dialects, DatesCompareWithDateTexts) {
  for (const DateTime& at :
       {DateTime{2003, 12, 31, 23, 59, 59}, {2004, 1, 1}, {2004, 1, 1, 9}, {2004, 10, 1}, {2004, 2, 1}}) {
    db.AddNew(kSchedule).Set("BeginDate", at).Update();
  }
  db.AddNew(kSchedule).Set("Place", Value("no date")).Update();
  EXPECT_EQ(Count({"select count(*) from Schedule where BeginDate>=CDate(", DateText("1-January-2004"), ")"}), 4);
  EXPECT_EQ(Count({"select count(*) from Schedule where BeginDate<=CDate(", DateText("1 jan 04"), ")"}), 2);
  EXPECT_EQ(Count({"select count(*) from Schedule where BeginDate=CDate('1-Oct-2004')"}), 1);
  EXPECT_THROW(DateText("31-June-2004"), Fault);
  EXPECT_THROW(DateText("1-January-2004' or ''='"), Fault);
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

TEST_P(Dialects, ValuesComeBackAsTheyWent) {
  for (const char* text : {"",
                           "it's",
                           "''; drop table Company; --",
                           "\\",
                           "\\'",
                           "a\\nb",
                           "$1 ? :x @y",
                           "%_",
                           "\r\n\t ",
                           "</textarea>",
                           "\u0141\u00f3d\u017a \u20ac",
                           "\xF0\x9F\x98\x80",
                           "0012",
                           "1e3",
                           "NULL",
                           "2004-01-01 00:00:00",
                           "\" or 1=1 --",
                           "0012/*",
                           "x) or (1=1",
                           "\u2019 or 1=1",
                           "\xca\xbc or 1=1"}) {
    db.AddNew(kMessage).Set("Message", Value(text)).Update();
    const Rows rows = db.Query({"select Message, StudentID from Message order by MessageID desc"});
    EXPECT_EQ(rows.First()["Message"].Text(), text);
    EXPECT_FALSE(rows.First()["Message"].IsNull());
    EXPECT_TRUE(rows.First()["StudentID"].IsNull());
    if (std::string_view(text).find('\'') != std::string_view::npos) continue;
    EXPECT_EQ(Count({"select count(*) from Message where Message=", data::Text(text)}), 1) << text;
    EXPECT_EQ(db.Execute({"delete from Message where Message=", data::Text(text)}), 1) << text;
  }
  // A NUL is refused, not taken for the text's end.
  EXPECT_THROW(db.AddNew(kMessage).Set("Message", "12\0'34"sv).Update(), Fault);
  EXPECT_EQ(Count({"select count(*) from Message"}), 3) << "those with a quote, which no text place takes";
  for (const std::int64_t number : {-2147483648LL, -1LL, 0LL, 2147483647LL}) {
    db.AddNew(kMark).Set("FieldValueID", number).Update();
    EXPECT_EQ(db.Query({"select FieldValueID as f from Mark order by MarkID desc"}).First()["f"].Integer(), number);
  }
  db.Execute({"delete from Mark where FieldValueID=", Number("-1"sv), " or FieldValueID=", Number("0.0"sv)});
  EXPECT_EQ(Count({"select count(*) from Mark"}), 2);
  EXPECT_EQ(Count({"select count(*) from Mark where FieldValueID<", Number("99999999999999999999"sv)}), 2);
  EXPECT_EQ(Count({"select count(*) from Mark where FieldValueID=", Number("2147483647.5"sv)}), 0);
}

TEST_P(Dialects, TextsAreConvertedToTheirColumns) {
  const auto fault = [&](const Table& table, const char* column, const char* text) {
    try {
      db.AddNew(table).Set(column, Value(text)).Update();
      return FaultNumber{};
    } catch (const Fault& thrown) {
      return thrown.number();
    }
  };
  for (const char* text : {"", " ", "abc", "1 2", "21, 22", "1;2", "0x1F", "1-Jan-2004"}) {
    EXPECT_EQ(fault(kMark, "FieldValueID", text), FaultNumber::kTypeMismatch) << text;
  }
  EXPECT_EQ(fault(kMark, "FieldValueID", "2147483648"), FaultNumber::kOutOfRange);
  EXPECT_EQ(fault(kMark, "NoColumn", "1"), FaultNumber::kNoSuchColumn);
  for (const char* text : {"", "2004", "30-February-2004", "today"}) {
    EXPECT_EQ(fault(kSchedule, "BeginDate", text), FaultNumber::kTypeMismatch) << text;
  }
  for (const char* text : {" 7 ", "+7", "6.5", "7.5", "1,234", "-0.4", "1e3"})
    EXPECT_EQ(fault(kMark, "fieldvalueid", text), FaultNumber{});
  EXPECT_EQ(fault(kSchedule, "EndDate", "29-feb-04"), FaultNumber{});
  db.Commit();
  EXPECT_EQ(Read(*database, {"select FieldValueID from Mark order by MarkID"}), "7 7 6 8 1234 0 1000");
  EXPECT_EQ(Read(*database, {"select EndDate from Schedule"}), "2/29/2004");
}

TEST_P(Dialects, ColumnsOfOneNameGoByTheirTable) {
  db.AddNew(kCompany).Set("CompanyName", Value("Ames")).Set("FAX", Value("1")).Set("eMail", Value("c@x")).Update();
  db.AddNew(kStudent).Set("LastName", Value("Zo")).Set("Fax", Value("2")).Set("email", Value("s@x")).Update();
  const Rows rows = db.Query({"SELECT *,Student.email as emailS FROM Company, Student"});
  const Row row = rows.First();
  EXPECT_EQ(row["Company.Fax"].Text(), "1");
  EXPECT_EQ(row["Student.Fax"].Text(), "2");
  EXPECT_EQ(row["student.EMAIL"].Text(), "s@x");
  EXPECT_EQ(row["COMPANY.email"].Text(), "c@x");
  EXPECT_EQ(row["emails"].Text(), "s@x");
  EXPECT_EQ(row["fax"].Text(), "1") << "a plain name is the first column that has it";
  EXPECT_EQ(row["lastname"].Text(), "Zo");
  EXPECT_THROW(row["Trainer.email"], Fault);
  EXPECT_THROW(row["emailX"], Fault);
  EXPECT_THROW(db.Query({"select * from Trainer"}).First(), Fault);
}

}  // namespace
}  // namespace surva::test
