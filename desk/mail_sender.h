// MailSender: sends what the outbox holds by SMTP, on a thread of its own.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "desk/outbox.h"
#include "wire/log.h"

namespace surva::desk {

class MailSender {
 public:
  struct Rhythm {
    std::chrono::milliseconds look{3000};  // how often an empty outbox is looked into
    std::chrono::seconds transfer{60};     // the longest that one mail may take
    std::chrono::seconds last_words{4};    // for a server that has the text, when this program ends
    std::chrono::seconds claim{180};       // after which a claim's sender counts as dead
    // Before the second attempt; each further one waits four times as long. A server that takes none at all is left
    // alone as long, and up to sixteen times as long; that is no attempt.
    std::chrono::seconds retry{60};
    int attempts = 6;
  };

  // All outlive the sender.
  MailSender(MailSettings settings, data::Database& database, wire::Log& log, const Clock& clock = Clock::System())
      : MailSender(std::move(settings), database, log, clock, Rhythm()) {}
  MailSender(MailSettings settings, data::Database& database, wire::Log& log, const Clock& clock, Rhythm rhythm);
  // A mail whose text has not begun to leave waits for the next start; one whose has is given a few seconds.
  ~MailSender();
  MailSender(const MailSender&) = delete;
  MailSender& operator=(const MailSender&) = delete;

 private:
  class Transfer;

  void Run();
  // False if there was nothing to do, or the connection must not be used again.
  bool SendNext(std::unique_ptr<Transfer>& transfer);
  // False if the server takes none for now, or cannot be trusted to answer this mail.
  bool Send(Transfer& transfer, const Outbox::Claim& claim);
  bool Stopping();

  const MailSettings settings_;
  data::Database& database_;
  wire::Log& log_;
  const Clock& clock_;
  const Rhythm rhythm_;
  Outbox outbox_;
  std::int64_t away_until_ = 0;  // the server is left alone
  int failures_ = 0;             // of the server, one after the other
  std::mutex mutex_;
  std::condition_variable wake_;
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace surva::desk
