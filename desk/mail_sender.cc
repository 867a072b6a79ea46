#include "desk/mail_sender.h"

#include <curl/curl.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <functional>
#include <stdexcept>

#include "guard/gate.h"
#include "guard/token.h"

namespace surva::desk {
namespace {

// What a server says goes onto a page and into a column.
std::string Shortened(std::string text) {
  constexpr std::size_t kMost = 300;
  std::erase_if(text,
                [](char c) { return static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) > 0x7e; });
  if (text.size() > kMost) text.resize(kMost);
  return text;
}

}  // namespace

// A connection to the server, kept for the next mail.
class MailSender::Transfer {
 public:
  // kAway: the server took no mail at all, whatever is in it.
  enum class Outcome { kTaken, kRefused, kNotNow, kUnknown, kNotOurs, kAway };

  Transfer(const MailSettings& settings, const Rhythm& rhythm, std::function<bool()> stopping)
      : curl_(Begin()), stopping_(std::move(stopping)), last_words_(rhythm.last_words) {
    const auto limit = static_cast<long>(rhythm.transfer.count());
    if (curl_ == nullptr) throw std::runtime_error("libcurl cannot be used");
    curl_easy_setopt(curl_, CURLOPT_URL, settings.server.c_str());
    curl_easy_setopt(curl_, CURLOPT_PROTOCOLS_STR, "smtp,smtps");
    curl_easy_setopt(curl_, CURLOPT_USE_SSL, static_cast<long>(settings.tls ? CURLUSESSL_ALL : CURLUSESSL_NONE));
    if (!settings.account.empty()) {
      curl_easy_setopt(curl_, CURLOPT_USERNAME, settings.account.c_str());
      curl_easy_setopt(curl_, CURLOPT_PASSWORD, settings.password.c_str());
    }
    if (!settings.authority.empty()) curl_easy_setopt(curl_, CURLOPT_CAINFO, settings.authority.c_str());
    curl_easy_setopt(curl_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl_, CURLOPT_TIMEOUT, limit);
    curl_easy_setopt(curl_, CURLOPT_CONNECTTIMEOUT, std::min(15L, limit));
    curl_easy_setopt(curl_, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(curl_, CURLOPT_ERRORBUFFER, error_.data());
    curl_easy_setopt(curl_, CURLOPT_READDATA, this);
    curl_easy_setopt(curl_, CURLOPT_READFUNCTION, ReadFrom);
    curl_easy_setopt(curl_, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(curl_, CURLOPT_HEADERFUNCTION, Hear);
    curl_easy_setopt(curl_, CURLOPT_XFERINFODATA, this);
    curl_easy_setopt(curl_, CURLOPT_XFERINFOFUNCTION, Watch);
    curl_easy_setopt(curl_, CURLOPT_NOPROGRESS, 0L);
  }
  ~Transfer() {
    // A farewell is said, and its answer not waited for.
    curl_socket_t socket = CURL_SOCKET_BAD;
    if (curl_easy_getinfo(curl_, CURLINFO_ACTIVESOCKET, &socket) == CURLE_OK && socket != CURL_SOCKET_BAD) {
      ::shutdown(socket, SHUT_RD);
    }
    curl_easy_cleanup(curl_);
  }
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  // `leaves` is asked once, just before the text goes out.
  Outcome Send(const std::string& from, const std::string& to, std::string message, std::function<bool()> leaves) {
    message_ = std::move(message);
    leaves_ = std::move(leaves);
    at_ = 0;
    leaving_ = not_ours_ = false;
    reply_.clear();
    refusal_.clear();
    error_[0] = '\0';
    curl_easy_setopt(curl_, CURLOPT_MAIL_FROM, ("<" + from + ">").c_str());
    curl_slist* const receivers = curl_slist_append(nullptr, ("<" + to + ">").c_str());
    curl_easy_setopt(curl_, CURLOPT_MAIL_RCPT, receivers);
    const CURLcode code = curl_easy_perform(curl_);
    curl_slist_free_all(receivers);
    if (code == CURLE_OK) return Outcome::kTaken;
    if (not_ours_) return Outcome::kNotOurs;
    // A server that has not said no after the whole text may have said yes.
    const bool refused = !refusal_.empty();
    const std::string told = std::string(error_.data()).substr(0, 11);
    reply_ = refused ? refusal_ : error_[0] != '\0' ? error_.data() : curl_easy_strerror(code);
    if (leaving_ && !refused) return Outcome::kUnknown;
    // Before the text, only a word about the receiver is a word about this mail.
    constexpr std::string_view kOfSender = "MAIL failed";
    const bool of_mail = refused && (leaving_ || (code == CURLE_SEND_ERROR && told != kOfSender));
    if (!of_mail) return Outcome::kAway;
    return refusal_.front() == '5' ? Outcome::kRefused : Outcome::kNotNow;
  }
  const std::string& reply() const { return reply_; }

 private:
  static CURL* Begin() {
    static const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);
    return ready == CURLE_OK ? curl_easy_init() : nullptr;
  }
  static std::size_t ReadFrom(char* buffer, std::size_t size, std::size_t count, void* self) {
    return static_cast<Transfer*>(self)->Read(buffer, size * count);
  }
  std::size_t Read(char* buffer, std::size_t room) {
    if (!leaving_) {
      try {
        not_ours_ = !leaves_();
      } catch (const std::exception& failure) {
        // What cannot be noted must not leave.
        not_ours_ = true;
      }
      if (not_ours_) return CURL_READFUNC_ABORT;
      leaving_ = true;
      // What the server refused before, a greeting perhaps, says nothing of the text.
      refusal_.clear();
      left_at_ = std::chrono::steady_clock::now();
    }
    const std::size_t length = std::min(room, message_.size() - at_);
    std::copy_n(message_.data() + at_, length, buffer);
    at_ += length;
    return length;
  }
  static std::size_t Hear(char* line, std::size_t size, std::size_t count, void* self) {
    auto& transfer = *static_cast<Transfer*>(self);
    transfer.reply_.assign(line, size * count);
    // The farewell that follows a refusal says nothing of it.
    if (transfer.reply_.starts_with('4') || transfer.reply_.starts_with('5')) transfer.refusal_ = transfer.reply_;
    return size * count;
  }
  static int Watch(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    auto& transfer = *static_cast<Transfer*>(self);
    if (!transfer.stopping_()) return 0;
    const bool wait = transfer.leaving_ && std::chrono::steady_clock::now() - transfer.left_at_ < transfer.last_words_;
    return wait ? 0 : 1;
  }

  CURL* const curl_;
  const std::function<bool()> stopping_;
  const std::chrono::seconds last_words_;
  std::array<char, CURL_ERROR_SIZE> error_{};
  std::string message_;
  std::size_t at_ = 0;
  std::function<bool()> leaves_;
  bool leaving_ = false, not_ours_ = false;
  std::chrono::steady_clock::time_point left_at_;
  std::string reply_, refusal_;
};

MailSender::MailSender(MailSettings settings, data::Database& database, wire::Log& log, const Clock& clock,
                       Rhythm rhythm)
    : settings_(std::move(settings)),
      database_(database),
      log_(log),
      clock_(clock),
      rhythm_(rhythm),
      outbox_(database, guard::NewToken()),
      thread_([this] { Run(); }) {}

MailSender::~MailSender() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_one();
  thread_.join();
}

