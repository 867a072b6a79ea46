// An event in figures: each question's average, spread and answers, beside its trainer, its training and the house, and
// all that was written.
#include <map>
#include <optional>

#include "desk/figures.h"
#include "desk/pages.h"
#include "desk/parts.h"
#include "frame/values/text.h"

namespace surva::desk {

using data::Number;
using data::Row;

namespace {

// What an event is held against.
struct Others {
  std::optional<Figures> trainer, training;
  Figures house;
};

using Comments = std::map<std::int64_t, std::vector<std::string>>;

Comments ReadComments(data::Connection& connection, std::int64_t event) {
  Comments comments;
  for (const Row& row : connection.Query({"select QuestionID, TextAnswer from Mark where ScheduleID=", Number(event),
                                          " and TextAnswer<>'' order by MarkID"})) {
    comments[row["QuestionID"].Integer()].push_back(row["TextAnswer"].Text());
  }
  return comments;
}

void WriteAverage(Markup& page, const Context& context, const LaidOut& question,
                  const std::optional<Figures>& figures) {
  page.Write({"<td class=\"number\">"});
  if (figures) {
    const Average average = figures->AverageOf(question);
    if (average.Mean() && MayShow(context, average.count())) page.Write({Decimal(*average.Mean(), 2)});
  }
  page.Write({"</td>"});
}

// A column for each choice, as high as its share of the answers.
void WriteBars(Markup& page, const LaidOut& question, const Figures& figures) {
  constexpr int kWidth = 18;
  constexpr int kHeight = 36;
  std::string words;
  std::vector<std::int64_t> counts;
  std::int64_t most = 1;
  for (const Choice& choice : question.choices) {
    if (choice.text.empty()) continue;
    counts.push_back(figures.Count(question.question, choice.key));
    most = std::max(most, counts.back());
    words += (words.empty() ? "" : ", ") + choice.text + ": " + std::to_string(counts.back());
  }
  const auto width = static_cast<int>(counts.size()) * kWidth;
  page.Write({"<svg class=\"bars\" role=\"img\" width=\"", width, "\" height=\"", kHeight + 2, "\" viewBox=\"0 0 ",
              width, " ", kHeight + 2, "\" aria-label=\"", words, "\">"});
  for (std::size_t i = 0; i < counts.size(); ++i) {
    const auto height = static_cast<int>(counts[i] * kHeight / most);
    page.Write({"<rect x=\"", static_cast<int>(i) * kWidth + 2, "\" y=\"", kHeight - height, "\" width=\"", kWidth - 4,
                "\" height=\"", height + 2, "\"/>"});
  }
  page.Write({"</svg>"});
}

class ReportWriter {
 public:
  ReportWriter(Markup& page, const Context& context, const Figures& figures, const Others& others,
               const Comments& comments, std::int64_t forms)
      : page_(page), context_(context), figures_(figures), others_(others), comments_(comments), forms_(forms) {}

  void Write(const LaidOut& row) {
    if (row.IsScale()) return WriteScale(row);
    EndTable();
    switch (row.role) {
      case LaidOut::Role::kGroup:
        page_.Write({"<h2>", row.content, "</h2>\n"});
        return;
      case LaidOut::Role::kLabel:
        page_.Write({"<p class=\"caption\">", row.content, "</p>\n"});
        return;
      case LaidOut::Role::kQuestion:
      case LaidOut::Role::kPart:
        break;
    }
    if (row.HasChoices()) WriteChoices(row);
    if (row.control == LaidOut::Control::kText) WriteComments(row);
  }

  void EndTable() {
    if (in_table_) page_.Write({"</tbody></table></div>\n"});
    in_table_ = false;
  }

