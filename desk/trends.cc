// Averages over time: of a trainer, a training, a company or any of them together, against the house.
#include <algorithm>
#include <map>
#include <optional>
#include <set>

#include "desk/figures.h"
#include "desk/pages.h"
#include "desk/parts.h"
#include "frame/values/numbers.h"

namespace surva::desk {

using data::Bound;
using data::Number;
using data::Row;

namespace {

constexpr int kMonths = 24;  // where nobody says from when

struct Asked {
  std::optional<std::int64_t> trainer, training, company, question;
  DateTime from, to;  // months, the last one included
  bool quarters = false;

  bool OfAll() const { return !trainer && !training && !company; }
  int Bucket(int year, int month) const { return quarters ? year * 4 + (month - 1) / 3 : year * 12 + month - 1; }
  int First() const { return Bucket(from.year, from.month); }
  int Last() const { return Bucket(to.year, to.month); }
  std::string Name(int bucket) const {
    if (quarters) return "Q" + std::to_string(bucket % 4 + 1) + " " + std::to_string(bucket / 4);
    return std::string(MonthName(bucket % 12 + 1)).substr(0, 3) + " " + std::to_string(bucket / 12);
  }
};

Asked Read(const Context& context) {
  Asked asked;
  asked.trainer = ReadKey(context.request("trainer"));
  asked.training = ReadKey(context.request("training"));
  asked.company = ReadKey(context.request("company"));
  asked.question = ReadKey(context.request("question"));
  asked.quarters = context.request("by") == "quarter";
  const DateTime today = context.clock.Now();
  asked.to = ReadMonth(context.request("to")).value_or(DateTime{today.year, today.month, 1});
  const int first = asked.to.year * 12 + asked.to.month - kMonths;
  asked.from = ReadMonth(context.request("from")).value_or(DateTime{first / 12, first % 12 + 1, 1});
  // A line of a thousand months is no picture.
  constexpr int kMostYears = 40;
  asked.from.year = std::max(asked.from.year, asked.to.year - kMostYears);
  if (asked.from > asked.to) asked.from = asked.to;
  return asked;
}

// A choice that counts: of which question, and what it is worth.
struct Worth {
  std::int64_t question = 0;
  double number = 0;
  std::string text;
};

struct Scales {
  std::map<std::int64_t, Worth> choices;
  std::map<std::int64_t, std::string> questions;
};

Scales ReadScales(data::Connection& connection) {
  std::map<std::int64_t, LaidOut> questions;
  for (const Row& row : connection.Query(
           {"select Question.QuestionID, Content, QuestionType, FieldValueID, FieldValue from Question inner join "
            "FieldValue on FieldValue.QuestionID=Question.QuestionID where QuestionType=1 or QuestionType=4"})) {
    LaidOut& question = questions[row["QuestionID"].Integer()];
    question.content = row["Content"].Text();
    question.control = static_cast<LaidOut::Control>(row["QuestionType"].Integer());
    question.choices.push_back({row["FieldValueID"].Integer(), row["FieldValue"].Text()});
  }
  Scales scales;
  for (const auto& [key, question] : questions) {
    if (!question.IsScale()) continue;
    scales.questions[key] = question.content;
    for (const Choice& choice : question.choices) {
      if (const auto number = ReadNumeric(choice.text)) scales.choices[choice.key] = {key, *number, choice.text};
    }
  }
  return scales;
}

// How often each choice was given in each bucket.
using Counts = std::map<int, std::map<std::int64_t, std::int64_t>>;

Counts Count(data::Connection& connection, const Asked& asked, bool house) {
  const DateTime end =
      asked.to.month == 12 ? DateTime{asked.to.year + 1, 1, 1} : DateTime{asked.to.year, asked.to.month + 1, 1};
  // The marks are counted event by event first: dates are taken apart once for each event, not for each mark.
  std::vector<data::Piece> statement = {
      "select year(BeginDate) as EventYear, month(BeginDate) as EventMonth, FieldValueID, cast(sum(Marks) as bigint) as "
      "Answers from (select Mark.ScheduleID as EventK, FieldValueID, count(*) as Marks from Schedule inner join Mark on "
      "Mark.ScheduleID=Schedule.ScheduleID where BeginDate>=",
      Bound(Field(asked.from)), " and BeginDate<", Bound(Field(end))};
  if (!house && asked.trainer) statement.insert(statement.end(), {" and TrainerID=", Number(*asked.trainer)});
  if (!house && asked.training) statement.insert(statement.end(), {" and TrainingID=", Number(*asked.training)});
  if (!house && asked.company) {
    statement.insert(
        statement.end(),
        {" and Mark.StudentID in (select StudentID from Student where CompanyID=", Number(*asked.company), ")"});
  }
  statement.push_back(" group by Mark.ScheduleID, FieldValueID) as Counted inner join Schedule on ScheduleID=EventK "
                      "group by year(BeginDate), month(BeginDate), FieldValueID");
  Counts counts;
  for (const Row& row : connection.Query(statement)) {
    const int bucket =
        asked.Bucket(static_cast<int>(row["EventYear"].Integer()), static_cast<int>(row["EventMonth"].Integer()));
    counts[bucket][row["FieldValueID"].Integer()] += row["Answers"].Integer();
  }
  return counts;
}

using Series = std::map<int, Average>;

Series Averages(const Counts& counts, const Scales& scales, const std::set<std::int64_t>& questions) {
  Series series;
  for (const auto& [bucket, choices] : counts) {
    for (const auto& [choice, times] : choices) {
      const auto worth = scales.choices.find(choice);
      if (worth == scales.choices.end() || !questions.contains(worth->second.question)) continue;
      series[bucket].Add(worth->second.text, times);
    }
  }
  return series;
}

// What a person may see of a series, bucket by bucket.
std::map<int, double> Shown(const Context& context, const Series& series) {
  std::map<int, double> shown;
  for (const auto& [bucket, average] : series) {
    if (average.Mean() && MayShow(context, average.count())) shown[bucket] = *average.Mean();
  }
  return shown;
}

class Chart {
 public:
  Chart(Markup& page, int first, int last, double low, double high)
      : page_(page), first_(first), last_(last), low_(low), high_(high > low ? high : low + 1) {}