bool MailSender::Stopping() {
  const std::lock_guard lock(mutex_);
  return stopping_;
}

void MailSender::Run() {
  std::unique_ptr<Transfer> transfer;
  while (!Stopping()) {
    bool sent = false;
    try {
      sent = SendNext(transfer);
    } catch (const std::exception& failure) {
      log_.Warning(std::string("mail: ") + failure.what());
    }
    if (sent) continue;
    // A connection that nothing goes over is the server's to close; it is not kept for later.
    transfer.reset();
    std::unique_lock lock(mutex_);
    wake_.wait_for(lock, rhythm_.look, [this] { return stopping_; });
  }
}

bool MailSender::SendNext(std::unique_ptr<Transfer>& transfer) {
  const std::int64_t now = guard::SecondsNow();
  if (now < away_until_) return false;
  outbox_.Recover(now - rhythm_.claim.count());
  if (outbox_.SentSince(now - 60) >= static_cast<std::int64_t>(settings_.per_minute)) return false;
  const std::optional<Outbox::Claim> claim = outbox_.Take(now);
  if (!claim) return false;
  if (!transfer) {
    transfer = std::make_unique<Transfer>(settings_, rhythm_, [this] { return Stopping(); });
  }
  return Send(*transfer, *claim);
}

bool MailSender::Send(Transfer& transfer, const Outbox::Claim& claim) {
  std::optional<Mail> mail;
  std::string why_not;
  {
    data::Connection db(database_);
    mail = ComposeMail(db, claim.kind, claim.participant, claim.site, clock_.Now(), why_not);
  }
  if (!mail) {
    outbox_.End(claim, MailState::kNeedless, why_not, guard::SecondsNow());
    return true;
  }
  using enum Transfer::Outcome;
  const Transfer::Outcome outcome =
      transfer.Send(SenderAddress(settings_.sender), mail->to,
                    MailMessage(*mail, settings_.sender, claim.message_name, std::time(nullptr)),
                    [&] { return outbox_.NoteLeaving(claim, guard::SecondsNow()); });
  const std::string told = Shortened(transfer.reply());
  if (outcome != kAway) failures_ = 0;
  switch (outcome) {
    case kTaken:
      outbox_.End(claim, MailState::kSent, told, guard::SecondsNow());
      return true;
    case kRefused:
      outbox_.End(claim, MailState::kFailed, told, guard::SecondsNow());
      return true;
    case kUnknown:
      log_.Warning("mail " + std::to_string(claim.key) + ": nobody knows whether it arrived");
      outbox_.End(claim, MailState::kDoubtful, told, guard::SecondsNow());
      // The connection goes: a late answer would be taken for that to the next mail.
      return false;
    case kNotOurs:
      return true;
    case kAway: {
      outbox_.PutBack(claim, told, guard::SecondsNow());
      if (Stopping()) return false;
      log_.Warning("mail: " + told);
      constexpr int kMostDoublings = 4;
      away_until_ = guard::SecondsNow() + (rhythm_.retry.count() << std::min(failures_++, kMostDoublings));
      return false;
    }
    case kNotNow:
      break;
  }
  // The server's words may hold a person's address; the outbox keeps them.
  log_.Warning("mail " + std::to_string(claim.key) + ": put off by the server");
  if (claim.attempts >= rhythm_.attempts) {
    outbox_.End(claim, MailState::kFailed, told, guard::SecondsNow());
    return true;
  }
  std::int64_t wait = rhythm_.retry.count();
  for (std::int64_t i = 1; i < claim.attempts; ++i) wait *= 4;
  outbox_.TryAgain(claim, told, guard::SecondsNow() + wait);
  return true;
}

}  // namespace surva::desk
