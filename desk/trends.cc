// Averages over time: of a trainer, a training, a company or any of them together, against the house.
#include <algorithm>
#include <map>

#include "desk/pages.h"
#include "desk/parts.h"
#include "desk/trend_figures.h"

namespace surva::desk {

using data::Number;
using data::Row;

namespace {

// What a person may see of a series, bucket by bucket.
std::map<int, double> Shown(const Context& context, const Series& series) {
  std::map<int, double> shown;
  for (const auto& [at, bucket] : series) {
    if (bucket.average.Mean() && MayShow(context, bucket.forms)) shown[at] = *bucket.average.Mean();
  }
  return shown;
}

class Chart {
 public:
  Chart(Markup& page, int first, int last, double low, double high)
      : page_(page), first_(first), last_(last), low_(low), high_(high > low ? high : low + 1) {}

  void Begin(std::string_view label) {
    page_.Write({"<div class=\"wide\" tabindex=\"0\"><svg class=\"trend\" role=\"img\" viewBox=\"0 0 ", kWidth, " ",
                 kHeight, "\" aria-label=\"", label, "\">\n"});
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
  void End() { page_.Write({"</svg></div>\n"}); }

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

void WriteForm(Markup& page, Context& context, const TrendRequest& asked, const Trend& trend) {
  data::Connection& db = context.connection;
  page.Write({"<form method=\"get\" class=\"grid-form screen-only\">\n"
              "<div><label for=\"trainer\">Trainer</label><select id=\"trainer\" name=\"trainer\">"
              "<option value=\"\">All</option>\n"});
  WriteTrainers(page, db, asked.trainer);
  page.Write({"</select></div>\n<div><label for=\"training\">Training</label><select id=\"training\" name=\"training\">"
              "<option value=\"\">All</option>\n"});
  WriteTrainings(page, db, asked.training);
  page.Write({"</select></div>\n<div><label for=\"company\">Company</label><select id=\"company\" name=\"company\">"
              "<option value=\"\">All</option>\n"});
  WriteCompanies(page, db, asked.company);
  page.Write({"</select></div>\n<div><label for=\"question\">Question</label><select id=\"question\" name=\"question\">"
              "<option value=\"\">All with numbers</option>\n"});
  for (const auto& [question, content] : trend.questions) {
    page.Write({"<option value=\"", question, "\""});
    if (asked.question == question) page.Write({" selected"});
    page.Write({">", content, "</option>\n"});
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

// What was chosen: the form does not come onto paper.
std::string Chosen(data::Connection& db, const TrendRequest& asked, const Trend& trend) {
  std::string chosen;
  const auto add = [&chosen](const std::string& name) {
    if (!chosen.empty()) chosen += ", ";
    chosen += name;
  };
  if (asked.trainer) {
    for (const Row& row :
         db.Query({"select FirstName, LastName from Trainer where TrainerID=", Number(*asked.trainer)}))
      add(row["FirstName"].Text() + " " + row["LastName"].Text());
  }
  if (asked.training) {
    for (const Row& row : db.Query({"select TrainingName from Training where TrainingID=", Number(*asked.training)}))
      add(row["TrainingName"].Text());
  }
  if (asked.company) {
    for (const Row& row : db.Query({"select CompanyName from Company where CompanyID=", Number(*asked.company)}))
      add(row["CompanyName"].Text());
  }
  if (asked.question && trend.questions.contains(*asked.question)) add(trend.questions.at(*asked.question));
  return chosen;
}

void WriteTable(Markup& page, const Context& context, const TrendRequest& asked, const Series& own,
                const Series& house) {
  const auto cells = [&](const Series& series, int bucket) {
    const auto found = series.find(bucket);
    if (found == series.end()) return page.Write({"<td></td><td class=\"number\">0</td>"});
    const Average& average = found->second.average;
    page.Write({"<td class=\"number\">"});
    if (!MayShow(context, found->second.forms)) {
      page.Write({"<span class=\"soft\">too few</span>"});
    } else if (average.Mean()) {
      page.Write({Decimal(*average.Mean(), 2)});
    }
    page.Write({"</td><td class=\"number\">", average.count(), "</td>"});
  };
  page.Write({"<div class=\"wide\" tabindex=\"0\"><table>\n<thead><tr><th scope=\"col\">Period</th>"});
  if (!asked.OfAll()) {
    page.Write({"<th scope=\"col\" class=\"number\">Average</th><th scope=\"col\" class=\"number\">Answers</th>"});
  }
  page.Write(
      {"<th scope=\"col\" class=\"number\">House</th><th scope=\"col\" class=\"number\">Answers</th></tr></thead>\n"
       "<tbody>\n"});
  for (int bucket = asked.First(); bucket <= asked.Last(); ++bucket) {
    if (!own.contains(bucket) && !house.contains(bucket)) continue;
    page.Write({"<tr><th scope=\"row\">", asked.Name(bucket), "</th>"});
    if (!asked.OfAll()) cells(own, bucket);
    cells(house, bucket);
    page.Write({"</tr>\n"});
  }
  page.Write({"</tbody></table></div>\n"});
}

}  // namespace

wire::HttpResponse ShowTrends(Context& context) {
  constexpr std::string_view kTitle = "Trends";
  const TrendRequest asked(context);
  if (!asked.valid) return Sorry(context, kTitle, "A number or a month among the criteria is none.", 400);
  const Trend trend(context.connection, asked);
  Markup page;
  WriteForm(page, context, asked, trend);
  if (trend.own.empty()) {
    page.Write({"<p class=\"note\">Nothing with a number was answered in this time.</p>\n"});
    return Html(context, kTitle, page);
  }
  if (const std::string chosen = Chosen(context.connection, asked, trend); !chosen.empty()) {
    page.Write({"<h2>", chosen, "</h2>\n"});
  }
  page.Write({"<p class=\"legend\">"});
  if (!asked.OfAll()) page.Write({"<span class=\"own\">What was chosen</span> "});
  page.Write({"<span class=\"house\">House</span></p>\n"});
  // Empty months in front say nothing.
  const int first = std::max(asked.First(), trend.house.begin()->first);
  Chart chart(page, first, asked.Last(), trend.low, trend.high);
  chart.Begin("Averages over time; the table below has the same figures");
  const int step = (asked.Last() - first) / 7 + 1;
  for (int bucket = first; bucket <= asked.Last(); bucket += step) chart.Tick(bucket, asked.Name(bucket));
  chart.House(Shown(context, trend.house));
  if (!asked.OfAll()) chart.Own(Shown(context, trend.own));
  chart.End();
  WriteTable(page, context, asked, trend.own, trend.house);
  page.Write({"<p class=\"screen-only\"><a href=\"/admin/export?what=trends&amp;as=xlsx&amp;", context.http.query,
              "\">This table as a workbook</a></p>\n"});
  return Html(context, kTitle, page);
}

}  // namespace surva::desk
