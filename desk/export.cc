// What leaves the house as a table: filled forms, participants, records, figures. The page answers at once; a thread of
// its own reads with a connection of its own, a few events at a time, and sends what it has read.
#include <algorithm>
#include <map>
#include <memory>
#include <set>

#include "desk/figures.h"
#include "desk/form_filter.h"
#include "desk/pages.h"
#include "desk/parts.h"
#include "desk/table_file.h"
#include "desk/trend_figures.h"
#include "frame/values/numbers.h"
#include "wire/body_stream.h"

namespace surva::desk {

using data::Number;
using data::Row;
using data::Rows;

namespace {

using Pieces = std::vector<data::Piece>;
using Line = std::vector<Value>;

constexpr std::size_t kParticipants = 200;  // read at a time
constexpr std::size_t kEvents = 50;
constexpr std::size_t kRecords = 500;

struct Order {
  FormFilter filter;
  bool split_boxes = false;
  // An average of fewer answers is left out.
  std::int64_t least_answers = 0;
  std::vector<TrendLine> trend;
};

// ---- events and their participants

// Events behind a key, in the order of their keys.
Rows NextEvents(data::Connection& db, const FormFilter& filter, std::int64_t behind) {
  Pieces statement = {
      "select ScheduleID, BeginDate, EndDate, Place, TrainingName, OfficialID, Trainer.FirstName, Trainer.LastName, "
      "SurvaName, Schedule.SurvaVersionID from Schedule left join Training on Training.TrainingID=Schedule.TrainingID "
      "left join Trainer on Trainer.TrainerID=Schedule.TrainerID "
      "left join SurvaVersion on SurvaVersion.SurvaVersionID=Schedule.SurvaVersionID where Schedule.ScheduleID>",
      Number(behind)};
  filter.AddEventFilter(statement);
  statement.insert(statement.end(), {" order by ScheduleID limit ", Number(kEvents)});
  return db.Query(statement);
}

Rows NextParticipants(data::Connection& db, const FormFilter& filter, std::int64_t event, std::int64_t behind,
                      bool filled) {
  Pieces statement = {
      "select ParticipantID, Participant.StudentID, PIN, FillDate, FirstName, LastName, Student.email, CompanyName "
      "from Participant left join Student on Student.StudentID=Participant.StudentID "
      "left join Company on Company.CompanyID=Student.CompanyID where Participant.ScheduleID=",
      Number(event), " and ParticipantID>", Number(behind)};
  if (filled) statement.push_back(" and (PIN='' or PIN is null)");
  filter.AddPersonFilter(statement);
  statement.insert(statement.end(), {" order by ParticipantID limit ", Number(kParticipants)});
  return db.Query(statement);
}

const std::vector<std::string_view> kEventColumns = {"Event",    "Begins",      "Ends",    "Place",
                                                     "Training", "Training ID", "Trainer", "Surva"};

void AddEvent(Line& line, const Row& event) {
  for (const Field& field : {event["ScheduleID"], event["BeginDate"], event["EndDate"], event["Place"],
                             event["TrainingName"], event["OfficialID"]}) {
    line.emplace_back(field);
  }
  std::string trainer = event["FirstName"].Text();
  if (!trainer.empty() && !event["LastName"].IsEmpty()) trainer += ' ';
  line.emplace_back(trainer + event["LastName"].Text());
  line.emplace_back(event["SurvaName"]);
}

// Calls `each` with an event and a batch of its participants.
template <class Each>
void ForEachBatch(data::Connection& db, const FormFilter& filter, bool filled, Each each) {
  for (std::int64_t behind = 0;;) {
    const Rows events = NextEvents(db, filter, behind);
    for (const Row& event : events) {
      behind = event["ScheduleID"].Integer();
      for (std::int64_t last = 0;;) {
        const Rows participants = NextParticipants(db, filter, behind, last, filled);
        if (!participants.empty()) each(event, participants);
        if (participants.size() < kParticipants) break;
        last = participants[participants.size() - 1]["ParticipantID"].Integer();
      }
    }
    if (events.size() < kEvents) return;
  }
}

void WriteParticipants(data::Connection& db, const Order& order, TableFile& file) {
  Line line;
  for (const std::string_view name : kEventColumns) line.emplace_back(name);
  for (const char* name : {"First name", "Last name", "E-mail", "Company", "State", "Filled"}) line.emplace_back(name);
  file.Row(line);
  ForEachBatch(db, order.filter, false, [&](const Row& event, const Rows& participants) {
    for (const Row& participant : participants) {
      line.clear();
      AddEvent(line, event);
      for (const Field& field :
           {participant["FirstName"], participant["LastName"], participant["email"], participant["CompanyName"]}) {
        line.emplace_back(field);
      }
      line.emplace_back(participant["PIN"].IsEmpty() ? "answered" : "waiting");
      line.emplace_back(participant["FillDate"]);
      file.Row(line);
    }
  });
}

// ---- forms

// The answers' columns: a question each, or a choice each where boxes are split.
class AnswerColumns {
 public:
  AnswerColumns(data::Connection& db, const std::vector<std::int64_t>& versions, bool split) : split_(split) {
    std::set<std::int64_t> known;
    for (const std::int64_t version : versions) {
      std::string label;
      for (LaidOut& row : ReadLayout(db, version)) {
        if (row.role == LaidOut::Role::kLabel) label = row.content + ": ";
        if (row.role == LaidOut::Role::kGroup || row.role == LaidOut::Role::kQuestion) label.clear();
        const bool answers = row.HasChoices() || row.control == LaidOut::Control::kText;
        if (!answers || !known.insert(row.question).second) continue;
        if (row.role == LaidOut::Role::kPart) row.content.insert(0, label);
        Add(std::move(row));
      }
    }
  }

