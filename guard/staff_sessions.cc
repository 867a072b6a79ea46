#include "guard/staff_sessions.h"

#include "frame/values/text.h"
#include "guard/token.h"

namespace surva::guard {
namespace {

using data::Bound;
using data::Number;

// A use is noted no more often than this.
constexpr std::int64_t kNoteEvery = 60;
constexpr std::int64_t kBrowserSeconds = std::int64_t{400} * 24 * 60 * 60;

Field View(const std::string& text) {
  return Field(std::string_view(text));
}

}  // namespace

std::string StaffSessions::Begin(std::string_view name, std::int64_t now) {
  std::string token = NewToken();
  const std::string key = DigestOf(token);
  const std::string account = LowerName(name);
  connection_.Execute({"insert into StaffSession (SessionKey, AccountKey, Begun, LastUse) values (", Bound(View(key)),
                       ", ", Bound(View(account)), ", ", Number(now), ", ", Number(now), ")"});
  return token;
}

std::optional<StaffSessions::Found> StaffSessions::Find(std::string_view token, std::int64_t now) const {
  if (!IsToken(token)) return {};
  const std::string key = DigestOf(token);
  const data::Rows rows = connection_.Query({"select Name, Role, LastUse from StaffSession, StaffAccount "
                                             "where StaffSession.AccountKey=StaffAccount.AccountKey and SessionKey=",
                                             Bound(View(key)), " and Begun > ", Number(now - rule_.longest),
                                             " and LastUse > ", Number(now - rule_.idle)});
  if (rows.empty()) return {};
  const data::Row row = rows.First();
  return Found{{row["Name"].Text(), ReadRole(row["Role"].Text()).value_or(Role::kAnalyst)},
               now - row["LastUse"].Integer() >= kNoteEvery};
}

void StaffSessions::NoteUse(std::string_view token, std::int64_t now) {
  const std::string key = DigestOf(token);
  // Another node's clock may be ahead of this one's.
  connection_.Execute({"update StaffSession set LastUse=", Number(now), " where SessionKey=", Bound(View(key)),
                       " and LastUse<", Number(now)});
}

void StaffSessions::End(std::string_view token) {
  const std::string key = DigestOf(token);
  connection_.Execute({"delete from StaffSession where SessionKey=", Bound(View(key))});
}

void StaffSessions::Purge(std::int64_t now) {
  connection_.Execute({"delete from StaffSession where Begun <= ", Number(now - rule_.longest),
                       " or LastUse <= ", Number(now - rule_.idle)});
  connection_.Execute({"delete from StaffBrowser where LastUse <= ", Number(now - kBrowserSeconds)});
}

std::string StaffSessions::BeginBrowser(std::string_view name, std::int64_t now) {
  std::string token = NewToken();
  const std::string key = DigestOf(token);
  const std::string account = LowerName(name);
  connection_.Execute({"insert into StaffBrowser (BrowserKey, AccountKey, LastUse) values (", Bound(View(key)), ", ",
                       Bound(View(account)), ", ", Number(now), ")"});
  return token;
}

bool StaffSessions::IsBrowserOf(std::string_view token, std::string_view name) const {
  if (!IsToken(token)) return false;
  const std::string key = DigestOf(token);
  const std::string account = LowerName(name);
  return !connection_
              .Query({"select BrowserKey from StaffBrowser where BrowserKey=", Bound(View(key)),
                      " and AccountKey=", Bound(View(account))})
              .empty();
}

}  // namespace surva::guard
