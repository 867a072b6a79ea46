// bench_reports: what the reports cost as the marks grow.
//
//   bench_reports fill DSN MARKS       makes a database of so many marks; event 1 is the same in each
//   bench_reports run DSN SECONDS      runs the pages of one event and of all, one after the other, and prints for each
//                                      the processor microseconds of one request (the database server's included) and
//                                      its name; then the statements of
//                                      the answer statistics of all in a bare loop on the engine; then the event
//                                      report and the trends, and the aggregates that each needs, in plain SQL
#include <libpq-fe.h>
#include <sqlite3.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "bench/measuring.h"
#include "desk/pages.h"
#include "frame/data/assembly.h"
#include "frame/data/forwarding_engine.h"
#include "frame/data/tally.h"
#include "reporting/browse.h"
#include "reporting/stat.h"

namespace {

using namespace surva;
using namespace surva::data::tables;
using data::Number;

constexpr int kQuestions = 20;
constexpr int kParticipants = 10;  // of an event

void Fill(const std::string& dsn, std::int64_t marks) {
  data::Database database(dsn);
  database.BringUpToDate();
  data::Connection db(database);
  bench::LiftTimeLimit(db);
  const std::int64_t events = marks / kQuestions / kParticipants;
  const auto number = [](std::int64_t value) { return std::to_string(value); };
  for (int i = 1; i <= 5; ++i) db.AddNew(kSurvaVersion).Set("SurvaName", Value("Surva " + number(i))).Update();
  for (int i = 1; i <= 30; ++i) db.AddNew(kTrainer).Set("LastName", Value("Trainer " + number(i))).Update();
  for (int i = 1; i <= 60; ++i) db.AddNew(kTraining).Set("TrainingName", Value("Training " + number(i))).Update();
  for (int i = 1; i <= 200; ++i) db.AddNew(kCompany).Set("CompanyName", Value("Company " + number(i))).Update();
  for (std::int64_t i = 0; i < events; ++i) {
    for (int of_event = 0; of_event < 2; ++of_event) {
      db.AddNew(kStudent).Set("CompanyID", 1 + i % 200).Set("LastName", Value("Student " + number(i))).Update();
    }
    const DateTime begin = AddDays({1999, 1, 4}, static_cast<int>(i * 2500 / events));
    db.AddNew(kSchedule)
        .Set("TrainingID", 1 + i % 60)
        .Set("TrainerID", 1 + i % 30)
        .Set("SurvaVersionID", 1 + i % 5)
        .Set("BeginDate", begin)
        .Set("EndDate", AddDays(begin, 3))
        .Set("Place", Value("Room " + number(i % 40)))
        .Update();
  }
  // Twenty questions with five choices of digits; the versions share them by turns.
  for (int i = 0; i < 2 * kQuestions; ++i) {
    db.AddNew(kQuestion)
        .Set("Content", Value("How good was part " + number(i) + " of the course?"))
        .Set("AnswerType", std::int64_t{2})
        .Set("QuestionType", std::int64_t{4})
        .Update();
    for (int choice = 1; choice <= 5; ++choice) {
      db.AddNew(kFieldValue).Set("QuestionID", std::int64_t{i + 1}).Set("FieldValue", Value(number(choice))).Update();
    }
  }
  for (int i = 0; i < 5 * kQuestions; ++i) {
    db.AddNew(kSurvaLayout)
        .Set("SurvaVersionID", std::int64_t{1 + i / kQuestions})
        .Set("QuestionID", std::int64_t{1 + i % kQuestions + kQuestions * (i / kQuestions % 2)})
        .Set("PositionID", std::int64_t{1 + i % kQuestions})
        .Update();
  }
  db.Execute({"insert into Participant (ScheduleID, StudentID, PIN) with recursive n(i) as "
              "(select cast(0 as bigint) union all select i+1 from n where i+1<",
              Number(events * kParticipants), ") select 1+i/10, 1+(i*7)%", Number(events * 2), ", '' from n"});
  db.Execute({"insert into Mark (StudentID, ScheduleID, QuestionID, FieldValueID, TextAnswer) select "
              "Participant.StudentID, Participant.ScheduleID, QuestionID, "
              "(QuestionID-1)*5+1+(ParticipantID*31+PositionID*17)%5, '' from Participant, Schedule, SurvaLayout where "
              "Schedule.ScheduleID=Participant.ScheduleID and SurvaLayout.SurvaVersionID=Schedule.SurvaVersionID "
              "order by ParticipantID, PositionID"});
  db.Commit();
  bench::Analyze(database);
  database.Close();
}

template <class Once>
void Measure(const char* name, double seconds, const bench::ProcessorTime& processor, Once once) {
  for (int warm = 0; warm < 6; ++warm) once();
  const double before = processor.Now();
  const auto start = std::chrono::steady_clock::now();
  long rounds = 0;
  do {
    once();
    ++rounds;
  } while (std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() < seconds);
  std::printf("%.0f %s\n", (processor.Now() - before) / static_cast<double>(rounds), name);
  std::fflush(stdout);
}

void Check(int code) {
  if (code == SQLITE_OK || code == SQLITE_ROW || code == SQLITE_DONE) return;
  std::fprintf(stderr, "SQLite fails with %d\n", code);
  std::exit(1);
}

// The statements of `texts`, which have no places, and every column of every row that they give.
void MeasureBareLoop(const char* name, const std::string& path, double seconds, const bench::ProcessorTime& processor,
                     const std::vector<std::string>& texts) {
  sqlite3* database = nullptr;
  Check(sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READONLY, nullptr));
  Check(bench::RegisterCollation(database));
  Check(data::AddTally(database));
  std::vector<sqlite3_stmt*> statements(texts.size());
  for (std::size_t i = 0; i < texts.size(); ++i) {
    Check(sqlite3_prepare_v2(database, texts[i].c_str(), -1, &statements[i], nullptr));
  }
  Measure(name, seconds, processor, [&] {
    for (sqlite3_stmt* statement : statements) {
      int code = 0;
      while ((code = sqlite3_step(statement)) == SQLITE_ROW) {
        for (int column = 0; column < sqlite3_column_count(statement); ++column) sqlite3_column_text(statement, column);
      }
      Check(code);
      Check(sqlite3_reset(statement));
    }
  });
  for (sqlite3_stmt* statement : statements) sqlite3_finalize(statement);
  sqlite3_close(database);
}

