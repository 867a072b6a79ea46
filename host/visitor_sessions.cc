#include "host/visitor_sessions.h"

#include <sodium.h>

#include <array>
#include <optional>

namespace surva::host {
namespace {

using data::Bound;
using data::Number;

constexpr std::size_t kTokenBytes = 16;  // 128 random bits
// A use is noted in the database no more often than this.
constexpr std::int64_t kUseSeconds = 60;

std::string Hex(const unsigned char* bytes, std::size_t count) {
  std::string text(count * 2 + 1, '\0');
  sodium_bin2hex(text.data(), text.size(), bytes, count);
  text.pop_back();
  return text;
}

std::string NewToken() {
  std::array<unsigned char, kTokenBytes> bytes{};
  randombytes_buf(bytes.data(), bytes.size());
  return Hex(bytes.data(), bytes.size());
}

// The database keeps a digest: who reads it learns no visitor's cookie.
std::string KeyOf(std::string_view token) {
  std::array<unsigned char, crypto_generichash_BYTES> digest{};
  crypto_generichash(digest.data(), digest.size(), reinterpret_cast<const unsigned char*>(token.data()), token.size(),
                     nullptr, 0);
  return Hex(digest.data(), digest.size());
}

bool IsToken(std::string_view token) {
  return token.size() == kTokenBytes * 2 && token.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

std::int64_t SecondsNow() {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace

// One visitor. All but `session`, `stored`, `last_use` and `noted_use` belong to the mutex; those belong to whose turn
// it is.
struct Visit::Entry {
  std::string key;  // empty while the visitor has no session
  std::optional<Session> session;
  bool stored = false;         // the database has it
  std::int64_t last_use = 0;   // seconds of the system clock
  std::int64_t noted_use = 0;  // as the database has it

  bool running = false;
  std::deque<VisitorSessions::Job> waiting;
  std::list<Entry*>::iterator place;  // in recent_
  bool in_recent = false;
};

Visit::~Visit() {
  sessions_.End(entry_, new_token_, keep_);
}

Session& Visit::Open(data::Connection& connection) {
  Entry& entry = *entry_;
  const std::int64_t now = SecondsNow();
  const auto has_ended = [&](int timeout, std::int64_t last_use) {
    return now - last_use > std::int64_t{timeout > 0 ? timeout : sessions_.options_.idle_minutes} * 60;
  };
  if (!entry.session && !entry.key.empty()) {
    const data::Rows rows =
        connection.Query({"select Contents, LastUse from VisitorSession where SessionKey=", Bound(Field(entry.key))});
    if (!rows.empty()) {
      entry.session = Session::Restore(rows.First()["Contents"].Text());
      entry.stored = entry.session.has_value();
      entry.last_use = entry.noted_use = rows.First()["LastUse"].Integer();
    }
  }
  if (entry.session && has_ended(entry.session->timeout(), entry.last_use)) entry.session.reset();
  if (!entry.session) {
    entry.session.emplace();
    entry.stored = false;
  }
  entry.last_use = now;
  return *entry.session;
}

void Visit::Save(data::Connection& connection) {
  Entry& entry = *entry_;
  Session& session = *entry.session;
  if (!entry.stored) {
    if (session.IsBlank()) return;
    // A token that a visitor brought along and we do not know is never taken over.
    new_token_ = NewToken();
  } else if (!session.changed() && entry.last_use - entry.noted_use < kUseSeconds) {
    return;
  }
  const std::string key = new_token_.empty() ? entry.key : KeyOf(new_token_);
  const std::string contents = session.Store();
  // What is nothing but a session may be lost with the machine.
  if (!connection.HasWritten()) connection.SetDurability(data::Durability::kMemory);
  const int timeout = session.timeout() > 0 ? session.timeout() : sessions_.options_.idle_minutes;
  connection.Execute({"insert into VisitorSession (SessionKey, Contents, LastUse, TimeoutMinutes) values (",
                      Bound(Field(key)), ", ", Bound(Field(contents)), ", ", Number(entry.last_use), ", ",
                      Number(timeout),
                      ") on conflict (SessionKey) do update set Contents=excluded.Contents, LastUse=excluded.LastUse, "
                      "TimeoutMinutes=excluded.TimeoutMinutes"});
  session.MarkSaved();
  entry.noted_use = entry.last_use;
}

std::function<void()> VisitorSessions::Turn(std::shared_ptr<Entry> entry, Job job) {
  return [this, entry = std::move(entry), job = std::move(job)] {
    // Made here: a turn that was never taken has nothing to end.
    job(std::shared_ptr<Visit>(new Visit(*this, entry)));
  };
}

bool VisitorSessions::Run(std::string_view token, Job job) {
  if (!IsToken(token)) return workers_.TryPost(Turn(std::make_shared<Entry>(), std::move(job)));
  const std::string key = KeyOf(token);
  const std::lock_guard lock(mutex_);
  std::shared_ptr<Entry>& entry = entries_[key];
  const bool is_new = !entry;
  if (is_new) {
    entry = std::make_shared<Entry>();
    entry->key = key;
  }
  if (entry->running) {
    if (entry->waiting.size() >= options_.most_waiting) return false;
    entry->waiting.push_back(std::move(job));
    return true;
  }
  if (!workers_.TryPost(Turn(entry, std::move(job)))) {
    if (is_new) entries_.erase(key);
    return false;
  }
  entry->running = true;
  if (entry->in_recent) recent_.erase(entry->place);
  entry->in_recent = false;
  return true;
}

void VisitorSessions::End(const std::shared_ptr<Entry>& entry, const std::string& new_token, bool keep) {
  const std::lock_guard lock(mutex_);
  if (keep && !new_token.empty()) {
    // The session goes by its new key from now on, whatever the visitor had called it.
    auto own = std::make_shared<Entry>();
    own->key = KeyOf(new_token);
    own->session = std::move(entry->session);
    own->stored = true;
    own->last_use = entry->last_use;
    own->noted_use = entry->noted_use;
    entries_[own->key] = own;
    Rest(own);
  }
  if (!keep || !entry->stored) entry->session.reset();
  if (entry->key.empty()) return;
  if (!entry->waiting.empty()) {
    workers_.PostFollowing(Turn(entry, std::move(entry->waiting.front())));
    entry->waiting.pop_front();
    return;
  }
  entry->running = false;
  if (entry->session) {
    Rest(entry);
  } else {
    entries_.erase(std::string(entry->key));
  }
}

// Keeps an idle session in memory, for as long as there is room.
void VisitorSessions::Rest(const std::shared_ptr<Entry>& entry) {
  recent_.push_front(entry.get());
  entry->place = recent_.begin();
  entry->in_recent = true;
  if (recent_.size() <= options_.most_cached) return;
  const std::string oldest = recent_.back()->key;
  recent_.pop_back();
  entries_.erase(oldest);
}

void VisitorSessions::Purge(data::Connection& connection) const {
  connection.SetDurability(data::Durability::kMemory);
  connection.Execute({"delete from VisitorSession where LastUse + TimeoutMinutes * 60 + ", Number(kUseSeconds), " < ",
                      Number(SecondsNow())});
  connection.Commit();
}

std::size_t VisitorSessions::cached() const {
  const std::lock_guard lock(mutex_);
  return recent_.size();
}

}  // namespace surva::host
