// bench_search: what staff pages cost as the database grows.
//
//   bench_search fill DSN STUDENTS   makes a database of so many students, with companies, events and participants in
//                                    proportion; some records are the same in each
//   bench_search run DSN SECONDS     runs pages that show only those, one after the other, and prints for each the
//                                    processor microseconds of one request (the database server's included), the
//                                    bytes of the page, and its name
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/measuring.h"
#include "records/record_page.h"
#include "scheduling/list.h"
#include "scheduling/schedule.h"

namespace {

using namespace surva;
using namespace surva::data::tables;
using data::Number;

// Keys of the records that every database has: the first of their tables.
constexpr int kSame = 20;

void AddSame(data::Connection& db) {
  db.AddNew(kSurvaVersion).Set("SurvaName", std::string_view("Course")).Set("Valid", std::int64_t{-1}).Update();
  for (int number = 1; number <= kSame; ++number) {
    const std::string text = (number < 10 ? "0" : "") + std::to_string(number);
    const auto set = [&](data::RowWriter&& row, const char* column, const char* start) {
      return row.Set(column, Value(start + text));
    };
    set(db.AddNew(kCompany), "CompanyName", "Mames ").Set("City", std::string_view("Xanten")).Update();
    set(db.AddNew(kTrainer), "LastName", "Maron ").Set("Phone", std::string_view("9")).Update();
    set(db.AddNew(kTraining), "TrainingName", "Method ").Set("SurvaVersionID", std::int64_t{1}).Update();
    set(db.AddNew(kStudent), "FirstName", "Mada ")
        .Set("LastName", Value("Malto " + text))
        .Set("City", std::string_view("Xanten"))
        .Set("CompanyID", std::int64_t{number})
        .Update();
    db.AddNew(kSchedule)
        .Set("TrainingID", std::int64_t{number})
        .Set("TrainerID", std::int64_t{number})
        .Set("SurvaVersionID", std::int64_t{1})
        .Set("BeginDate", DateTime{2004, 2, number})
        .Set("EndDate", DateTime{2004, 2, number + 4})
        .Update();
    for (int student = 1; student <= 8; ++student) {
      db.AddNew(kParticipant)
          .Set("ScheduleID", std::int64_t{number})
          .Set("StudentID", std::int64_t{student})
          .Set("PIN", Value("1" + text))
          .Update();
    }
  }
}

void Fill(const std::string& dsn, std::int64_t students) {
  data::Database database(dsn);
  database.BringUpToDate();
  data::Connection db(database);
  bench::LiftTimeLimit(db);
  AddSame(db);
  const std::int64_t companies = students / 20;
  const std::int64_t events = students / 10;
  const std::int64_t trainers = students / 1000 + 1;
  db.Execute(
      {"insert into Company (CompanyName, City, Street, PostCode) with recursive n(i) as "
       "(select cast(1 as bigint) union all select i+1 from n where i<",
       Number(companies),
       ") select case i % 2 when 0 then 'Firm ' else 'Works ' end || (i * 7919 % 100003), 'City ' || (i % 500), 'Street ' || i, '0' || (i % 99) from n"});
  db.Execute({"insert into Trainer (LastName, FirstName, Phone) with recursive n(i) as "
              "(select cast(1 as bigint) union all select i+1 from n where i<",
              Number(trainers),
              ") select case i % 2 when 0 then 'First ' else 'Zero ' end || i, 'First', '5' || i from n"});
  db.Execute(
      {"insert into Student (CompanyID, FirstName, LastName, City, Description) with recursive n(i) as "
       "(select cast(1 as bigint) union all select i+1 from n where i<",
       Number(students), ") select ", Number(kSame + 1), " + i % ", Number(companies),
       ", 'First ' || (i % 997), case i % 2 when 0 then 'Last ' else 'Zast ' end || (i * 7919 % 1000003), 'City ' || (i % 500), "
       "'Some words about this student that a member of staff has written down.' from n"});
  // Five days each, over a hundred years, and none near February 2004.
  const DateTime start{1950, 1, 2};
  for (std::int64_t event = 0; event < events; ++event) {
    DateTime begin = AddDays(start, static_cast<int>(event * 36500 / events));
    if (begin.year == 2004) begin.year = 2005;
    if (!IsCalendarDay(begin.year, begin.month, begin.day)) continue;
    db.AddNew(kSchedule)
        .Set("TrainingID", event % kSame + 1)
        .Set("TrainerID", event % kSame + 1)
        .Set("SurvaVersionID", std::int64_t{1})
        .Set("BeginDate", begin)
        .Set("EndDate", AddDays(begin, 4))
        .Update();
  }
  db.Execute({"insert into Participant (ScheduleID, StudentID, PIN) with recursive n(i) as "
              "(select cast(1 as bigint) union all select i+1 from n where i<",
              Number(students), ") select ", Number(kSame + 1), " + i % ", Number(events), ", ", Number(kSame),
              " + i, '2' || i from n"});
  db.Commit();
  bench::Analyze(database);
  database.Close();
}

struct Page {
  const char* name;
  NameValues query;
  void (*serve)(PageContext& context);
  const char* must_hold;
};

template <const records::Description& kRecord>
void Record(PageContext& context) {
  RecordPage(context, kRecord).Serve();
}
template <class Class>
void Other(PageContext& context) {
  Class(context).Serve();
}

const std::vector<Page>& Pages() {
  static const NameValues search{{"Search", "Search"}};
  static const auto with = [](NameValues more) {
    more.insert(more.end(), search.begin(), search.end());
    return more;
  };
  static const std::vector<Page> pages{
      {"companies, all", with({}), Record<records::kCompany>, "Name=Mv Value=Next"},
      {"companies by name", with({{"CompanyName", "mames"}}), Record<records::kCompany>, ">Mames 10</a>"},
      {"companies by name, next page", with({{"Mv", "Next"}, {"PageNo", "1"}}), Record<records::kCompany>,
       ">Mames 20</a>"},
      {"companies by city", with({{"City", "xan"}}), Record<records::kCompany>, ">Mames 10</a>"},
      {"companies by name and city", with({{"City", "x"}, {"CompanyName", "m"}}), Record<records::kCompany>,
       ">Mames 10</a>"},
      {"students, all", with({}), Record<records::kStudent>, "Name=Mv Value=Next"},
      {"students of a half's names", with({{"LastName", "z"}}), Record<records::kStudent>, "Name=Mv Value=Next"},
      {"students of all cities", with({{"City", "c"}}), Record<records::kStudent>, "Name=Mv Value=Next"},
      {"students of one company", with({{"CompanyID", "7"}, {"City", "xan"}}), Record<records::kStudent>,
       ">Malto 07</a>"},
      {"students by last name", with({{"LastName", "mal"}}), Record<records::kStudent>, ">Malto 10</a>"},
      {"students by first name", with({{"FirstName", "mada"}}), Record<records::kStudent>, ">Malto 10</a>"},
      {"students by city", with({{"City", "xanten"}}), Record<records::kStudent>, ">Malto 10</a>"},
      {"students by both names", with({{"FirstName", "mada"}, {"LastName", "mal"}}), Record<records::kStudent>,
       ">Malto 10</a>"},
      {"students by two names that never meet", with({{"FirstName", "First 77"}, {"LastName", "malto 01"}}),
       Record<records::kStudent>, "does not contain"},
      {"trainers by last name", with({{"LastName", "ma"}}), Record<records::kTrainer>, ">Maron 10</a>"},
      {"a company's form", {{"Modify", "1"}}, Record<records::kCompany>, "Mames 01"},
      {"a month of the calendar", {{"Action", "P"}, {"M", "2"}, {"Y", "2004"}}, Other<Schedule>, "Method 20"},
      {"an event's participants", {{"ModDown", "1"}}, Other<Schedule>, "Malto 08"},
      {"a sheet of PINs", {{"Schedule", "1"}}, Other<List>, "Malto 08"},
  };
  return pages;
}

int Run(const std::string& dsn, double seconds) {
  data::Database database(dsn);
  const bench::ProcessorTime processor(database);
  const Owner owner;
  for (const Page& page : Pages()) {
    Session session;
    session.Provide("DSN", dsn);
    session.Set("CompanyName", "mames%");
    for (const char* key : {"City", "Street", "PostCode"}) session.Set(key, "%");
    const Request request(page.query, {}, {});
    std::string shown;
    const auto once = [&] {
      Response response;
      data::Connection connection(database);
      PageContext context{request, response, session, connection, owner, Clock::System(), {}};
      page.serve(context);
      connection.Commit();
      shown = std::move(response).TakePage();
    };
    for (int warm = 0; warm < 6; ++warm) once();
    if (shown.find(page.must_hold) == std::string::npos || shown.find("Error occurred") != std::string::npos) {
      std::fprintf(stderr, "%s: not the page that was meant\n%s\n", page.name, shown.c_str());
      return 1;
    }
    const double before = processor.Now();
    const auto start = std::chrono::steady_clock::now();
    long rounds = 0;
    while (std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() < seconds) {
      once();
      ++rounds;
    }
    std::printf("%.1f %zu %s\n", (processor.Now() - before) / static_cast<double>(rounds), shown.size(), page.name);
    std::fflush(stdout);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string action = argc == 4 ? argv[1] : "";
  if (action == "fill") return Fill(argv[2], std::atoll(argv[3])), 0;
  if (action == "run") return Run(argv[2], std::atof(argv[3]));
  std::fprintf(stderr, "bench_search fill DSN STUDENTS | bench_search run DSN SECONDS\n");
  return 2;
}