// The forms of everybody, as the pages ask for them.
void SetFilter(Session& session, const std::string& dsn) {
  session.Provide("DSN", dsn);
  for (const Criterion& criterion : forms::kNamed.criteria) session.Set(criterion.name, "%");
}

// The same through libpq alone.
void MeasureBareServer(const char* name, const std::string& dsn, double seconds, const bench::ProcessorTime& processor,
                       const std::vector<std::string>& texts) {
  PGconn* connection = PQconnectdb(dsn.c_str());
  PQclear(PQexec(connection, "set search_path=public, pg_catalog"));
  for (std::size_t i = 0; i < texts.size(); ++i) {
    PGresult* prepared = PQprepare(connection, std::to_string(i).c_str(), texts[i].c_str(), 0, nullptr);
    if (PQresultStatus(prepared) != PGRES_COMMAND_OK) std::exit(1);
    PQclear(prepared);
  }
  Measure(name, seconds, processor, [&] {
    for (std::size_t i = 0; i < texts.size(); ++i) {
      PGresult* result = PQexecPrepared(connection, std::to_string(i).c_str(), 0, nullptr, nullptr, nullptr, 0);
      if (PQresultStatus(result) != PGRES_TUPLES_OK) std::exit(1);
      PQclear(result);
    }
  });
  PQfinish(connection);
}

// An engine in front of the real one that keeps the statements.
class Recorder final : public data::ForwardingEngine {
 public:
  Recorder(std::unique_ptr<data::Engine> engine, std::vector<std::string>& texts)
      : ForwardingEngine(std::move(engine)), texts_(texts) {}
  data::Rows Run(data::Statement statement, data::Effect effect) override {
    std::vector<const data::Piece*> values;
    data::Assemble(statement, dialect(), texts_.emplace_back(), values);
    return engine_->Run(statement, effect);
  }

 private:
  std::vector<std::string>& texts_;
};

void MeasureBare(const char* name, const std::string& dsn, double seconds, const bench::ProcessorTime& processor,
                 const std::vector<std::string>& texts) {
  constexpr std::string_view kSqlite = "sqlite:";
  if (dsn.starts_with(kSqlite)) return MeasureBareLoop(name, dsn.substr(kSqlite.size()), seconds, processor, texts);
  MeasureBareServer(name, dsn, seconds, processor, texts);
}