 private:
  void WriteScale(const LaidOut& question) {
    if (!in_table_) {
      page_.Write(
          {"<div class=\"wide\" tabindex=\"0\"><table class=\"scales\">\n<thead><tr><th scope=\"col\">Question</th>"
           "<th scope=\"col\" class=\"number\">Average</th><th scope=\"col\" class=\"number\">Spread</th>"
           "<th scope=\"col\" class=\"number\">Answers</th><th scope=\"col\">Shares</th>"
           "<th scope=\"col\" class=\"number\">Trainer</th><th scope=\"col\" class=\"number\">Training</th>"
           "<th scope=\"col\" class=\"number\">House</th></tr></thead>\n<tbody>\n"});
      in_table_ = true;
    }
    const Average average = figures_.AverageOf(question);
    page_.Write({"<tr><th scope=\"row\">", question.content, "</th>"});
    if (average.count() > 0 && !MayShow(context_, average.count())) {
      page_.Write({"<td colspan=\"2\" class=\"soft\">too few to show</td><td class=\"number\">", average.count(),
                   "</td><td></td>"});
    } else {
      const auto shown = [](const std::optional<double>& number) {
        return number ? Decimal(*number, 2) : std::string();
      };
      page_.Write({"<td class=\"number\"><b>", shown(average.Mean()), "</b></td><td class=\"number\">",
                   shown(average.Spread()), "</td><td class=\"number\">", average.count(), "</td><td>"});
      if (average.count() > 0) WriteBars(page_, question, figures_);
      page_.Write({"</td>"});
    }
    WriteAverage(page_, context_, question, others_.trainer);
    WriteAverage(page_, context_, question, others_.training);
    WriteAverage(page_, context_, question, others_.house);
    page_.Write({"</tr>\n"});
  }

  void WriteChoices(const LaidOut& question) {
    const std::int64_t answers = figures_.Answers(question);
    page_.Write({"<h3>", question.content, "</h3>\n"});
    if (answers == 0) return page_.Write({"<p class=\"soft\">No answer</p>\n"});
    const std::int64_t forms = question.control == LaidOut::Control::kBoxes ? forms_ : answers;
    if (!MayShow(context_, forms)) return page_.Write({"<p class=\"soft\">Too few answers to show.</p>\n"});
    page_.Write({"<table class=\"shares\">\n<tbody>\n"});
    for (const Choice& choice : question.choices) {
      if (choice.text.empty()) continue;
      const std::int64_t count = figures_.Count(question.question, choice.key);
      page_.Write({"<tr><th scope=\"row\">", choice.text,
                   "</th><td><svg class=\"bars\" aria-hidden=\"true\" width=\"200\" "
                   "height=\"14\" viewBox=\"0 0 200 14\"><rect width=\"",
                   200 * count / answers, "\" height=\"14\"/></svg></td><td class=\"number\">", count,
                   "</td><td class=\"number soft\">", Percent(count, forms), "</td></tr>\n"});
    }
    page_.Write({"</tbody></table>\n"});
  }

  void WriteComments(const LaidOut& question) {
    page_.Write({"<h3>", question.content, "</h3>\n"});
    const auto found = comments_.find(question.question);
    if (found == comments_.end()) return page_.Write({"<p class=\"soft\">Nothing was written.</p>\n"});
    page_.Write({"<ul class=\"comments\">\n"});
    for (const std::string& comment : found->second) page_.Write({"<li>", comment, "</li>\n"});
    page_.Write({"</ul>\n"});
  }

  Markup& page_;
  const Context& context_;
  const Figures& figures_;
  const Others& others_;
  const Comments& comments_;
  const std::int64_t forms_;
  bool in_table_ = false;
};

}  // namespace

wire::HttpResponse ShowReport(Context& context) {
  constexpr std::string_view kTitle = "Event report";
  if (!context.request.Filled("event")) return ChooseEvent(context, kTitle);
  const auto key = ReadKey(context.request("event"));
  data::Connection& db = context.connection;
  const std::optional<Event> event = key ? FindEvent(db, *key) : std::nullopt;
  if (!event) return Sorry(context, kTitle, "There is no such event.");

  Markup page;
  WriteEventHead(page, *event);
  WriteEventLinks(page, context, *key);
  if (!event->version) {
    page.Write({"<p class=\"note\">The event has no surva.</p>\n"});
    return Html(context, kTitle, page);
  }
  const Figures figures(db, Scope::OfEvent(*key));
  const Others others{
      event->trainer ? std::optional<Figures>(std::in_place, db, Scope::OfTrainer(*event->trainer)) : std::nullopt,
      event->training ? std::optional<Figures>(std::in_place, db, Scope::OfTraining(*event->training)) : std::nullopt,
      Figures(db, Scope::OfHouse())};
  const Comments comments = ReadComments(db, *key);
  ReportWriter writer(page, context, figures, others, comments, CountForms(db, *key));
  for (const LaidOut& row : ReadLayout(db, *event->version)) writer.Write(row);
  writer.EndTable();
  page.Write(
      {"<p class=\"soft\">Spread is the standard deviation. Trainer, training and house are the averages of the "
       "same question over all events of the trainer, of the training, and over all. Where several boxes may be ticked, "
       "shares are of all who answered.</p>\n"});
  return Html(context, kTitle, page);
}

}  // namespace surva::desk
