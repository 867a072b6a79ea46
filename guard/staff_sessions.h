// StaffSessions: who of the staff is signed in, by the digest of his cookie. They stand in the database alone, so that
// what one node ends has ended on all.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "frame/data/connection.h"
#include "guard/role.h"

namespace surva::guard {

class StaffSessions {
 public:
  struct Rule {
    std::int64_t longest = std::int64_t{12} * 60 * 60;  // seconds, from the sign-in
    std::int64_t idle = std::int64_t{60} * 60;
  };
  struct Found {
    Person person;
    bool note_due = false;  // its last use should be noted again
  };

  StaffSessions(data::Connection& connection, Rule rule) : connection_(connection), rule_(rule) {}

  // Begins a session and gives its token.
  std::string Begin(std::string_view name, std::int64_t now);
  // Whose session that is, unless it has ended.
  std::optional<Found> Find(std::string_view token, std::int64_t now) const;
  void NoteUse(std::string_view token, std::int64_t now);
  void End(std::string_view token);
  void Purge(std::int64_t now);

  // Browsers from which an account has signed in before: others' guesses do not slow them down.
  std::string BeginBrowser(std::string_view name, std::int64_t now);
  bool IsBrowserOf(std::string_view token, std::string_view name) const;

 private:
  data::Connection& connection_;
  Rule rule_;
};

}  // namespace surva::guard
