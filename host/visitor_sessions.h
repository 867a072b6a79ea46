// VisitorSessions: the sessions of all visitors. They are kept in the database alone, read anew for each request and
// saved with the request's own commit: whatever node serves a visitor knows his newest session, and a restart loses
// none. That one visitor's requests do not meet is seen to by the worker pool and, among nodes, by a lock on his key.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "frame/data/connection.h"
#include "frame/session.h"

namespace surva::host {

// What a visitor's session goes by in the database; empty if his cookie holds no token. The database keeps a digest:
// who reads it learns no visitor's cookie.
std::string SessionKey(std::string_view token);

struct SessionRules {
  int idle_minutes = 1440;  // of a session whose pages set no timeout
};

inline constexpr std::size_t kLongestSession = 64 * 1024;  // bytes of its stored form
struct SessionTooLong {};

// A visitor's session, held for one request.
class Visit {
 public:
  // Reads the session; a visitor without one, or with one that has ended, gets an empty one.
  Visit(std::string key, SessionRules rules, data::Connection& connection);

  Session& session() { return session_; }
  // Lets Save give what has changed a new token: whoever knew the one from before the logon knows nothing of what is
  // behind it.
  void Renew() { renews_ = true; }
  // Whether nobody has ended the stored visit since it was read. On SQLite to be asked behind the request's first
  // write; on PostgreSQL whoever ends a visit holds its key.
  bool Stands(data::Connection& connection) const;
  // Writes the session if there is anything new to say, through the request's connection, whose commit then takes it
  // along. A new session that holds nothing leaves nothing. Throws SessionTooLong if it says too much.
  void Save(data::Connection& connection);

  // The token of a session that Save has just begun, for the visitor's cookie; empty otherwise.
  const std::string& new_token() const { return new_token_; }
  // Whether all that is new about the session is that it was used, and nobody has written that down for a while: to be
  // told by NoteUse, when there is time.
  bool use_is_due() const { return use_is_due_; }

 private:
  std::string key_;
  const SessionRules rules_;
  Session session_;
  bool stored_ = false;  // the database has it
  std::int64_t last_use_ = 0;
  bool use_is_due_ = false;
  bool renews_ = false;
  std::string new_token_;
};

// Writes down that a session was used just now, and commits.
void NoteUse(const std::string& key, data::Connection& connection);
// Deletes a portion of the sessions that have ended, and commits. Whether there may be more.
bool PurgeSessions(data::Connection& connection);

}  // namespace surva::host
