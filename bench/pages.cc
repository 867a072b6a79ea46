// bench_pages: the database's side of the page benchmark.
//
//   bench_pages enrol DSN COUNT        enrols COUNT students on new events of the longest surva of a demo database and
//                                      prints, for each, the PIN; then "form VERSION" and the body of a posted form
//   bench_pages blank FILE SECONDS     the statements of a blank form, in a bare loop on the engine
//   bench_pages accept FILE SECONDS [EACH]
//                                      those of a form that is accepted for the first time, each on disk before the
//                                      next, or EACH of them by one commit
//
// The loops print one line: rounds per second, processor microseconds per round.
#include <sqlite3.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "bench/measuring.h"
#include "frame/data/connection.h"

namespace {

using namespace surva;
using data::Bound;
using data::Number;

struct LongestForm {
  std::int64_t version = 0;
  std::int64_t event = 0;
};

LongestForm FindLongestForm(data::Connection& db) {
  const data::Rows rows =
      db.Query({"select Schedule.SurvaVersionID as Version, max(Schedule.ScheduleID) as Event, "
                "(select count(*) from SurvaLayout where SurvaLayout.SurvaVersionID=Schedule.SurvaVersionID) as Cnt "
                "from Schedule group by Schedule.SurvaVersionID order by Cnt desc, Version"});
  return {rows.First()["Version"].Integer(), rows.First()["Event"].Integer()};
}

// A form with all that can be answered: the first choice of each question, every other box, a sentence of text.
std::string PostedForm(data::Connection& db, std::int64_t version) {
  std::string body = "FormAccepted=" + std::to_string(version) + "&AcceptButton=Accept+answers";
  for (const data::Row& row :
       db.Query({"select SurvaLayoutID, Question.QuestionID, QuestionType from SurvaLayout, Question "
                 "where SurvaLayout.QuestionID=Question.QuestionID and SurvaVersionID=",
                 Number(version), " order by PositionID"})) {
    const std::int64_t kind = row["QuestionType"].Integer();
    const std::string name = row["SurvaLayoutID"].Text();
    if (kind == 3) body += "&" + name + "=The+training+was+well+prepared+and+worth+the+time.";
    if (kind != 1 && kind != 2 && kind != 4) continue;
    std::size_t place = 0;
    for (const data::Row& choice : db.Query({"select FieldValueID from FieldValue where QuestionID=",
                                             Number(row["QuestionID"]), " order by FieldValueID"})) {
      const std::string key = choice["FieldValueID"].Text();
      if (kind == 2 && place % 2 == 0) body += "&" + name + "V" + key + "=" + key;
      if (kind != 2 && place == 1) body += "&" + name + "=" + key;
      ++place;
    }
  }
  return body;
}

int Enrol(const std::string& dsn, int count) {
  data::Database database(dsn);
  data::Connection db(database);
  const LongestForm form = FindLongestForm(db);
  const data::Rows students = db.Query({"select StudentID from Student order by StudentID"});
  // Events of their own, so that no stored answer is in the way.
  std::int64_t event = db.Query({"select max(ScheduleID) as Last from Schedule"}).First()["Last"].Integer() + 1000000;
  for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
    if (i % students.size() == 0) {
      db.Execute({"insert into Schedule (ScheduleID, TrainingID, TrainerID, SurvaVersionID, BeginDate, EndDate, Place) "
                  "select ",
                  Number(++event),
                  ", TrainingID, TrainerID, SurvaVersionID, BeginDate, EndDate, Place from Schedule where ScheduleID=",
                  Number(form.event)});
    }
    const std::string pin = std::to_string(event % 1000) + "-" + std::to_string(100000 + i);
    db.AddNew(data::tables::kParticipant)
        .Set("ScheduleID", event)
        .Set("StudentID", students[i % students.size()]["StudentID"])
        .Set("PIN", std::string_view(pin))
        .Update();
    std::printf("%s\n", pin.c_str());
  }
  db.Commit();
  std::printf("form %lld\n%s\n", static_cast<long long>(form.version), PostedForm(db, form.version).c_str());
  database.Close();
  return 0;
}

double ProcessorTime() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e6 +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

// The engine with nothing of ours around it.
class BareEngine {
 public:
  explicit BareEngine(const std::string& file) {
    sqlite3_open(file.c_str(), &database_);
    surva::bench::RegisterCollation(database_);
    // The server is there too, and has chores.
    sqlite3_busy_timeout(database_, 5000);
    // The triggers that keep old rows are ours, and so are the functions that they call.
    sqlite3_db_config(database_, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    Run("PRAGMA journal_mode=WAL");
    Run("PRAGMA synchronous=FULL");
  }
  ~BareEngine() {
    for (sqlite3_stmt* statement : statements_) sqlite3_finalize(statement);
    sqlite3_close(database_);
  }
  BareEngine(const BareEngine&) = delete;
  BareEngine& operator=(const BareEngine&) = delete;

  std::size_t Prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database_, sql, -1, &statement, nullptr) != SQLITE_OK) Fail(sql);
    statements_.push_back(statement);
    return statements_.size() - 1;
  }
  // Reads every column of every row; gives how many rows there were.
  int Step(std::size_t which, std::initializer_list<std::int64_t> values) {
    sqlite3_stmt* statement = statements_[which];
    int place = 0;
    for (const std::int64_t value : values) sqlite3_bind_int64(statement, ++place, value);
    int rows = 0;
    int code = 0;
    while ((code = sqlite3_step(statement)) == SQLITE_ROW) {
      ++rows;
      const int columns = sqlite3_column_count(statement);
      for (int column = 0; column < columns; ++column) bytes_ += sqlite3_column_bytes(statement, column);
    }
    if (code != SQLITE_DONE) Fail("step");
    sqlite3_reset(statement);
    return rows;
  }
  void Run(const char* sql) {
    if (sqlite3_exec(database_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) Fail(sql);
  }

 private:
  [[noreturn]] void Fail(const char* what) {
    std::fprintf(stderr, "%s: %s\n", what, sqlite3_errmsg(database_));
    std::exit(1);
  }
  sqlite3* database_ = nullptr;
  std::vector<sqlite3_stmt*> statements_;
  long bytes_ = 0;
};

