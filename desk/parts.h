// What several pages of our own are built from.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "desk/desk_page.h"

namespace surva::desk {

// A key that a request names; nothing if it names none.
std::optional<std::int64_t> ReadKey(std::string_view text);

// "17 November 2026"; nothing for a null.
std::string DayText(const Field& date);
// The month of "YYYY-MM".
std::optional<DateTime> ReadMonth(std::string_view text);
// The day of "YYYY-MM-DD", as browsers post a date.
std::optional<DateTime> ReadDay(std::string_view text);
// The same way round.
std::string DayInput(const DateTime& day);

// With so many decimals, and never a minus in front of nothing.
std::string Decimal(double number, int decimals);
std::string Percent(std::int64_t part, std::int64_t whole);

// An event by its key, with what names it.
struct Event {
  std::int64_t key = 0;
  std::optional<std::int64_t> training, trainer, version;
  std::string training_name, official_id, trainer_name, place, surva;
  std::string begin, end;  // as DayText
  std::string begin_day;   // as DayInput
  std::int64_t enrolled = 0;
  std::int64_t answered = 0;

  // "3 to 5 March 2026", or one day.
  std::string Period() const;
};
std::optional<Event> FindEvent(data::Connection& connection, std::int64_t key);

// What stands above each page of one event.
void WriteEventHead(Markup& page, const Event& event);
// The pages that the person may open for an event.
void WriteEventLinks(Markup& page, const Context& context, std::int64_t event);
// A month's events, each a link to this page with `event=`.
wire::HttpResponse ChooseEvent(Context& context, std::string_view title);

// A page that says why there is nothing to show.
wire::HttpResponse Sorry(const Context& context, std::string_view title, std::string_view why, unsigned status = 404);

// The options of a list: rows of a key and a text; the chosen one is marked.
void WriteOptions(Markup& page, const data::Rows& rows, const std::optional<std::int64_t>& chosen);

void WriteTrainers(Markup& page, data::Connection& connection, const std::optional<std::int64_t>& chosen);
void WriteTrainings(Markup& page, data::Connection& connection, const std::optional<std::int64_t>& chosen);
void WriteCompanies(Markup& page, data::Connection& connection, const std::optional<std::int64_t>& chosen);

// The site as respondents reach it, without a slash at its end.
std::string SiteAddress(const Context& context);

// Warns of an address that only this machine can open.
void WriteAddressWarning(Markup& page, const Context& context);

// Whether a person sees an average of so few answers.
bool MayShow(const Context& context, std::int64_t answers);

}  // namespace surva::desk
