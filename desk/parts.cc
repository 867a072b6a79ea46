#include "desk/parts.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "frame/values/text.h"
#include "reporting/period.h"
#include "scheduling/counts.h"

namespace surva::desk {

using data::Bound;
using data::Number;
using data::Row;
using data::Rows;

namespace {

std::optional<int> ReadDigits(std::string_view text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || error != std::errc() || end != text.data() + text.size() || number < 0) return {};
  return number;
}

std::optional<std::int64_t> KeyIn(const Field& field) {
  if (field.IsNull()) return {};
  return field.Integer();
}

std::string NameOf(const Row& row) {
  const std::string first = row["FirstName"].Text();
  const std::string last = row["LastName"].Text();
  return first.empty() || last.empty() ? first + last : first + " " + last;
}

}  // namespace

std::optional<std::int64_t> ReadKey(std::string_view text) {
  return ReadDigits(text);
}

std::string DayText(const Field& date) {
  if (date.IsNull()) return {};
  const DateTime& at = date.Date();
  return std::to_string(at.day) + " " + std::string(MonthName(at.month)) + " " + std::to_string(at.year);
}

std::optional<DateTime> ReadMonth(std::string_view text) {
  return text.size() == 7 ? ReadDay(std::string(text) + "-01") : std::nullopt;
}

std::optional<DateTime> ReadDay(std::string_view text) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return {};
  const auto year = ReadDigits(text.substr(0, 4));
  const auto month = ReadDigits(text.substr(5, 2));
  const auto day = ReadDigits(text.substr(8, 2));
  if (!year || !month || !day || *year < 100 || !IsCalendarDay(*year, *month, *day)) return {};
  return DateTime{*year, *month, *day};
}

std::string DayInput(const DateTime& day) {
  return IsoText(day).substr(0, 10);
}

std::string Decimal(double number, int decimals) {
  std::array<char, 400> text{};
  std::snprintf(text.data(), text.size(), "%.*f", decimals, number);
  std::string decimal(text.data());
  if (decimal.starts_with('-') && decimal.find_first_of("123456789") == std::string::npos) decimal.erase(0, 1);
  return decimal;
}

std::string Percent(std::int64_t part, std::int64_t whole) {
  if (whole == 0) return "0 %";
  return Decimal(100.0 * static_cast<double>(part) / static_cast<double>(whole), 0) + " %";
}

std::string Event::Period() const {
  if (begin == end || end.empty()) return begin;
  // Behind the day the same month and year need not be said twice.
  const std::size_t month = begin.find(' ');
  const bool same = month != std::string::npos && end.find(' ') != std::string::npos &&
                    begin.substr(month) == end.substr(end.find(' '));
  return (same ? begin.substr(0, month) : begin) + " to " + end;
}

std::optional<Event> FindEvent(data::Connection& connection, std::int64_t key) {
  const Rows rows = connection.Query(
      {"select ScheduleID, Schedule.TrainingID, Schedule.TrainerID, Schedule.SurvaVersionID, BeginDate, EndDate, Place, "
       "TrainingName, OfficialID, FirstName, LastName, SurvaName, ",
       kCounts,
       "from Schedule left join Training on Training.TrainingID=Schedule.TrainingID "
       "left join Trainer on Trainer.TrainerID=Schedule.TrainerID "
       "left join SurvaVersion on SurvaVersion.SurvaVersionID=Schedule.SurvaVersionID where ScheduleID=",
       Number(key)});
  if (rows.empty()) return {};
  const Row row = rows.First();
  return Event{.key = key,
               .training = KeyIn(row["Schedule.TrainingID"]),
               .trainer = KeyIn(row["Schedule.TrainerID"]),
               .version = KeyIn(row["Schedule.SurvaVersionID"]),
               .training_name = row["TrainingName"].Text(),
               .official_id = row["OfficialID"].Text(),
               .trainer_name = NameOf(row),
               .place = row["Place"].Text(),
               .surva = row["SurvaName"].Text(),
               .begin = DayText(row["BeginDate"]),
               .end = DayText(row["EndDate"]),
               .begin_day = row["BeginDate"].IsNull() ? std::string() : DayInput(row["BeginDate"].Date()),
               .enrolled = row["Enrolled"].Integer(),
               .answered = row["Answered"].Integer()};
}

void WriteEventHead(Markup& page, const Event& event) {
  page.Write({"<dl class=\"facts\">\n<div><dt>Training</dt><dd>", event.training_name, " <span class=\"soft\">",
              event.official_id, "</span></dd></div>\n<div><dt>Trainer</dt><dd>", event.trainer_name,
              "</dd></div>\n<div><dt>When</dt><dd>", event.Period(), "</dd></div>\n<div><dt>Where</dt><dd>",
              event.place, "</dd></div>\n<div><dt>Surva</dt><dd>", event.surva,
              "</dd></div>\n<div><dt>Answered</dt><dd>", event.answered, " of ", event.enrolled,
              "</dd></div>\n</dl>\n"});
}

void WriteEventLinks(Markup& page, const Context& context, std::int64_t event) {
  page.Write({"<nav class=\"of-event screen-only\" aria-label=\"Of this event\">\n"});
  for (const PageLink& link : context.pages) {
    const OfEvent& of_event = link.of_event;
    if (of_event.field.empty() || EqualNames(context.http.path, link.address)) continue;
    page.Write({"<a href=\"", link.address, "?", of_event.field, "=", event, "\">", of_event.caption, "</a>\n"});
  }
  page.Write({"</nav>\n"});
}