// Pages of our own over all marks, each beside what somebody would ask the engine for himself.
void RunOurOwn(data::Database& database, const std::string& dsn, double seconds,
               const bench::ProcessorTime& processor) {
  const std::string counts = "select QuestionID, FieldValueID, count(*) from Mark where ";
  const std::string month =
      database.dialect() == data::Dialect::kSqlite ? "substr(BeginDate, 1, 7)" : "date_trunc('month', BeginDate)";
  const std::string months = "select " + month +
                             ", FieldValueID, count(*) from Schedule inner join Mark on "
                             "Mark.ScheduleID=Schedule.ScheduleID where BeginDate<'2006-01-01' ";
  const struct {
    const char* name;
    NameValues query;
    desk::Page serve;
    std::vector<std::string> aggregates;
  } pages[] = {{"the report of an event",
                {{"event", "1"}},
                desk::ShowReport,
                {counts + "ScheduleID=1 group by 1, 2",
                 counts + "ScheduleID in (select ScheduleID from Schedule where TrainerID=1) group by 1, 2",
                 counts + "ScheduleID in (select ScheduleID from Schedule where TrainingID=1) group by 1, 2",
                 counts + "1=1 group by 1, 2"}},
               {"the trends of a trainer",
                {{"trainer", "1"}, {"from", "1999-01"}, {"to", "2005-12"}},
                desk::ShowTrends,
                {months + "group by 1, 2", months + "and TrainerID=1 group by 1, 2"}}};
  const wire::HttpRequest http;
  desk::Background background([](const std::exception&) { std::exit(1); });
  const desk::Settings settings;
  const Owner owner;
  const guard::Person person;
  guard::Gate gate;
  for (const auto& page : pages) {
    const Request request(page.query, {}, {});
    Measure(page.name, seconds, processor, [&] {
      data::Connection connection(database);
      desk::Context context{http,  request,         {},     connection, database, background, settings,
                            owner, Clock::System(), person, gate,       {}};
      if (page.serve(context).status != 200) std::exit(1);
    });
    MeasureBare("its aggregates, bare", dsn, seconds, processor, page.aggregates);
  }
}

int Run(const std::string& dsn, double seconds) {
  data::Database database(dsn);
  const bench::ProcessorTime processor(database);
  struct Page {
    const char* name;
    NameValues query;
    void (*serve)(PageContext& context);
  };
  const auto browse = [](PageContext& context) { Browse(context).Serve(); };
  const auto stat = [](PageContext& context) { Stat(context).Serve(); };
  const std::vector<Page> pages{{"list of one event", {{"BrowseForms", "1"}, {"ScheduleID", "1"}}, browse},
                                {"statistics of one event", {{"Stats", "1"}, {"ScheduleID", "1"}}, browse},
                                {"a month in figures", {{"Y", "2004"}, {"M", "3"}}, stat},
                                {"statistics of all", {{"Stats", "1"}}, browse}};
  const Owner owner;
  Session session;
  SetFilter(session, dsn);
  for (const Page& page : pages) {
    const Request request(page.query, {}, {});
    Measure(page.name, seconds, processor, [&] {
      Response response;
      data::Connection connection(database);
      PageContext context{request, response, session, connection, owner, Clock::System(), {}};
      page.serve(context);
      if (response.page().find("Error occurred") != std::string::npos) std::exit(1);
    });
  }
  std::vector<std::string> texts;
  data::Database recorded(dsn, [&texts](std::unique_ptr<data::Engine> engine) {
    return std::make_unique<Recorder>(std::move(engine), texts);
  });
  data::Connection connection(recorded);
  const FilledForms forms(forms::kNamed, session, Request());
  forms.Count(connection);
  forms.CountAnswers(connection);
  MeasureBare("the statements of the latter, bare", dsn, seconds, processor, texts);
  RunOurOwn(database, dsn, seconds, processor);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string action = argc == 4 ? argv[1] : "";
  if (action == "fill") return Fill(argv[2], std::atoll(argv[3])), 0;
  if (action == "run") return Run(argv[2], std::atof(argv[3]));
  std::fprintf(stderr, "bench_reports fill DSN MARKS | bench_reports run DSN SECONDS\n");
  return 2;
}
