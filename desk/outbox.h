// The outbox: mails to be sent, who is sending them and what became of them, in the database, so that it outlives
// programs and is one for all nodes.
//
// A mail goes once. A sender claims it, and notes that its text goes out just before the first byte does. A sender that
// dies before that note leaves a claim that runs out, and the mail is sent by another. One that dies between the note
// and the server's last word leaves a mail of which nobody knows whether it arrived: it is kept as doubtful and never
// sent again by itself; a person decides.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "desk/settings.h"
#include "frame/data/connection.h"

namespace surva::desk {

enum class MailKind : std::uint8_t { kInvitation = 1, kReminder = 2 };

enum class MailState : std::uint8_t {
  kQueued = 1,
  kClaimed = 2,   // by a sender, who has told the server nothing of its text
  kLeaving = 3,   // its text is on its way
  kSent = 4,      // taken by the server
  kFailed = 5,    // refused for good, or too often
  kDoubtful = 6,  // perhaps sent
  kNeedless = 7,  // its receiver has answered meanwhile, or has gone
};

std::string_view NameOf(MailKind kind);
std::string_view NameOf(MailState state);

// Subject and body with names in braces.
struct MailText {
  std::string subject, body;
};
MailText ReadMailText(data::Connection& connection, MailKind kind);
void StoreMailText(data::Connection& connection, MailKind kind, const MailText& text);

// A mail as it would leave now.
struct Mail {
  std::string to;
  std::string subject, body;
};
// Nothing, and why, if there is no one to send it to.
std::optional<Mail> ComposeMail(data::Connection& connection, MailKind kind, std::int64_t participant,
                                const std::string& site, const DateTime& now, std::string& why_not);
// The text with its names replaced.
std::string Filled(std::string_view text, const std::vector<std::pair<std::string_view, std::string>>& names);

// Whether a text is a plain address: letters of ASCII around one "@", nothing that SMTP or a header would misread.
bool IsMailAddress(std::string_view text);

// The address of "Name <address>", or of an address alone.
std::string SenderAddress(const std::string& sender);

// The mail as SMTP carries it (RFC 5322, RFC 2045).
std::string MailMessage(const Mail& mail, const std::string& sender, const std::string& message_name, std::int64_t now);

class Outbox {
 public:
  // A mail that this sender has claimed.
  struct Claim {
    std::int64_t key = 0;
    MailKind kind = MailKind::kInvitation;
    std::int64_t participant = 0;
    std::int64_t attempts = 0;  // this one included
    std::string message_name, site;
  };

  // `sender` names who claims, apart from all others. Times are in seconds.
  Outbox(data::Database& database, std::string sender) : database_(database), sender_(std::move(sender)) {}

  static void Queue(data::Connection& connection, std::int64_t event, std::int64_t participant, MailKind kind,
                    const std::string& site, std::int64_t now);

  // What dead senders have left behind: claims older than `oldest`.
  void Recover(std::int64_t oldest);
  // Mails that have left since.
  std::int64_t SentSince(std::int64_t since);
  std::optional<Claim> Take(std::int64_t now);
  // False if the claim has run out: the mail is another's.
  bool NoteLeaving(const Claim& claim, std::int64_t now);
  void End(const Claim& claim, MailState state, const std::string& told, std::int64_t now);
  void TryAgain(const Claim& claim, const std::string& told, std::int64_t when);
  // As if it had not been taken: what failed was not this mail's fault.
  void PutBack(const Claim& claim, const std::string& told, std::int64_t when);

 private:
  void Requeue(const Claim& claim, std::int64_t attempts, const std::string& told, std::int64_t when);

  data::Database& database_;
  const std::string sender_;
};

}  // namespace surva::desk
