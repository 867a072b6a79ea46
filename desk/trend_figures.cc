#include "desk/trend_figures.h"

#include <algorithm>

#include "desk/figures.h"
#include "desk/parts.h"
#include "frame/values/numbers.h"
#include "reporting/period.h"

namespace surva::desk {

using data::Bound;
using data::Number;
using data::Row;

namespace {

constexpr int kMonths = 24;  // where nobody says from when

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

Counts Count(data::Connection& connection, const TrendRequest& asked, bool house) {
  const DateTime end = MonthOf(asked.to).end;
  // Dates are taken apart once for each event, not for each mark.
  std::vector<data::Piece> statement = {
      "with Events as materialized (select ScheduleID as EventK, 12*year(BeginDate)+month(BeginDate)-1 as EventMonth "
      "from Schedule where BeginDate>=",
      Bound(Field(asked.from)), " and BeginDate<", Bound(Field(end))};
  const auto add = [&statement](std::initializer_list<data::Piece> pieces) {
    statement.insert(statement.end(), pieces);
  };
  if (!house && asked.trainer) add({" and TrainerID=", Number(*asked.trainer)});
  if (!house && asked.training) add({" and TrainingID=", Number(*asked.training)});
  // As the answer statistics count.
  const bool tallied = connection.dialect() == data::Dialect::kSqlite;
  add({tallied ? data::Piece(") select value->>0 as EventMonth, value->>2 as FieldValueID, value->>3 as Answers from "
                             "json_each((select tally(EventMonth, 0, FieldValueID) from Events cross join Mark")
               : data::Piece(") select EventMonth, FieldValueID, count(*) as Answers from Events cross join lateral "
                             "(select FieldValueID from Mark"),
       " where Mark.ScheduleID=EventK"});
  if (!house && asked.company) {
    add({" and Mark.StudentID in (select StudentID from Student where CompanyID=", Number(*asked.company), ")"});
  }
  add({tallied ? data::Piece("))") : data::Piece(" offset 0) as OfEvent group by EventMonth, FieldValueID")});
  Counts counts;
  for (const Row& row : connection.Query(statement)) {
    const auto month = static_cast<int>(row["EventMonth"].Integer());
    counts[asked.Bucket(month / 12, month % 12 + 1)][row["FieldValueID"].Integer()] += row["Answers"].Integer();
  }
  return counts;
}

Series Averages(const Counts& counts, const Scales& scales, const std::map<std::int64_t, std::string>& questions) {
  Series series;
  for (const auto& [bucket, choices] : counts) {
    std::map<std::int64_t, std::int64_t> answers;  // by question
    for (const auto& [choice, times] : choices) {
      const auto worth = scales.choices.find(choice);
      if (worth == scales.choices.end() || !questions.contains(worth->second.question)) continue;
      Bucket& counted = series[bucket];
      counted.average.Add(worth->second.text, times);
      counted.forms = std::max(counted.forms, answers[worth->second.question] += times);
    }
  }
  return series;
}

}  // namespace

TrendRequest::TrendRequest(const Context& context) : quarters(context.request("by") == "quarter") {
  const auto read = [&](std::string_view name, auto reader) {
    const auto criterion = reader(context.request(name));
    if (!criterion && context.request.Filled(name)) valid = false;
    return criterion;
  };
  trainer = read("trainer", ReadKey);
  training = read("training", ReadKey);
  company = read("company", ReadKey);
  question = read("question", ReadKey);
  const DateTime today = context.clock.Now();
  to = read("to", ReadMonth).value_or(DateTime{today.year, today.month, 1});
  const int first = to.year * 12 + to.month - kMonths;
  from = read("from", ReadMonth).value_or(DateTime{first / 12, first % 12 + 1, 1});
  // A line of a thousand months is no picture.
  constexpr int kMostYears = 40;
  from.year = std::max(from.year, to.year - kMostYears);
  if (from > to) from = to;
}

std::string TrendRequest::Name(int bucket) const {
  if (quarters) return "Q" + std::to_string(bucket % 4 + 1) + " " + std::to_string(bucket / 4);
  return std::string(MonthName(bucket % 12 + 1)).substr(0, 3) + " " + std::to_string(bucket / 12);
}

Trend::Trend(data::Connection& connection, const TrendRequest& asked) {
  const Scales scales = ReadScales(connection);
  const Counts all = Count(connection, asked, true);
  const Counts chosen = asked.OfAll() ? all : Count(connection, asked, false);
  for (const auto& [bucket, choices] : chosen) {
    for (const auto& [choice, times] : choices) {
      if (const auto worth = scales.choices.find(choice); worth != scales.choices.end()) {
        questions[worth->second.question] = scales.questions.at(worth->second.question);
      }
    }
  }
  std::map<std::int64_t, std::string> counted = questions;
  if (asked.question) std::erase_if(counted, [&](const auto& question) { return question.first != *asked.question; });
  own = Averages(chosen, scales, counted);
  house = Averages(all, scales, counted);
  bool first = true;
  for (const auto& [key, worth] : scales.choices) {
    if (!counted.contains(worth.question)) continue;
    low = first ? worth.number : std::min(low, worth.number);
    high = first ? worth.number : std::max(high, worth.number);
    first = false;
  }
}

std::vector<TrendLine> ReadTrend(const Context& context) {
  const TrendRequest asked(context);
  const Trend trend(context.connection, asked);
  const auto read = [&](const Series& series, int bucket, std::optional<double>& mean, std::int64_t& answers) {
    const auto found = series.find(bucket);
    if (found == series.end()) return;
    answers = found->second.average.count();
    if (MayShow(context, found->second.forms)) mean = found->second.average.Mean();
  };
  std::vector<TrendLine> lines;
  for (int bucket = asked.First(); bucket <= asked.Last(); ++bucket) {
    if (!trend.own.contains(bucket) && !trend.house.contains(bucket)) continue;
    TrendLine& line = lines.emplace_back(TrendLine{.period = asked.Name(bucket)});
    read(trend.own, bucket, line.own, line.own_answers);
    read(trend.house, bucket, line.house, line.house_answers);
  }
  return lines;
}

}  // namespace surva::desk