wire::HttpResponse ChooseEvent(Context& context, std::string_view title) {
  const DateTime today = context.clock.Now();
  const DateTime month = ReadMonth(context.request("month")).value_or(DateTime{today.year, today.month, 1});
  constexpr std::size_t kMost = 500;
  const Rows events = context.connection.Query(
      {"select ScheduleID, BeginDate, EndDate, Place, TrainingName, FirstName, LastName, ", kCounts,
       "from Schedule left join Training on Training.TrainingID=Schedule.TrainingID "
       "left join Trainer on Trainer.TrainerID=Schedule.TrainerID where BeginDate>=",
       Bound(Field(month)), " and BeginDate<", Bound(Field(MonthOf(month).end)),
       " order by BeginDate desc, ScheduleID desc limit ", Number(kMost)});
  const std::string chosen = DayInput(month).substr(0, 7);
  Markup page;
  page.Write({"<form method=\"get\" class=\"row\"><label for=\"month\">Events that begin in</label>"
              "<input type=\"month\" id=\"month\" name=\"month\" value=\"",
              chosen,
              "\" placeholder=\"YYYY-MM\" pattern=\"[0-9]{4}-[0-9]{2}\" required>"
              "<button class=\"quiet\">Show</button></form>\n"});
  if (events.empty()) {
    page.Write({"<p class=\"note\">No event begins in that month.</p>\n"});
    return Html(context, title, page);
  }
  page.Write({"<div class=\"wide\" tabindex=\"0\"><table>\n<thead><tr><th scope=\"col\">Begins</th>"
              "<th scope=\"col\">Training</th><th scope=\"col\">Trainer</th><th scope=\"col\">Place</th>"
              "<th scope=\"col\" class=\"number\">Answered</th></tr></thead>\n<tbody>\n"});
  for (const Row& event : events) {
    page.Write({"<tr><td>", DayText(event["BeginDate"]), "</td><td><a href=\"?event=", event["ScheduleID"], "\">",
                event["TrainingName"], "</a></td><td>", NameOf(event), "</td><td>", event["Place"],
                "</td><td class=\"number\">", event["Answered"], " of ", event["Enrolled"], "</td></tr>\n"});
  }
  page.Write({"</tbody></table></div>\n"});
  if (events.size() == kMost) page.Write({"<p class=\"soft\">These are the month's last ", kMost, " events.</p>\n"});
  return Html(context, title, page);
}

wire::HttpResponse Sorry(const Context& context, std::string_view title, std::string_view why, unsigned status) {
  Markup page;
  page.Write({"<p class=\"note bad\" role=\"alert\">", why, "</p>\n"});
  wire::HttpResponse answer = Html(context, title, page);
  answer.status = status;
  return answer;
}

void WriteOptions(Markup& page, const Rows& rows, const std::optional<std::int64_t>& chosen) {
  for (const Row& row : rows) {
    page.Write({"<option value=\"", row[0], "\""});
    if (chosen && row[0].Is(*chosen)) page.Write({" selected"});
    page.Write({">", row[1], "</option>\n"});
  }
}

void WriteTrainers(Markup& page, data::Connection& connection, const std::optional<std::int64_t>& chosen) {
  WriteOptions(page,
               connection.Query({"select TrainerID, coalesce(LastName, '') || ' ' || coalesce(FirstName, '') as "
                                 "Name from Trainer order by LastName nulls first, FirstName nulls first, "
                                 "TrainerID"}),
               chosen);
}

void WriteTrainings(Markup& page, data::Connection& connection, const std::optional<std::int64_t>& chosen) {
  WriteOptions(page,
               connection.Query({"select TrainingID, TrainingName from Training "
                                 "order by TrainingName nulls first, TrainingID"}),
               chosen);
}

void WriteCompanies(Markup& page, data::Connection& connection, const std::optional<std::int64_t>& chosen) {
  WriteOptions(page,
               connection.Query({"select CompanyID, CompanyName from Company "
                                 "order by CompanyName nulls first, CompanyID"}),
               chosen);
}

std::string SiteAddress(const Context& context) {
  if (!context.settings.public_address.empty()) return context.settings.public_address;
  const std::string& host = context.http.host.empty() ? context.http.server_name : context.http.host;
  return (context.http.https ? "https://" : "http://") + host;
}

void WriteAddressWarning(Markup& page, const Context& context) {
  std::string site = SiteAddress(context);
  site.erase(0, site.find("://") + 3);
  for (const std::string_view local : {"127.", "localhost", "[::1]"}) {
    if (LowerName(site).starts_with(local)) {
      page.Write({"<p class=\"note bad screen-only\">Links and codes lead to ", site,
                  ", which nobody else can open. Set public-address, or open this page under the name that respondents "
                  "use.</p>\n"});
    }
  }
}

bool MayShow(const Context& context, std::int64_t answers) {
  return context.person.role != guard::Role::kAnalyst ||
         answers >= static_cast<std::int64_t>(context.settings.least_answers);
}

}  // namespace surva::desk
