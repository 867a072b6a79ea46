// Long lists, forms and calendars, which cost no more statements than short ones and show what the plain statement
// gives; and averages.
#include <map>
#include <random>

#include "reporting/average.h"
#include "scheduling/week_walk.h"
#include "tests/support/node.h"
#include "tests/support/recorded.h"

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
  Reads();  // the first of all begins a session
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
  for (const char* page : {"/admin/schedule.asp?Action=P&M=5&Y=2004 ", "/admin/company.asp?Search=Search "}) {
    EXPECT_LE(before.at(page), 2) << page << ": one for the visit, and one of its own";
  }
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

TEST_P(Large, AMonthReadAtOnceIsItsWeeksReadOneByOne) {
  std::mt19937 random(4);
  const auto some_date = [&]() -> Value {
    const auto day = static_cast<int>(random() % 70);
    if (day == 0) return {};
    DateTime at = AddDays({2004, 2, 10}, day);
    if (random() % 2 == 0) at.hour = 12;
    return at;
  };
  data::Connection db(*database);
  for (int event = 0; event < 400; ++event) {
    db.AddNew(data::tables::kSchedule).Set("BeginDate", some_date()).Set("EndDate", some_date()).Update();
  }
  db.Commit();
  for (const PickedMonth& month : {PickedMonth{2003, 2}, {2004, 2}, {2004, 3}}) {
    const std::vector<Week> weeks = WeeksOf(month);
    // Just longer than the month's days.
    DateTime begin = AddDays(weeks.front().begin, -1);
    begin.hour = 23;
    DateTime end = weeks.back().end;
    end.hour = 1;
    db.AddNew(data::tables::kSchedule).Set("BeginDate", begin).Set("EndDate", end).Update();
    const MonthEvents events(db, weeks);
    for (const Week& week : weeks) {
      const data::Piece a = data::Bound(Field(week.begin));
      const data::Piece b = data::Bound(Field(week.end));
      std::string expected;
      for (const data::Row& row :
           db.Query({"Select ScheduleID from Schedule where (BeginDate>=", a, " and BeginDate<=", b,
                     ") or (EndDate>=", a, " and EndDate<=", b, ") or (BeginDate < ", a, " and EndDate>", b,
                     ") order by BeginDate nulls first, EndDate nulls first, ScheduleID"})) {
        expected += row["ScheduleID"].Text() + " ";
      }
      std::string found;
      events.ForEach(week, [&](const data::Row& event) { found += event["IndeksH"].Text() + " "; });
      EXPECT_EQ(found, expected) << month.year << "/" << month.month << ", " << week.first_day;
      EXPECT_FALSE(found.empty());
    }
  }
}

TEST(Averages, Cases) {
  // Answers with how often each was given, as "1*2|4*3".
  const auto average = [](const std::string& answers) {
    Average sum;
    for (std::size_t at = 0; at < answers.size();) {
      const std::size_t end = std::min(answers.find('|', at), answers.size());
      const std::size_t star = answers.rfind('*', end);
      sum.Add(answers.substr(at, star - at), std::stoi(answers.substr(star + 1)));
      at = end + 1;
    }
    const std::optional<double> shown = sum.Rounded();
    return shown ? Value(*shown).Text() : "none";
  };
  PlayCases("tests/pages/averages.cases", {.each = {{"average", average}}});
}

}  // namespace
}  // namespace surva::test