  std::size_t size() const { return names_.size(); }
  void AddNames(Line& line) const {
    for (const std::string& name : names_) line.emplace_back(name);
  }

  // A form's cells, and what a mark puts into one of them.
  Line Empty() const { return Line(size()); }
  void Put(Line& cells, const Row& mark) const {
    const auto found = questions_.find(mark["QuestionID"].Integer());
    if (found == questions_.end()) return;
    const Question& question = found->second;
    // Of several answers the first counts, as on the form.
    if (!question.boxes && !cells[question.column].IsNull()) return;
    if (question.text) {
      cells[question.column] = Value(mark["TextAnswer"]);
      return;
    }
    const auto choice = question.choices.find(mark["FieldValueID"].Integer());
    if (choice == question.choices.end()) return;
    const auto& [offset, text] = choice->second;
    if (question.boxes && split_) {
      cells[question.column + offset] = Value(1);
    } else if (question.boxes) {
      Value& cell = cells[question.column];
      cell = Value(cell.IsNull() ? text : cell.Text() + "; " + text);
    } else if (const auto number = question.scale ? ReadNumeric(text) : std::nullopt) {
      cells[question.column] = Value(*number);
    } else {
      cells[question.column] = Value(text);
    }
  }

 private:
  struct Question {
    std::size_t column = 0;
    bool text = false, boxes = false, scale = false;
    std::map<std::int64_t, std::pair<std::size_t, std::string>> choices;
  };

  void Add(LaidOut row) {
    Question question{.column = names_.size(),
                      .text = row.control == LaidOut::Control::kText,
                      .boxes = row.control == LaidOut::Control::kBoxes,
                      .scale = row.IsScale()};
    std::size_t offset = 0;
    for (const Choice& choice : row.choices) question.choices[choice.key] = {offset++, choice.text};
    if (question.boxes && split_) {
      for (const Choice& choice : row.choices) names_.push_back(row.content + " - " + choice.text);
    } else {
      names_.push_back(row.content);
    }
    questions_.emplace(row.question, std::move(question));
  }