  void Begin(std::string_view label) {
    page_.Write(
        {"<svg class=\"trend\" role=\"img\" viewBox=\"0 0 ", kWidth, " ", kHeight, "\" aria-label=\"", label, "\">\n"});
    constexpr int kLines = 4;
    for (int line = 0; line <= kLines; ++line) {
      const double value = low_ + (high_ - low_) * line / kLines;
      page_.Write({"<line class=\"grid\" x1=\"", kLeft, "\" x2=\"", kWidth - kRight, "\" y1=\"", Y(value), "\" y2=\"",
                   Y(value), "\"/><text x=\"", kLeft - 6, "\" y=\"", Y(value), "\" text-anchor=\"end\" dy=\"4\">",
                   Decimal(value, 1), "</text>\n"});
    }
  }
  void Tick(int bucket, std::string_view name) {
    page_.Write({"<text x=\"", X(bucket), "\" y=\"", kHeight - 8, "\" text-anchor=\"middle\">", name, "</text>\n"});
  }
  void House(const std::map<int, double>& values) { Line("house", values); }
  void Own(const std::map<int, double>& values) { Line("own", values); }
  void End() { page_.Write({"</svg>\n"}); }

 private:
  static constexpr int kWidth = 760, kHeight = 280, kLeft = 44, kRight = 24, kTop = 12, kBottom = 32;

  std::string X(int bucket) const {
    const double share = last_ == first_ ? 0.5 : static_cast<double>(bucket - first_) / (last_ - first_);
    return Decimal(kLeft + share * (kWidth - kLeft - kRight), 1);
  }
  std::string Y(double value) const {
    return Decimal(kTop + (high_ - value) / (high_ - low_) * (kHeight - kTop - kBottom), 1);
  }
  void Line(std::string_view name, const std::map<int, double>& values) {
    std::string points;
    for (const auto& [bucket, value] : values) points += X(bucket) + "," + Y(value) + " ";
    page_.Write({"<g class=\"", name, "\"><polyline points=\"", points, "\"/>"});
    for (const auto& [bucket, value] : values) {
      page_.Write({"<circle cx=\"", X(bucket), "\" cy=\"", Y(value), "\" r=\"4\"/>"});
    }
    page_.Write({"</g>\n"});
  }

