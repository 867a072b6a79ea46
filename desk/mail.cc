// Invitations and reminders to the participants of an event.

#include "desk/close_date.h"
#include "desk/outbox.h"
#include "desk/pages.h"
#include "desk/parts.h"
#include "frame/values/text.h"
#include "guard/gate.h"

namespace surva::desk {

using data::Number;
using data::Row;
using data::Rows;

namespace {

constexpr std::string_view kTitle = "Mail";
constexpr std::int64_t kBetweenReminders = 20 * 60 * 60;  // seconds

// Who could be written to now, and why not the others.
struct Receiver {
  std::int64_t participant = 0;
  std::string name, address;
  std::string why_not;
};

// A mail goes to nobody twice: who has one of the kind that left or waits gets no other, but for a reminder on another
// day.
std::vector<Receiver> FindReceivers(data::Connection& db, std::int64_t event, MailKind kind, std::int64_t now) {
  const Rows rows = db.Query(
      {"select Participant.ParticipantID, PIN, FirstName, LastName, Student.email, "
       "(select count(*) from Outbox where Outbox.ParticipantID=Participant.ParticipantID and Kind=",
       Number(static_cast<int>(kind)), " and (State=1 or State=2 or State=3 or ((State=4 or State=6) and EndedAt>",
       Number(kind == MailKind::kInvitation ? 0 : now - kBetweenReminders),
       "))) as Standing from Participant inner join Student on Student.StudentID=Participant.StudentID "
       "where Participant.ScheduleID=",
       Number(event), " order by LastName nulls first, FirstName nulls first, Participant.ParticipantID"});
  std::vector<Receiver> receivers;
  for (const Row& row : rows) {
    Receiver& receiver = receivers.emplace_back(Receiver{.participant = row["ParticipantID"].Integer(),
                                                         .name = row["FirstName"].Text() + " " + row["LastName"].Text(),
                                                         .address = row["email"].Text()});
    if (row["PIN"].IsEmpty()) {
      receiver.why_not = "has answered";
    } else if (receiver.address.empty()) {
      receiver.why_not = "has no address";
    } else if (!IsMailAddress(WithLetters(receiver.address))) {
      receiver.why_not = "has an address that is none";
    } else if (row["Standing"].Integer() > 0) {
      receiver.why_not = kind == MailKind::kInvitation ? "has been invited" : "has been reminded";
    }
  }
  return receivers;
}

std::optional<MailKind> ReadKind(std::string_view word) {
  for (const MailKind kind : {MailKind::kInvitation, MailKind::kReminder}) {
    if (word == NameOf(kind)) return kind;
  }
  return {};
}

// What would be sent, before it is: to whom, and the first one as it reads.
wire::HttpResponse ShowTrial(Context& context, const Event& event, MailKind kind) {
  data::Connection& db = context.connection;
  const std::vector<Receiver> receivers = FindReceivers(db, event.key, kind, guard::SecondsNow());
  Markup page, list;
  std::int64_t many = 0;
  const Receiver* first = nullptr;
  for (const Receiver& receiver : receivers) {
    if (receiver.why_not.empty() && ++many == 1) first = &receiver;
    list.Write({"<tr><td>", receiver.name, "</td><td>", receiver.address, "</td><td>",
                receiver.why_not.empty() ? "would be sent" : receiver.why_not, "</td></tr>\n"});
  }
  WriteEventHead(page, event);
  page.Write({"<p class=\"note\" role=\"status\">", many, " of ", static_cast<std::int64_t>(receivers.size()),
              " would get this ", NameOf(kind), ". Nothing has been sent yet.</p>\n"});
  std::string why_not;
  const auto mail = first == nullptr
                        ? std::nullopt
                        : ComposeMail(db, kind, first->participant, SiteAddress(context), context.clock.Now(), why_not);
  if (mail) {
    page.Write({"<h2>The first one</h2>\n<p><b>", mail->subject, "</b><br>to ", mail->to,
                "</p>\n<pre class=\"letter\">", mail->body,
                "</pre>\n<form method=\"post\"><input type=\"hidden\" name=\"event\" value=\"", event.key,
                "\"><input type=\"hidden\" name=\"send\" value=\"", NameOf(kind), "\"><button>Send ", many,
                std::string_view(many == 1 ? " mail" : " mails"),
                "</button> <a class=\"button quiet\" href=\"/admin/mail?event=", event.key, "\">Back</a></form>\n"});
  } else if (!why_not.empty()) {
    page.Write({"<p class=\"note bad\">The first one cannot be sent: ", why_not, ".</p>\n"});
  }
  page.Write({"<h2>To whom</h2>\n<div class=\"wide\" tabindex=\"0\"><table>\n<thead><tr><th scope=\"col\">Name</th>"
              "<th scope=\"col\">Address</th><th scope=\"col\">What</th></tr></thead>\n<tbody>\n"});
  page.Write(list);
  page.Write({"</tbody></table></div>\n"});
  return Html(context, kTitle, page);
}

// Takes a post; nothing if it asked for nothing.
std::optional<wire::HttpResponse> Act(Context& context, const Event& event) {
  data::Connection& db = context.connection;
  const Request& request = context.request;
  if (auto answer = TakeCloseDate(context, event.key, kTitle)) return answer;
  const std::string back = "/admin/mail?event=" + std::to_string(event.key);
  if (const auto kind = ReadKind(request("text"))) {
    const MailText text{std::string(request("subject")), std::string(request("body"))};
    if (text.subject.empty() || text.body.empty())
      return Sorry(context, kTitle, "A mail has a subject and a text.", 400);
    if (CharacterCount(text.subject) > 200) return Sorry(context, kTitle, "The subject is too long.", 400);
    StoreMailText(db, *kind, text);
    return SeeOther(back);
  }
  const bool configured = !context.settings.mail.server.empty();
  if (!configured && (request.Filled("send") || request.Filled("again"))) {
    return Sorry(context, kTitle, "No mail server is configured.", 409);
  }
  if (const auto kind = ReadKind(request("try"))) return ShowTrial(context, event, *kind);
  if (const auto kind = ReadKind(request("send"))) {
    // Whoever presses twice, or together with another, finds the first one's mails waiting.
    db.Lock("mail " + std::to_string(event.key));
    const std::int64_t now = guard::SecondsNow();
    for (const Receiver& receiver : FindReceivers(db, event.key, *kind, now)) {
      if (receiver.why_not.empty()) {
        Outbox::Queue(db, event.key, receiver.participant, *kind, SiteAddress(context), now);
      }
    }
    return SeeOther(back);
  }
  if (const auto key = ReadKey(request("again"))) {
    db.Execute({"update Outbox set State=1, Attempts=0, NextTry=0 where (State=5 or State=6) and OutboxID=",
                Number(*key), " and ScheduleID=", Number(event.key)});
    return SeeOther(back);
  }
  return {};
}

void WriteKind(Markup& page, Context& context, const Event& event, MailKind kind, std::string_view heading) {
  const MailText text = ReadMailText(context.connection, kind);
  page.Write(
      {"<section><h2>",
       heading,
       "</h2>\n<form method=\"post\"><input type=\"hidden\" name=\"event\" value=\"",
       event.key,
       "\"><input type=\"hidden\" name=\"try\" value=\"",
       NameOf(kind),
       "\"><button>See who would get it</button></form>\n<details><summary>The text, for all events</summary>\n"
       "<form method=\"post\"><input type=\"hidden\" name=\"event\" value=\"",
       event.key,
       "\"><input type=\"hidden\" name=\"text\" value=\"",
       NameOf(kind),
       "\">\n<label for=\"subject-",
       NameOf(kind),
       "\">Subject</label><input id=\"subject-",
       NameOf(kind),
       "\" name=\"subject\" maxlength=\"200\" size=\"60\" required value=\"",
       text.subject,
       "\">\n<label for=\"body-",
       NameOf(kind),
       "\">Text</label><textarea id=\"body-",
       NameOf(kind),
       "\" name=\"body\" rows=\"12\" cols=\"72\" required>\n",
       text.body,
       "</textarea>\n<p class=\"soft\">These stand for what they name: {name} {first name} {last name} {training} "
       "{trainer} {period} {place} {until} {pin} {link} {site}</p>\n<p><button class=\"quiet\">Keep the text"
       "</button></p>\n</form></details></section>\n"});
}

void WriteOutbox(Markup& page, Context& context, const Event& event) {
  const Rows rows = context.connection.Query(
      {"select OutboxID, Kind, State, Attempts, NextTry, Told, FirstName, LastName from Outbox "
       "left join Participant on Participant.ParticipantID=Outbox.ParticipantID "
       "left join Student on Student.StudentID=Participant.StudentID where Outbox.ScheduleID=",
       Number(event.key), " order by OutboxID desc limit 2000"});
  page.Write({"<h2>Outbox</h2>\n"});
  if (rows.empty()) return page.Write({"<p class=\"soft\">No mail yet.</p>\n"});
  page.Write(
      {"<div class=\"wide\" tabindex=\"0\"><table>\n<thead><tr><th scope=\"col\">To</th><th scope=\"col\">What</th>"
       "<th scope=\"col\">State</th><th scope=\"col\" class=\"number\">Attempts</th>"
       "<th scope=\"col\">The server's word</th><th scope=\"col\">Act</th></tr></thead>\n<tbody>\n"});
  for (const Row& row : rows) {
    const auto state = static_cast<MailState>(row["State"].Integer());
    page.Write({"<tr><td>", row["FirstName"], " ", row["LastName"], "</td><td>",
                NameOf(static_cast<MailKind>(row["Kind"].Integer())), "</td><td>", NameOf(state),
                "</td><td class=\"number\">", row["Attempts"], "</td><td>", row["Told"], "</td><td>"});
    if (state == MailState::kFailed || state == MailState::kDoubtful) {
      page.Write({"<form method=\"post\"><input type=\"hidden\" name=\"event\" value=\"", event.key,
                  "\"><button class=\"quiet\" name=\"again\" value=\"", row["OutboxID"],
                  "\">Send again</button></form>"});
    }
    page.Write({"</td></tr>\n"});
  }
  page.Write(
      {"</tbody></table></div>\n<p class=\"soft\">\"Perhaps sent\": the connection or surva itself broke between "
       "the mail's text and the server's answer. It is not sent a second time unless you say so.</p>\n"});
}

}  // namespace

wire::HttpResponse ShowMail(Context& context) {
  if (!context.request.Filled("event")) return ChooseEvent(context, kTitle);
  const auto key = ReadKey(context.request("event"));
  const std::optional<Event> event = key ? FindEvent(context.connection, *key) : std::nullopt;
  if (!event) return Sorry(context, kTitle, "There is no such event.");
  if (context.http.method == wire::HttpRequest::Method::kPost) {
    if (auto answer = Act(context, *event)) return *std::move(answer);
  }
  Markup page;
  WriteEventHead(page, *event);
  WriteEventLinks(page, context, *key);
  WriteCloseDateForm(page, context, *key);
  if (context.settings.mail.server.empty()) {
    page.Write({"<p class=\"note\">No mail server is configured (mail-server); nothing can be sent.</p>\n"});
  }
  WriteAddressWarning(page, context);
  WriteKind(page, context, *event, MailKind::kInvitation, "Invitation");
  WriteKind(page, context, *event, MailKind::kReminder, "Reminder");
  WriteOutbox(page, context, *event);
  return Html(context, kTitle, page);
}

}  // namespace surva::desk