  const bool split_;
  std::vector<std::string> names_;
  std::map<std::int64_t, Question> questions_;
};

std::vector<std::int64_t> Keys(const Rows& rows) {
  std::vector<std::int64_t> keys;
  for (const Row& row : rows) {
    if (!row[0].IsNull()) keys.push_back(row[0].Integer());
  }
  return keys;
}

std::vector<std::int64_t> VersionsOf(data::Connection& db, const FormFilter& filter) {
  Pieces statement = {"select distinct Schedule.SurvaVersionID from Schedule where 1=1"};
  filter.AddEventFilter(statement);
  statement.push_back(" order by Schedule.SurvaVersionID");
  return Keys(db.Query(statement));
}

void WriteForms(data::Connection& db, const Order& order, TableFile& file) {
  const AnswerColumns columns(db, VersionsOf(db, order.filter), order.split_boxes);
  Line line;
  for (const std::string_view name : kEventColumns) line.emplace_back(name);
  for (const char* name : {"First name", "Last name", "Company", "Filled"}) line.emplace_back(name);
  columns.AddNames(line);
  file.Row(line);
  ForEachBatch(db, order.filter, true, [&](const Row& event, const Rows& participants) {
    // Who is enrolled twice has answered once.
    std::map<std::int64_t, Line> answers;
    for (const Row& participant : participants) {
      if (!participant["StudentID"].IsNull()) answers.emplace(participant["StudentID"].Integer(), columns.Empty());
    }
    Pieces statement = {"select StudentID, QuestionID, FieldValueID, TextAnswer from Mark where ScheduleID=",
                        Number(event["ScheduleID"]), " and StudentID in ("};
    for (const auto& [student, cells] : answers) {
      if (student != answers.begin()->first) statement.push_back(",");
      statement.push_back(Number(student));
    }
    statement.push_back(") order by MarkID");
    if (!answers.empty()) {
      for (const Row& mark : db.Query(statement)) columns.Put(answers[mark["StudentID"].Integer()], mark);
    }
    for (const Row& participant : participants) {
      line.clear();
      AddEvent(line, event);
      for (const Field& field :
           {participant["FirstName"], participant["LastName"], participant["CompanyName"], participant["FillDate"]}) {
        line.emplace_back(field);
      }
      const auto cells = answers.find(participant["StudentID"].Integer());
      if (cells != answers.end()) line.insert(line.end(), cells->second.begin(), cells->second.end());
      file.Row(line);
    }
  });
}

// Without the visitors' addresses: nobody needs them outside.
void WriteAnonymousForms(data::Connection& db, const Order& order, TableFile& file) {
  const std::optional<std::int64_t>& version = order.filter.version();
  const Rows versions =
      version ? db.Query({"select SurvaVersionID from SurvaVersion where SurvaVersionID=", Number(*version)})
              : db.Query({"select distinct SurvaVersionID from AnonymousStudent "
                          "where FillDate is not null order by SurvaVersionID"});
  const AnswerColumns columns(db, Keys(versions), order.split_boxes);
  Line line = {"Form", "Surva", "Filled"};
  columns.AddNames(line);
  file.Row(line);
  for (std::int64_t behind = 0;;) {
    Pieces statement = {
        "select AnonymousStudentID, SurvaName, FillDate from AnonymousStudent left join SurvaVersion on "
        "SurvaVersion.SurvaVersionID=AnonymousStudent.SurvaVersionID where FillDate is not null "
        "and AnonymousStudentID>",
        Number(behind)};
    if (version) statement.insert(statement.end(), {" and AnonymousStudent.SurvaVersionID=", Number(*version)});
    if (const auto& from = order.filter.from()) {
      statement.insert(statement.end(), {" and FillDate>=", data::Bound(Field(*from))});
    }
    const std::optional<DateTime> to = order.filter.to() ? std::optional(AddDays(*order.filter.to(), 1)) : std::nullopt;
    if (to) statement.insert(statement.end(), {" and FillDate<", data::Bound(Field(*to))});
    statement.insert(statement.end(), {" order by AnonymousStudentID limit ", Number(kParticipants)});
    const Rows forms = db.Query(statement);
    if (forms.empty()) return;
    std::map<std::int64_t, Line> answers;
    Pieces marks = {"select StudentID, QuestionID, FieldValueID, TextAnswer from AnonymousMark where StudentID in ("};
    for (const Row& form : forms) {
      answers.emplace(form["AnonymousStudentID"].Integer(), columns.Empty());
      if (marks.size() > 1) marks.push_back(",");
      marks.push_back(Number(form["AnonymousStudentID"]));
    }
    marks.push_back(") order by AnonymousMarkID");
    for (const Row& mark : db.Query(marks)) columns.Put(answers[mark["StudentID"].Integer()], mark);
    for (const Row& form : forms) {
      behind = form["AnonymousStudentID"].Integer();
      line = {form["AnonymousStudentID"], form["SurvaName"], form["FillDate"]};
      const Line& cells = answers[behind];
      line.insert(line.end(), cells.begin(), cells.end());
      file.Row(line);
    }
    if (forms.size() < kParticipants) return;
  }
}

// ---- records

void WriteRecords(data::Connection& db, const data::Table& table, TableFile& file) {
  const bool students = &table == &data::tables::kStudent;
  Line line;
  for (const data::Column& column : table.columns) line.emplace_back(column.name);
  if (students) line.emplace_back("CompanyName");
  file.Row(line);
  for (std::int64_t behind = 0;;) {
    Pieces statement = {"select ", Name(table), ".*"};
    if (students) statement.push_back(", CompanyName");
    statement.insert(statement.end(), {" from ", Name(table)});
    if (students) statement.push_back(" left join Company on Company.CompanyID=Student.CompanyID");
    statement.insert(statement.end(), {" where ", Name(table.key()), ">", Number(behind), " order by ",
                                       Name(table.key()), " limit ", Number(kRecords)});
    const Rows rows = db.Query(statement);
    for (const Row& row : rows) {
      line.clear();
      for (int column = 0; column < rows.shape().size(); ++column) line.emplace_back(row[column]);
      file.Row(line);
      behind = row[0].Integer();
    }
    if (rows.size() < kRecords) return;
  }
}

// ---- figures

void WriteFiguresOf(const Row& event, const LaidOut& question, const Figures& figures, TableFile& file) {
  const bool scale = question.IsScale();
  const Average average = figures.AverageOf(question);
  const auto number = [&](const std::optional<double>& figure) { return scale && figure ? Value(*figure) : Value(); };
  for (const Choice& choice : question.choices) {
    if (choice.text.empty()) continue;
    Line line;
    AddEvent(line, event);
    line.emplace_back(question.content);
    line.emplace_back(choice.text);
    line.emplace_back(figures.Count(question.question, choice.key));
    line.push_back(number(average.Mean()));
    line.push_back(number(average.Spread()));
    file.Row(line);
  }
}

void WriteFigures(data::Connection& db, const Order& order, TableFile& file) {
  Line line;
  for (const std::string_view name : kEventColumns) line.emplace_back(name);
  for (const char* name : {"Question", "Answer", "Times", "Average of the question", "Spread of the question"}) {
    line.emplace_back(name);
  }
  file.Row(line);
  std::map<std::int64_t, std::vector<LaidOut>> layouts;
  const auto write = [&](const Row& event) {
    if (event["SurvaVersionID"].IsNull()) return;
    const std::int64_t key = event["ScheduleID"].Integer();
    const std::int64_t version = event["SurvaVersionID"].Integer();
    if (!layouts.contains(version)) layouts[version] = ReadLayout(db, version);
    const Figures figures(db, Scope::OfEvent(key));
    const std::int64_t forms = order.least_answers > 0 ? CountForms(db, key) : 0;
    for (const LaidOut& question : layouts[version]) {
      const std::int64_t answers = figures.Answers(question);
      const std::int64_t people = question.control == LaidOut::Control::kBoxes ? forms : answers;
      if (!question.HasChoices() || answers == 0 || people < order.least_answers) continue;
      WriteFiguresOf(event, question, figures, file);
    }
  };
  for (std::int64_t behind = 0;;) {
    const Rows events = NextEvents(db, order.filter, behind);
    for (const Row& event : events) write(event);
    if (events.size() < kEvents) return;
    behind = events[events.size() - 1]["ScheduleID"].Integer();
  }
}

void WriteTrend(data::Connection& /*db*/, const Order& order, TableFile& file) {
  file.Row(Line{"Period", "Average", "Answers", "House", "Answers of the house"});
  for (const TrendLine& line : order.trend) {
    file.Row(Line{line.period, line.own ? Value(*line.own) : Value(), line.own_answers,
                  line.house ? Value(*line.house) : Value(), line.house_answers});
  }
}

// ---- what there is

struct Export {
  std::string_view word;  // of the request
  std::string_view caption;
  guard::Roles roles;
  void (*write)(data::Connection& db, const Order& order, TableFile& file);
};

constexpr guard::Roles kAnalyst{guard::Role::kAnalyst};
constexpr guard::Roles kPlanner{guard::Role::kPlanner};
constexpr guard::Roles kBoth{guard::Role::kAnalyst, guard::Role::kPlanner};

constexpr Export kExports[] = {
    {"forms", "Filled forms", kAnalyst, WriteForms},
    {"anonymous", "Anonymous forms", kAnalyst, WriteAnonymousForms},
    {"figures", "Figures of events", kAnalyst, WriteFigures},
    {"trends", "Trends", kAnalyst, WriteTrend},
    {"participants", "Participants and their state", kBoth, WriteParticipants},
    {"companies", "Companies", kPlanner,
     [](data::Connection& db, const Order& /*order*/, TableFile& file) {
       WriteRecords(db, data::tables::kCompany, file);
     }},
    {"students", "Students", kPlanner,
     [](data::Connection& db, const Order& /*order*/, TableFile& file) {
       WriteRecords(db, data::tables::kStudent, file);
     }},
    {"trainers", "Trainers", kPlanner,
     [](data::Connection& db, const Order& /*order*/, TableFile& file) {
       WriteRecords(db, data::tables::kTrainer, file);
     }},
    {"trainings", "Trainings", kPlanner,
     [](data::Connection& db, const Order& /*order*/, TableFile& file) {
       WriteRecords(db, data::tables::kTraining, file);
     }},
};

wire::HttpResponse ChooseExport(Context& context, std::string_view title) {
  data::Connection& db = context.connection;
  Markup page;
  const auto key = ReadKey(context.request("event"));
  const std::optional<Event> event = key ? FindEvent(db, *key) : std::nullopt;
  if (event) {
    WriteEventHead(page, *event);
    WriteEventLinks(page, context, event->key);
  }
  page.Write({"<form method=\"get\" class=\"grid-form\">\n<div><label for=\"what\">What</label>"
              "<select id=\"what\" name=\"what\">\n"});
  for (const Export& one : kExports) {
    if (one.roles.Contains(context.person.role) && one.word != "trends") {
      page.Write({"<option value=\"", one.word, "\">", one.caption, "</option>\n"});
    }
  }
  page.Write({"</select></div>\n<div><label for=\"as\">As</label><select id=\"as\" name=\"as\">"
              "<option value=\"xlsx\">Workbook (XLSX)</option><option value=\"csv\">CSV in UTF-8</option>"
              "<option value=\"csv1252\">CSV in windows-1252</option></select></div>\n"
              "<div><label for=\"separator\">CSV separates by</label><select id=\"separator\" name=\"separator\">"
              "<option value=\"comma\">comma</option><option value=\"semicolon\">semicolon</option></select></div>\n"
              "<div><label for=\"boxes\">Several boxes ticked</label><select id=\"boxes\" name=\"boxes\">"
              "<option value=\"joined\">in one column</option><option value=\"split\">a column each</option></select>"
              "</div>\n<div><label for=\"event\">Event (its number)</label><input id=\"event\" name=\"event\" "
              "inputmode=\"numeric\" pattern=\"[0-9]*\" value=\"",
              context.request("event"),
              "\"></div>\n<div><label for=\"from\">From</label><input type=\"date\" id=\"from\" name=\"from\"></div>\n"
              "<div><label for=\"to\">To</label><input type=\"date\" id=\"to\" name=\"to\"></div>\n"
              "<div><label for=\"trainer\">Trainer</label><select id=\"trainer\" name=\"trainer\">"
              "<option value=\"\">All</option>\n"});
  WriteTrainers(page, db, {});
  page.Write({"</select></div>\n<div><label for=\"training\">Training</label><select id=\"training\" name=\"training\">"
              "<option value=\"\">All</option>\n"});
  WriteTrainings(page, db, {});
  page.Write({"</select></div>\n<div><label for=\"company\">Company</label><select id=\"company\" name=\"company\">"
              "<option value=\"\">All</option>\n"});
  WriteCompanies(page, db, {});
  page.Write({"</select></div>\n<div><label for=\"version\">Surva</label><select id=\"version\" name=\"version\">"
              "<option value=\"\">All</option>\n"});
  WriteOptions(page, db.Query({"select SurvaVersionID, SurvaName from SurvaVersion order by SurvaVersionID"}), {});
  page.Write(
      {"</select></div>\n<div><label for=\"place\">Place</label><input id=\"place\" name=\"place\" maxlength=\"50\">"
       "</div>\n<div><button>Export</button></div>\n</form>\n"
       "<p class=\"soft\">Lists of records take no notice of events, places and dates. A text that a spreadsheet "
       "would take for a formula, also where it would begin a cell for another separator, gets an apostrophe in front in "
       "CSV. In a workbook a text of more than 32,767 "
       "letters is cut and says so, and what is behind row 1,048,576 stands on a further sheet. A file that ends early "
       "is reported as a failed download by the browser.</p>\n"});
  return Html(context, title, page);
}

}  // namespace

wire::HttpResponse ShowExport(Context& context) {
  constexpr std::string_view kTitle = "Export";
  const std::string_view what = context.request("what");
  if (what.empty()) return ChooseExport(context, kTitle);
  const auto* const found = std::ranges::find(kExports, what, &Export::word);
  if (found == std::end(kExports)) return Sorry(context, kTitle, "There is nothing of that name to export.");
  if (!found->roles.Contains(context.person.role)) return Sorry(context, kTitle, "This is not yours to export.", 403);
  const auto order = std::make_shared<Order>(Order{.filter = FormFilter(context.request)});
  if (!order->filter.valid()) {
    return Sorry(context, kTitle, "A number or a day among the criteria is none.", 400);
  }
  order->split_boxes = context.request("boxes") == "split";
  if (context.person.role == guard::Role::kAnalyst) {
    order->least_answers = static_cast<std::int64_t>(context.settings.least_answers);
  }
  if (what == "trends") {
    if (!TrendRequest(context).valid) {
      return Sorry(context, kTitle, "A number or a month among the criteria is none.", 400);
    }
    order->trend = ReadTrend(context);
  }

  const TableFormat format = ReadTableFormat(context.request("as"));
  const char separator = context.request("separator") == "semicolon" ? ';' : ',';
  const auto writer = std::make_shared<wire::BodyWriter>();
  wire::HttpResponse answer;
  answer.content_type = ContentType(format);
  answer.headers.emplace_back("Cache-Control", "no-store");
  answer.headers.emplace_back("Content-Disposition", "attachment; filename=\"surva-" + std::string(found->word) + "-" +
                                                         DayInput(context.clock.Now()) + "." +
                                                         std::string(Extension(format)) + "\"");
  answer.stream = writer->source();
  const bool begun =
      context.background.TryRun([writer, order, format, separator, write = found->write, &database = context.database] {
        try {
          const auto file =
              TableFile::Make(format, separator, [&](std::string_view bytes) { return writer->Write(bytes); });
          data::Connection connection(database);
          write(connection, *order, *file);
          file->Finish();
          writer->Finish();
        } catch (const TableFile::NobodyReads&) {
          // The visitor has gone.
        }
      });
  if (!begun) {
    return Sorry(context, kTitle, "Other exports are under way. Please try again in a moment.", 503);
  }
  return answer;
}

}  // namespace surva::desk