template <class Round>
int Loop(double seconds, Round round) {
  for (int i = 0; i < 50; ++i) round(i);
  const double processor = ProcessorTime();
  const auto start = std::chrono::steady_clock::now();
  long rounds = 0;
  double taken = 0;
  while (taken < seconds) {
    round(static_cast<int>(rounds));
    ++rounds;
    taken = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
  std::printf("%.0f %.1f\n", static_cast<double>(rounds) / taken,
              (ProcessorTime() - processor) / static_cast<double>(rounds));
  return 0;
}

constexpr const char* kLayout =
    "select SurvaLayoutID, PositionID, Question.QuestionID, Content, AnswerType, QuestionType, SizeX, SizeY, LineRows, "
    "Required, DisplayMenu, ThankYouPage from SurvaLayout, SurvaVersion, Question "
    "where SurvaVersion.SurvaVersionID=SurvaLayout.SurvaVersionID and SurvaLayout.QuestionID=Question.QuestionID "
    "and SurvaLayout.SurvaVersionID=? order by PositionID, SurvaLayoutID";
constexpr const char* kChoices = "select FieldValueID, QuestionID, FieldValue from FieldValue where QuestionID in "
                                 "(select QuestionID from SurvaLayout where SurvaVersionID=?) order by FieldValueID";
constexpr const char* kMarks =
    "select Mark.QuestionID, Mark.TextAnswer, FieldValue.FieldValueID from Mark "
    "left join FieldValue on Mark.FieldValueID=FieldValue.FieldValueID where Mark.StudentID=? and Mark.ScheduleID=? "
    "order by MarkID";
constexpr const char* kDeleteMarks = "delete from Mark where StudentID=? and ScheduleID=?";

int Bare(const std::string& file, double seconds, bool accepts, int each) {
  LongestForm form;
  std::vector<std::int64_t> students;
  std::int64_t event = 0;
  {
    data::Database database("sqlite:" + file);
    data::Connection db(database);
    form = FindLongestForm(db);
    for (const data::Row& row : db.Query({"select StudentID from Student order by StudentID limit 64"})) {
      students.push_back(row["StudentID"].Integer());
    }
    event = db.Query({"select max(ScheduleID) as Last from Mark"}).First()["Last"].Integer() + 1000000;
  }
  BareEngine engine(file);
  const std::size_t begin = engine.Prepare("begin immediate");
  const std::size_t commit = engine.Prepare("commit");
  const std::size_t remove = engine.Prepare(kDeleteMarks);
  const std::size_t layout = engine.Prepare(kLayout);
  const std::size_t choices = engine.Prepare(kChoices);
  const std::size_t marks = engine.Prepare(kMarks);
  const std::size_t questions = engine.Prepare(
      "select SurvaLayoutID, Question.QuestionID, QuestionType from SurvaLayout, Question "
      "where SurvaLayout.QuestionID=Question.QuestionID and SurvaLayout.SurvaVersionID=? order by PositionID, SurvaLayoutID");
  const std::size_t add = engine.Prepare(
      "insert into Mark (ScheduleID, StudentID, QuestionID, TextAnswer, FieldValueID) values (?, ?, ?, '', ?)");
  const std::size_t finish = engine.Prepare(
      "update Participant set FillDate=datetime('now','localtime'), PIN='' where ScheduleID=? and StudentID=?");
  return Loop(seconds, [&](int round) {
    if (round % each == 0) engine.Step(begin, {});
    if (round % static_cast<int>(students.size()) == 0) ++event;
    const std::int64_t student = students[static_cast<std::size_t>(round) % students.size()];
    if (accepts) {
      const int rows = engine.Step(questions, {form.version});
      engine.Step(remove, {student, event});
      for (int i = 0; i < rows; ++i) engine.Step(add, {event, student, i + 1, i + 1});
      engine.Step(layout, {form.version});
      engine.Step(marks, {student, event});
      engine.Step(choices, {form.version});
      engine.Step(finish, {event, student});
    } else {
      engine.Step(remove, {student, event});
      engine.Step(layout, {form.version});
      engine.Step(choices, {form.version});
    }
    if (round % each == each - 1) engine.Step(commit, {});
  });
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view what = argc >= 4 ? argv[1] : "";
  const int each = argc == 5 ? std::atoi(argv[4]) : 1;
  if (what == "enrol") return Enrol(argv[2], std::atoi(argv[3]));
  if (what == "blank" || what == "accept") return Bare(argv[2], std::strtod(argv[3], nullptr), what == "accept", each);
  std::fprintf(stderr, "usage: bench_pages enrol DSN COUNT | blank FILE SECONDS | accept FILE SECONDS [EACH]\n");
  return 2;
}
