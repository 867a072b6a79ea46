#include "host/visitor_sessions.h"

#include <algorithm>
#include <utility>

#include "frame/data/clearing.h"
#include "frame/data/schema.h"
#include "guard/gate.h"
#include "guard/token.h"

namespace surva::host {
namespace {

using data::Bound;
using data::Number;

// A use is noted in the database no more often than this.
constexpr std::int64_t kUseSeconds = 60;

}  // namespace

std::string SessionKey(std::string_view token) {
  return guard::IsToken(token) ? guard::DigestOf(token) : std::string();
}

Visit::Visit(std::string key, SessionRules rules, data::Connection& connection)
    : key_(std::move(key)), rules_(rules), last_use_(guard::SecondsNow()) {
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
  last_use_ = std::max(last_use_, noted);
}

bool Visit::Stands(data::Connection& connection) const {
  if (!stored_ || connection.dialect() != data::Dialect::kSqlite) return true;
  return !connection.Query({"select SessionKey from VisitorSession where SessionKey=", Bound(Field(key_))}).empty();
}

void Visit::Save(data::Connection& connection) {
  if (stored_ ? !session_.changed() : session_.IsBlank()) return;
  const std::string known_as = key_;
  if (!stored_ || renews_) {
    // A token that a visitor brought along and we do not know is never taken over.
    new_token_ = guard::NewToken();
    key_ = SessionKey(new_token_);
  }
  const std::string contents = session_.Store();
  if (contents.size() > kLongestSession) throw SessionTooLong();
  const int timeout = session_.timeout() > 0 ? session_.timeout() : rules_.idle_minutes;
  if (stored_) {
    // What an index holds is written only where it changes: the engines would not look.
    if (renews_ || use_is_due_) {
      connection.ExecuteAtCommit({"update VisitorSession set SessionKey=", Bound(Field(key_)),
                                  ", Contents=", Bound(Field(contents)), ", LastUse=", Number(last_use_),
                                  ", TimeoutMinutes=", Number(timeout), " where SessionKey=", Bound(Field(known_as))});
    } else {
      connection.ExecuteAtCommit({"update VisitorSession set Contents=", Bound(Field(contents)),
                                  ", TimeoutMinutes=", Number(timeout), " where SessionKey=", Bound(Field(known_as))});
    }
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
  const std::int64_t now = guard::SecondsNow();
  // Another node's clock may be ahead of this one's.
  connection.Execute({"update VisitorSession set LastUse=", Number(now), " where SessionKey=", Bound(Field(key)),
                      " and LastUse<", Number(now)});
  connection.Commit();
}

bool PurgeSessions(data::Connection& connection) {
  connection.SetDurability(data::Durability::kMemory);
  const bool more = data::DeletePortion(
      connection, data::tables::kVisitorSession,
      {"LastUse + TimeoutMinutes * 60 + ", Number(kUseSeconds), " < ", Number(guard::SecondsNow())});
  connection.Commit();
  return more;
}

}  // namespace surva::host
