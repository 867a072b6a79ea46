// Paper to hand out: a slip for each participant who has not answered yet, eight to a sheet, and a poster for a surva
// that needs no PIN.
#include "desk/close_date.h"
#include "desk/pages.h"
#include "desk/parts.h"
#include "desk/qr_code.h"
#include "frame/values/text.h"

namespace surva::desk {

using data::Number;
using data::Row;
using data::Rows;

namespace {

constexpr std::size_t kOnSheet = 8;

// What a person types: browsers add the rest.
std::string Typed(const std::string& address) {
  const std::size_t scheme = address.find("://");
  return scheme == std::string::npos ? address : address.substr(scheme + 3);
}

void WriteSlip(Markup& page, const Event& event, const Row& participant, const std::string& site,
               const std::optional<DateTime>& close) {
  const std::string pin = participant["PIN"].Text();
  page.Write({"<article class=\"slip\"><h2 dir=\"auto\">", participant["FirstName"], " ", participant["LastName"],
              "</h2><p class=\"training\" dir=\"auto\">", event.training_name, "</p><div><p>", event.Period(),
              "</p><p class=\"how\">Please tell us how it was:<br><b>", Typed(site), "</b></p><p>PIN <b class=\"pin\">",
              pin, "</b></p>"});
  if (close) page.Write({"<p class=\"soft\">until ", DayText(*close), "</p>"});
  page.Write({"</div>"});
  WriteQrCode(page, site + "/fill?PIN=" + PercentEncoded(WithLetters(pin)), "Code of the address with the PIN");
  page.Write({"</article>\n"});
}

}  // namespace

wire::HttpResponse ShowSlips(Context& context) {
  constexpr std::string_view kTitle = "Slips with PINs";
  if (!context.request.Filled("event")) return ChooseEvent(context, kTitle);
  data::Connection& db = context.connection;
  const auto key = ReadKey(context.request("event"));
  const std::optional<Event> event = key ? FindEvent(db, *key) : std::nullopt;
  if (!event) return Sorry(context, kTitle, "There is no such event.");
  if (auto answer = TakeCloseDate(context, *key, kTitle)) return *std::move(answer);

  Markup page;
  page.Write({"<div class=\"screen-only\">\n"});
  WriteEventHead(page, *event);
  WriteEventLinks(page, context, *key);
  const std::optional<DateTime> close = WriteCloseDateForm(page, context, *key);
  const Rows waiting =
      db.Query({"select FirstName, LastName, PIN from Participant inner join Student "
                "on Student.StudentID=Participant.StudentID where ScheduleID=",
                Number(*key), " and PIN<>'' order by LastName nulls first, FirstName nulls first, ParticipantID"});
  if (waiting.empty()) {
    page.Write({"<p class=\"note\">Nobody has a PIN to be handed out.</p>\n</div>\n"});
    return Html(context, kTitle, page);
  }
  WriteAddressWarning(page, context);
  page.Write({"<p class=\"note\">Print this page on A4 without margins and cut each sheet into eight. Who has answered "
              "has no slip.</p>\n</div>\n"});
  const std::string site = SiteAddress(context);
  for (std::size_t i = 0; i < waiting.size(); ++i) {
    if (i % kOnSheet == 0) page.Write({"<section class=\"sheet\">\n"});
    WriteSlip(page, *event, waiting[i], site, close);
    if (i % kOnSheet == kOnSheet - 1 || i + 1 == waiting.size()) page.Write({"</section>\n"});
  }
  return Html(context, kTitle, page);
}

wire::HttpResponse ShowPoster(Context& context) {
  constexpr std::string_view kTitle = "Poster";
  const auto key = ReadKey(context.request("version"));
  const Rows survas = key ? context.connection.Query({"select SurvaName, RequireAuthorisation from SurvaVersion "
                                                      "where SurvaVersionID=",
                                                      Number(*key)})
                          : Rows(std::make_shared<data::Shape>());
  if (survas.empty()) return Sorry(context, kTitle, "There is no such surva.");
  if (survas.First()["RequireAuthorisation"].IsTrue()) {
    return Sorry(context, kTitle, "This surva is filled in with PINs only; it has no public link.", 409);
  }
  const std::string address = SiteAddress(context) + "/fill?version=" + std::to_string(*key);
  Markup page;
  page.Write({"<p class=\"note screen-only\">Print this page; nothing but the poster comes on paper.</p>\n"});
  WriteAddressWarning(page, context);
  page.Write({"<section class=\"poster\"><h2>", survas.First()["SurvaName"],
              "</h2>\n<p>Please tell us what you think. It takes a few minutes.</p>\n"});
  WriteQrCode(page, address, "Code of the public link");
  page.Write({"<p class=\"address\">", Typed(address), "</p></section>\n"});
  return Html(context, kTitle, page);
}

}  // namespace surva::desk
