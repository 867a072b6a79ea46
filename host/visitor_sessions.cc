#include "host/visitor_sessions.h"

#include <sodium.h>

#include <array>
#include <chrono>
#include <utility>

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

bool IsToken(std::string_view token) {
  return token.size() == kTokenBytes * 2 && token.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

std::int64_t SecondsNow() {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace

std::string SessionKey(std::string_view token) {
  if (!IsToken(token)) return {};
  std::array<unsigned char, crypto_generichash_BYTES> digest{};
  crypto_generichash(digest.data(), digest.size(), reinterpret_cast<const unsigned char*>(token.data()), token.size(),
                     nullptr, 0);
  return Hex(digest.data(), digest.size());
}

Visit::Visit(std::string key, SessionRules rules, data::Connection& connection)
    : key_(std::move(key)), rules_(rules), last_use_(SecondsNow()) {
  if (key_.empty()) return;
  connection.Hold(key_);
  const data::Rows rows =
      connection.Query({"select Contents, LastUse from VisitorSession where SessionKey=", Bound(Field(key_))});
  if (rows.empty()) return;
  std::optional<Session> session = Session::Restore(rows.First()["Contents"].Text());
  if (!session) return;
  const std::int64_t noted = rows.First()["LastUse"].Integer();
  const int timeout = session->timeout() > 0 ? session->timeout() : rules_.idle_minutes;
  if (last_use_ - noted > std::int64_t{timeout} * 60 + kUseSeconds) return;
  session_ = std::move(*session);
  stored_ = true;
  use_is_due_ = last_use_ - noted >= kUseSeconds;
}

void Visit::Save(data::Connection& connection) {
  if (stored_ ? !session_.changed() : session_.IsBlank()) return;
  const std::string known_as = key_;
  if (!stored_ || renews_) {
    // A token that a visitor brought along and we do not know is never taken over.
    new_token_ = NewToken();
    key_ = SessionKey(new_token_);
  }
  const std::string contents = session_.Store();
  const int timeout = session_.timeout() > 0 ? session_.timeout() : rules_.idle_minutes;
  if (stored_) {
    connection.ExecuteAtCommit({"update VisitorSession set SessionKey=", Bound(Field(key_)),
                                ", Contents=", Bound(Field(contents)), ", LastUse=", Number(last_use_),
                                ", TimeoutMinutes=", Number(timeout), " where SessionKey=", Bound(Field(known_as))});
  } else {
    // Nobody has been told of a session that begins: if it is lost with the machine, the visitor has none. A session
    // that came back as it was before would show one visitor what belongs to another.
    if (!connection.HasWritten()) connection.SetDurability(data::Durability::kMemory);
    connection.ExecuteAtCommit({"insert into VisitorSession (SessionKey, Contents, LastUse, TimeoutMinutes) values (",
                                Bound(Field(key_)), ", ", Bound(Field(contents)), ", ", Number(last_use_), ", ",
                                Number(timeout), ")"});
  }
  use_is_due_ = false;
}

void NoteUse(const std::string& key, data::Connection& connection) {
  connection.SetDurability(data::Durability::kMemory);
  connection.Execute(
      {"update VisitorSession set LastUse=", Number(SecondsNow()), " where SessionKey=", Bound(Field(key))});
  connection.Commit();
}

void PurgeSessions(data::Connection& connection) {
  connection.SetDurability(data::Durability::kMemory);
  connection.Execute({"delete from VisitorSession where LastUse + TimeoutMinutes * 60 + ", Number(kUseSeconds), " < ",
                      Number(SecondsNow())});
  connection.Commit();
}

}  // namespace surva::host