  Markup& page_;
  int first_, last_;
  double low_, high_;
};

void WriteForm(Markup& page, Context& context, const Asked& asked, const Scales& scales,
               const std::set<std::int64_t>& offered) {
  data::Connection& db = context.connection;
  page.Write({"<form method=\"get\" class=\"grid-form screen-only\">\n"
              "<div><label for=\"trainer\">Trainer</label><select id=\"trainer\" name=\"trainer\">"
              "<option value=\"\">All</option>\n"});
  WriteOptions(
      page,
      db.Query({"select TrainerID, coalesce(LastName, '') || ' ' || coalesce(FirstName, '') as Name from Trainer "
                "order by LastName nulls first, FirstName nulls first, TrainerID"}),
      asked.trainer);
  page.Write({"</select></div>\n<div><label for=\"training\">Training</label><select id=\"training\" name=\"training\">"
              "<option value=\"\">All</option>\n"});
  WriteOptions(page,
               db.Query({"select TrainingID, TrainingName from Training order by TrainingName nulls first, "
                         "TrainingID"}),
               asked.training);
  page.Write({"</select></div>\n<div><label for=\"company\">Company</label><select id=\"company\" name=\"company\">"
              "<option value=\"\">All</option>\n"});
  WriteOptions(page,
               db.Query({"select CompanyID, CompanyName from Company order by CompanyName nulls first, CompanyID"}),
               asked.company);
  page.Write({"</select></div>\n<div><label for=\"question\">Question</label><select id=\"question\" name=\"question\">"
              "<option value=\"\">All with numbers</option>\n"});
  for (const std::int64_t question : offered) {
    page.Write({"<option value=\"", question, "\""});
    if (asked.question == question) page.Write({" selected"});
    page.Write({">", scales.questions.at(question), "</option>\n"});
  }
  page.Write({"</select></div>\n<div><label for=\"from\">From</label><input type=\"month\" id=\"from\" name=\"from\" "
              "placeholder=\"YYYY-MM\" value=\"",
              DayInput(asked.from).substr(0, 7),
              "\"></div>\n<div><label for=\"to\">To</label><input type=\"month\" id=\"to\" name=\"to\" "
              "placeholder=\"YYYY-MM\" value=\"",
              DayInput(asked.to).substr(0, 7),
              "\"></div>\n<div><label for=\"by\">By</label><select id=\"by\" name=\"by\"><option value=\"month\">month"
              "</option><option value=\"quarter\""});
  if (asked.quarters) page.Write({" selected"});
  page.Write({">quarter</option></select></div>\n<div><button>Show</button></div>\n</form>\n"});
}

void WriteTable(Markup& page, const Context& context, const Asked& asked, const Series& own, const Series& house) {
  const auto cells = [&](const Series& series, int bucket) {
    const auto found = series.find(bucket);
    if (found == series.end()) return page.Write({"<td></td><td class=\"number\">0</td>"});
    const Average& average = found->second;
    page.Write({"<td class=\"number\">"});
    if (!MayShow(context, average.count())) {
      page.Write({"<span class=\"soft\">too few</span>"});
    } else if (average.Mean()) {
      page.Write({Decimal(*average.Mean(), 2)});
    }
    page.Write({"</td><td class=\"number\">", average.count(), "</td>"});
  };
  page.Write(
      {"<div class=\"wide\" tabindex=\"0\"><table>\n<thead><tr><th scope=\"col\">Period</th>"
       "<th scope=\"col\" class=\"number\">Average</th><th scope=\"col\" class=\"number\">Answers</th>"
       "<th scope=\"col\" class=\"number\">House</th><th scope=\"col\" class=\"number\">Answers</th></tr></thead>\n"
       "<tbody>\n"});
  for (int bucket = asked.First(); bucket <= asked.Last(); ++bucket) {
    if (!own.contains(bucket) && !house.contains(bucket)) continue;
    page.Write({"<tr><th scope=\"row\">", asked.Name(bucket), "</th>"});
    cells(own, bucket);
    cells(house, bucket);
    page.Write({"</tr>\n"});
  }
  page.Write({"</tbody></table></div>\n"});
}

}  // namespace

wire::HttpResponse ShowTrends(Context& context) {
  constexpr std::string_view kTitle = "Trends";
  data::Connection& db = context.connection;
  const Asked asked = Read(context);
  const Scales scales = ReadScales(db);
  const Counts all = Count(db, asked, true);
  const Counts own = asked.OfAll() ? all : Count(db, asked, false);

  // The house is asked the same questions.
  std::set<std::int64_t> offered;
  for (const auto& [bucket, choices] : own) {
    for (const auto& [choice, times] : choices) {
      if (const auto worth = scales.choices.find(choice); worth != scales.choices.end()) {
        offered.insert(worth->second.question);
      }
    }
  }
  std::set<std::int64_t> questions = offered;
  if (asked.question) questions = {*asked.question};
  const Series series = Averages(own, scales, questions);
  const Series house = Averages(all, scales, questions);

  Markup page;
  WriteForm(page, context, asked, scales, offered);
  if (series.empty()) {
    page.Write({"<p class=\"note\">Nothing with a number was answered in this time.</p>\n"});
    return Html(context, kTitle, page);
  }
  double low = 0;
  double high = 0;
  bool first = true;
  for (const auto& [key, worth] : scales.choices) {
    if (!questions.contains(worth.question)) continue;
    low = first ? worth.number : std::min(low, worth.number);
    high = first ? worth.number : std::max(high, worth.number);
    first = false;
  }
  page.Write(
      {"<p class=\"legend\"><span class=\"own\">What was chosen</span> <span class=\"house\">House</span></p>\n"});
  Chart chart(page, asked.First(), asked.Last(), low, high);
  chart.Begin("Averages over time; the table below has the same figures");
  const int step = (asked.Last() - asked.First()) / 7 + 1;
  for (int bucket = asked.First(); bucket <= asked.Last(); bucket += step) chart.Tick(bucket, asked.Name(bucket));
  chart.House(Shown(context, house));
  chart.Own(Shown(context, series));
  chart.End();
  WriteTable(page, context, asked, series, house);
  return Html(context, kTitle, page);
}

}  // namespace surva::desk
