#include "guard/gate.h"

#include <algorithm>
#include <ctime>

#include "frame/values/text.h"
#include "guard/accounts.h"
#include "guard/token.h"

namespace surva::guard {
namespace {

constexpr std::string_view kSession = "surva_staff";
constexpr std::string_view kBrowser = "surva_browser";
constexpr std::string_view kForBrowsersLife = "; Max-Age=34560000";

// The prefix makes browsers refuse a cookie that a neighbour host or an unprotected connection set.
std::string CookieName(std::string_view name, bool https) {
  return std::string(https ? "__Host-" : "").append(name);
}

std::string_view TokenOf(const wire::HttpRequest& request, std::string_view name) {
  return CookieOf(request.Header("Cookie"), CookieName(name, request.https));
}

std::string SetCookie(const wire::HttpRequest& request, std::string_view name, std::string_view token,
                      std::string_view life) {
  return CookieName(name, request.https)
      .append("=")
      .append(token)
      .append("; Path=/; HttpOnly; SameSite=Strict")
      .append(request.https ? "; Secure" : "")
      .append(life);
}

std::string AccountKey(std::string_view name) {
  return "password/account/" + DigestOf(LowerName(name));
}

std::int64_t SecondsOf(clockid_t clock) {
  std::timespec time{};
  clock_gettime(clock, &time);
  return time.tv_sec;
}

// Of the machine, by the clock as it was when the program began.
const std::int64_t kStart = SecondsOf(CLOCK_REALTIME) - SecondsOf(CLOCK_BOOTTIME);

}  // namespace

std::int64_t SecondsNow() {
  return kStart + SecondsOf(CLOCK_BOOTTIME);
}

bool Gate::IsGuarded(data::Connection& connection, std::int64_t now) {
  if (guarded_) return true;
  // Accounts may be added while the program runs. That somebody has looked counts once he knows: who asks meanwhile, or
  // when the database did not tell, looks himself.
  if (looked_ != now) {
    if (Accounts(connection).Any()) guarded_ = true;
    looked_ = now;
  }
  return guarded_;
}

Admission Gate::Admit(data::Connection& connection, const wire::HttpRequest& request, Roles roles, std::int64_t now) {
  if (!IsGuarded(connection, now)) {
    if (request.forwarded && !options_.guarded_in_front) return {Admission::Refusal::kProxied, {}, {}};
    return {};
  }
  const std::string_view token = TokenOf(request, kSession);
  std::optional<StaffSessions::Found> found = StaffSessions(connection, options_.sessions).Find(token, now);
  if (!found) return {Admission::Refusal::kSignIn, {}, {}};
  Admission admission{Admission::Refusal::kNone, std::move(found->person), {}};
  if (!roles.Contains(admission.person.role)) admission.refusal = Admission::Refusal::kRole;
  if (found->note_due) admission.token = token;
  return admission;
}

void Gate::NoteUse(data::Connection& connection, std::string_view token, std::int64_t now) const {
  StaffSessions(connection, options_.sessions).NoteUse(token, now);
}

std::int64_t Gate::TakeTry(data::Connection& connection, const std::vector<std::string>& keys, std::int64_t now) {
  std::int64_t wait = 0;
  // An account's before a network's, always: nobody waits in a circle.
  for (const std::string& key : keys) connection.Lock(key);
  for (const std::string& key : keys) wait = std::max(wait, kWrongPasswords.Ask(connection, key, now).wait);
  if (wait > 0) return wait;
  for (const std::string& key : keys) kWrongPasswords.Count(connection, key, now);
  // Nobody may make the disk work by guessing.
  connection.SetDurability(data::Durability::kMemory);
  connection.Commit();
  connection.SetDurability(data::Durability::kDisk);
  return 0;
}

SignInResult Gate::SignIn(data::Connection& connection, const wire::HttpRequest& request, std::string_view name,
                          std::string_view password, std::int64_t now) {
  const StaffSessions sessions(connection, options_.sessions);
  const std::string_view browser = TokenOf(request, kBrowser);
  const bool known = sessions.IsBrowserOf(browser, name);
  // A browser that has proved good before stands alone: strangers' guesses at its account do not slow it down.
  std::vector<std::string> keys;
  if (known) {
    keys.push_back("password/browser/" + DigestOf(browser));
  } else {
    keys.push_back(AccountKey(name));
    if (!request.from_this_machine) keys.push_back("password/network/" + DigestOf(request.network));
  }
  SignInResult result;
  result.wait = TakeTry(connection, keys, now);
  if (result.wait > 0) {
    figures_.Refused(Rule::kSignInWait);
    return result;
  }
  result.person = Accounts(connection).Verify(name, password);
  if (!result.person) {
    ++figures_.wrong_passwords;
    return result;
  }
  Slowdown::Forget(connection, keys.front());
  for (std::size_t i = 1; i < keys.size(); ++i) kWrongPasswords.Uncount(connection, keys[i]);
  result.cookies = Begin(connection, request, name, now);
  if (!known) {
    const std::string token = StaffSessions(connection, options_.sessions).BeginBrowser(name, now);
    result.cookies.push_back(SetCookie(request, kBrowser, token, kForBrowsersLife));
  }
  return result;
}

bool Gate::IsPassword(data::Connection& connection, std::string_view name, std::string_view password,
                      std::int64_t now) {
  // Apart from the tries of strangers, who could keep him from changing a password that they guess at.
  const std::string key = "password/own/" + DigestOf(LowerName(name));
  if (TakeTry(connection, {key}, now) > 0) {
    figures_.Refused(Rule::kSignInWait);
    return false;
  }
  if (!Accounts(connection).Verify(name, password)) {
    ++figures_.wrong_passwords;
    return false;
  }
  kWrongPasswords.Uncount(connection, key);
  return true;
}

std::vector<std::string> Gate::Begin(data::Connection& connection, const wire::HttpRequest& request,
                                     std::string_view name, std::int64_t now) const {
  StaffSessions sessions(connection, options_.sessions);
  // The one that he may have brought along ends: a new session never goes by an old token.
  if (const std::string_view old = TokenOf(request, kSession); IsToken(old)) sessions.End(old);
  return {SetCookie(request, kSession, sessions.Begin(name, now), "")};
}

std::string Gate::SignOut(data::Connection& connection, const wire::HttpRequest& request) const {
  if (const std::string_view token = TokenOf(request, kSession); IsToken(token)) {
    StaffSessions(connection, options_.sessions).End(token);
  }
  return SetCookie(request, kSession, "", "; Max-Age=0");
}

bool Gate::Purge(data::Connection& connection, std::int64_t now) const {
  StaffSessions(connection, options_.sessions).Purge(now);
  return Slowdown::Purge(connection, now);
}

}  // namespace surva::guard
