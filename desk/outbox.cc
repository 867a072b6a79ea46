#include "desk/outbox.h"

#include <sodium.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <vector>

#include "desk/parts.h"
#include "frame/values/ascii.h"
#include "frame/values/text.h"
#include "guard/token.h"

namespace surva::desk {

using data::Bound;
using data::Number;
using data::Row;
using data::Rows;

namespace {

const MailText kFirstInvitation{
    "Your opinion on {training}",
    "Dear {name},\n\nyou took part in {training} ({period}). Please tell us how it was: a few minutes are enough.\n\n"
    "{link}\n\nIf your mail program does not open the link, go to {site} and enter the PIN {pin}.\n\n"
    "Thank you very much."};
const MailText kFirstReminder{
    "A reminder: your opinion on {training}",
    "Dear {name},\n\nwe have not heard from you yet about {training} ({period}), and your opinion matters to us.\n\n"
    "{link}\n\nThe PIN is {pin}.\n\nThank you very much."};

std::string Base64(std::string_view bytes) {
  std::string text(sodium_base64_ENCODED_LEN(bytes.size(), sodium_base64_VARIANT_ORIGINAL), '\0');
  sodium_bin2base64(text.data(), text.size(), reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                    sodium_base64_VARIANT_ORIGINAL);
  text.resize(text.find('\0'));
  return text;
}

// Encoded words of at most 75 characters (RFC 2047), each of whole letters.
std::string EncodedWords(std::string_view text) {
  constexpr std::size_t kBytes = 42;
  std::string words;
  while (!text.empty()) {
    std::size_t length = std::min(kBytes, text.size());
    while (length < text.size() && length > 1 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
    words += (words.empty() ? "" : "\r\n ") + ("=?utf-8?B?" + Base64(text.substr(0, length))) + "?=";
    text.remove_prefix(length);
  }
  return words;
}

// A header's text; in the name of a sender some signs mean something.
std::string HeaderText(std::string_view text, std::string_view meaning = {}) {
  const bool plain = std::ranges::all_of(text, [](char c) { return c >= 0x20 && c < 0x7f; });
  constexpr std::size_t kOneLine = 60;
  const bool as_is = plain && text.size() <= kOneLine && text.find("=?") == std::string_view::npos &&
                     text.find_first_of(meaning) == std::string_view::npos;
  return as_is ? std::string(text) : EncodedWords(text);
}

std::string OneLine(std::string text) {
  std::ranges::replace_if(text, IsControl, ' ');
  return text;
}

// Lines as mails have them (RFC 2045).
std::string WithMailLines(std::string_view text) {
  std::string lines;
  for (const char c : text) {
    if (c == '\r') continue;
    if (c == '\n') lines += '\r';
    lines += c;
  }
  return lines;
}

}  // namespace

std::string_view NameOf(MailKind kind) {
  return kind == MailKind::kInvitation ? "invitation" : "reminder";
}

std::string_view NameOf(MailState state) {
  switch (state) {
    case MailState::kQueued:
      return "waits";
    case MailState::kClaimed:
    case MailState::kLeaving:
      return "is being sent";
    case MailState::kSent:
      return "sent";
    case MailState::kFailed:
      return "failed";
    case MailState::kDoubtful:
      return "perhaps sent";
    case MailState::kNeedless:
      break;
  }
  return "not sent";
}

MailText ReadMailText(data::Connection& connection, MailKind kind) {
  const Rows rows = connection.Query({"select Subject, Body from MailText where Kind=", Number(static_cast<int>(kind)),
                                      " order by MailTextID desc limit 1"});
  if (rows.empty()) return kind == MailKind::kInvitation ? kFirstInvitation : kFirstReminder;
  return {rows.First()["Subject"].Text(), rows.First()["Body"].Text()};
}

void StoreMailText(data::Connection& connection, MailKind kind, const MailText& text) {
  connection.Lock("mail text");
  connection.Execute({"delete from MailText where Kind=", Number(static_cast<int>(kind))});
  connection.AddNew(data::tables::kMailText)
      .Set("Kind", std::int64_t{static_cast<int>(kind)})
      .Set("Subject", std::string_view(text.subject))
      .Set("Body", std::string_view(text.body))
      .Update();
}

std::string Filled(std::string_view text, const std::vector<std::pair<std::string_view, std::string>>& names) {
  std::string filled;
  for (std::size_t at = 0; at < text.size();) {
    const auto name =
        std::ranges::find_if(names, [&](const auto& one) { return text.substr(at).starts_with(one.first); });
    if (name != names.end()) {
      filled += name->second;
      at += name->first.size();
    } else {
      filled += text[at++];
    }
  }
  return filled;
}

bool IsMailAddress(std::string_view text) {
  const std::size_t at = text.find('@');
  if (at == 0 || at == std::string_view::npos || at + 1 == text.size() || text.size() > 254) return false;
  return std::ranges::all_of(text, [](char c) { return c > 0x20 && c < 0x7f; }) &&
         text.find_first_of("<>()[],;:\\\"") == std::string_view::npos &&
         text.find('@', at + 1) == std::string_view::npos;
}

std::string SenderAddress(const std::string& sender) {
  const std::size_t bracket = sender.find('<');
  std::string address = bracket == std::string::npos ? sender : sender.substr(bracket + 1);
  if (address.ends_with('>')) address.pop_back();
  return address;
}

std::optional<Mail> ComposeMail(data::Connection& connection, MailKind kind, std::int64_t participant,
                                const std::string& site, const DateTime& now, std::string& why_not) {
  const Rows rows = connection.Query(
      {"select Participant.ScheduleID, PIN, FirstName, LastName, Student.email, CloseDate from Participant "
       "inner join Student on Student.StudentID=Participant.StudentID "
       "left join EventClose on EventClose.ScheduleID=Participant.ScheduleID where ParticipantID=",
       Number(participant)});
  if (rows.empty()) {
    why_not = "is no longer enrolled";
    return {};
  }
  const Row row = rows.First();
  const std::optional<Event> event = FindEvent(connection, row["ScheduleID"].Integer());
  const std::string pin = WithLetters(row["PIN"].Text());
  Mail mail{.to = WithLetters(row["email"].Text())};
  if (pin.empty()) {
    why_not = "has answered";
  } else if (!event) {
    why_not = "the event is gone";
  } else if (mail.to.empty()) {
    why_not = "has no address";
  } else if (!IsMailAddress(mail.to)) {
    why_not = "has an address that is none";
  } else if (!row["CloseDate"].IsNull() && now >= AddDays(row["CloseDate"].Date(), 1)) {
    why_not = "the event is closed";
  }
  if (!why_not.empty()) return {};
  const std::string first = WithLetters(row["FirstName"].Text());
  const std::string last = WithLetters(row["LastName"].Text());
  const std::vector<std::pair<std::string_view, std::string>> names = {
      {"{name}", first.empty() || last.empty() ? first + last : first + " " + last},
      {"{first name}", first},
      {"{last name}", last},
      {"{training}", WithLetters(event->training_name)},
      {"{trainer}", WithLetters(event->trainer_name)},
      {"{period}", event->Period()},
      {"{place}", WithLetters(event->place)},
      {"{until}", DayText(row["CloseDate"])},
      {"{pin}", pin},
      {"{link}", site + "/fill?PIN=" + PercentEncoded(pin)},
      {"{site}", site}};
  const MailText text = ReadMailText(connection, kind);
  mail.subject = OneLine(Filled(WithLetters(text.subject), names));
  mail.body = Filled(WithLetters(text.body), names);
  return mail;
}

std::string MailMessage(const Mail& mail, const std::string& sender, const std::string& message_name,
                        std::int64_t now) {
  const std::time_t time = now;
  std::tm parts{};
  gmtime_r(&time, &parts);
  std::array<char, 64> date{};
  std::strftime(date.data(), date.size(), "%a, %d %b %Y %H:%M:%S +0000", &parts);

  const std::size_t bracket = sender.find('<');
  const std::string address = SenderAddress(sender);
  std::string from = "<" + address + ">";
  if (bracket != std::string::npos && bracket > 0) {
    const std::string_view name = std::string_view(sender).substr(0, sender.find_last_not_of(" <", bracket) + 1);
    from = HeaderText(name, "\"(),.:;<>@[]\\") + " " + from;
  }
  std::string message = "Date: " + std::string(date.data()) + "\r\nFrom: " + from + "\r\nTo: <" + mail.to +
                        ">\r\nSubject: " + HeaderText(mail.subject) + "\r\nMessage-ID: <" + message_name +
                        address.substr(address.find('@')) +
                        ">\r\nAuto-Submitted: auto-generated\r\nMIME-Version: 1.0\r\n"
                        "Content-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: base64\r\n\r\n";
  const std::string body = Base64(WithMailLines(mail.body));
  constexpr std::size_t kLine = 76;
  for (std::size_t at = 0; at < body.size(); at += kLine) message += body.substr(at, kLine) + "\r\n";
  return message;
}

void Outbox::Queue(data::Connection& connection, std::int64_t event, std::int64_t participant, MailKind kind,
                   const std::string& site, std::int64_t now) {
  connection.AddNew(data::tables::kOutbox)
      .Set("ScheduleID", event)
      .Set("ParticipantID", participant)
      .Set("Kind", std::int64_t{static_cast<int>(kind)})
      .Set("State", std::int64_t{static_cast<int>(MailState::kQueued)})
      .Set("Attempts", std::int64_t{0})
      .Set("NextTry", now)
      .Set("MessageName", std::string_view(guard::NewToken()))
      .Set("Site", std::string_view(site))
      .Update();
}

void Outbox::Recover(std::int64_t oldest) {
  data::Connection db(database_);
  const Rows left =
      db.Query({"select OutboxID from Outbox where (State=2 or State=3) and ClaimedAt<", Number(oldest), " limit 1"});
  if (left.empty()) return;
  db.Execute({"update Outbox set State=1, Told='its sender has gone' where State=2 and ClaimedAt<", Number(oldest)});
  db.Execute({"update Outbox set State=6, Told='its sender has gone while it was leaving', EndedAt=ClaimedAt where "
              "State=3 and ClaimedAt<",
              Number(oldest)});
  db.Commit();
}

std::int64_t Outbox::SentSince(std::int64_t since) {
  data::Connection db(database_);
  return db.Query({"select count(*) as Mails from Outbox where State=4 and EndedAt>", Number(since)})
      .First()["Mails"]
      .Integer();
}

std::optional<Outbox::Claim> Outbox::Take(std::int64_t now) {
  data::Connection db(database_);
  const Rows next = db.Query({"select OutboxID, Kind, ParticipantID, Attempts, MessageName, Site from Outbox where "
                              "State=1 and NextTry<=",
                              Number(now), " order by NextTry, OutboxID limit 1"});
  if (next.empty()) return {};
  const Row row = next.First();
  Claim claim{.key = row["OutboxID"].Integer(),
              .kind = static_cast<MailKind>(row["Kind"].Integer()),
              .participant = row["ParticipantID"].Integer(),
              .attempts = row["Attempts"].Integer() + 1,
              .message_name = row["MessageName"].Text(),
              .site = row["Site"].Text()};
  // Of several senders that see it one touches it.
  const std::int64_t touched =
      db.Execute({"update Outbox set State=2, Attempts=", Number(claim.attempts),
                  ", ClaimedBy=", Bound(Field(std::string_view(sender_))), ", ClaimedAt=", Number(now),
                  " where State=1 and OutboxID=", Number(claim.key)});
  db.Commit();
  if (touched != 1) return {};
  return claim;
}

bool Outbox::NoteLeaving(const Claim& claim, std::int64_t now) {
  data::Connection db(database_);
  const std::int64_t touched = db.Execute({"update Outbox set State=3, ClaimedAt=", Number(now),
                                           " where State=2 and OutboxID=", Number(claim.key),
                                           " and ClaimedBy=", Bound(Field(std::string_view(sender_)))});
  db.Commit();
  return touched == 1;
}

void Outbox::End(const Claim& claim, MailState state, const std::string& told, std::int64_t now) {
  data::Connection db(database_);
  db.Execute({"update Outbox set State=", Number(static_cast<int>(state)),
              ", Told=", Bound(Field(std::string_view(told))), ", EndedAt=", Number(now),
              " where OutboxID=", Number(claim.key), " and ClaimedBy=", Bound(Field(std::string_view(sender_)))});
  db.Commit();
}

void Outbox::TryAgain(const Claim& claim, const std::string& told, std::int64_t when) {
  Requeue(claim, claim.attempts, told, when);
}

void Outbox::PutBack(const Claim& claim, const std::string& told, std::int64_t when) {
  Requeue(claim, claim.attempts - 1, told, when);
}

void Outbox::Requeue(const Claim& claim, std::int64_t attempts, const std::string& told, std::int64_t when) {
  data::Connection db(database_);
  db.Execute({"update Outbox set State=1, Attempts=", Number(attempts), ", Told=", Bound(Field(std::string_view(told))),
              ", NextTry=", Number(when), " where OutboxID=", Number(claim.key),
              " and ClaimedBy=", Bound(Field(std::string_view(sender_)))});
  db.Commit();
}

}  // namespace surva::desk
