// Gate: who may pass to the staff pages. Where there are accounts, whoever is signed in and has the page's role. Where
// there are none, whoever comes straight from this machine; or anybody, if something in front guards the pages.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frame/data/connection.h"
#include "guard/figures.h"
#include "guard/role.h"
#include "guard/slowdown.h"
#include "guard/staff_sessions.h"
#include "wire/http_message.h"

namespace surva::guard {

// Wrong passwords of one account, of one network, of one browser from which somebody has signed in before.
constexpr Slowdown kWrongPasswords({.free = 5, .longest_wait = 60, .forgotten_in = 300});

struct Admission {
  enum class Refusal : std::uint8_t {
    kNone,
    kSignIn,   // he must say who he is
    kRole,     // he may not open this page
    kProxied,  // a proxy passed on a stranger's request to pages that nobody guards
  };

  Refusal refusal = Refusal::kNone;
  Person person;      // who asks, if he is let in or lacks the role
  std::string token;  // of his session, if its use should be noted
};

// What a sign-in came to: the person and header fields that set his cookies, or the seconds that he must wait, or
// neither.
struct SignInResult {
  std::optional<Person> person;
  std::vector<std::string> cookies;
  std::int64_t wait = 0;
};

class Gate {
 public:
  struct Options {
    StaffSessions::Rule sessions = {};
    bool guarded_in_front = false;  // without accounts, let everybody in
  };

  Gate() = default;
  explicit Gate(Options options) : options_(options) {}

  // `now` is SecondsNow(), here and below.
  Admission Admit(data::Connection& connection, const wire::HttpRequest& request, Roles roles, std::int64_t now);
  // Notes that a session is used; to be called now and then, when the page has done its work.
  void NoteUse(data::Connection& connection, std::string_view token, std::int64_t now) const;
  // Whether anybody has to sign in.
  bool IsGuarded(data::Connection& connection, std::int64_t now);

  // Takes a tenth of a second of processor time: for the passwords' own lane. The try is counted, and committed, before
  // the password is looked at: any number of tries at once, on any number of nodes, are not let through by one count.
  SignInResult SignIn(data::Connection& connection, const wire::HttpRequest& request, std::string_view name,
                      std::string_view password, std::int64_t now);
  // Whether that is the password of an account that is signed in; wrong tries slow it down as those of a sign-in do,
  // but are counted apart from them.
  bool IsPassword(data::Connection& connection, std::string_view name, std::string_view password, std::int64_t now);
  // Begins a session for somebody whose password was verified.
  std::vector<std::string> Begin(data::Connection& connection, const wire::HttpRequest& request, std::string_view name,
                                 std::int64_t now) const;
  // Ends the request's session and gives the header field that takes its cookie away.
  std::string SignOut(data::Connection& connection, const wire::HttpRequest& request) const;

  // Deletes the sessions that have ended and a portion of what else is over. Whether there may be more.
  bool Purge(data::Connection& connection, std::int64_t now) const;

  Figures& figures() { return figures_; }
  const Figures& figures() const { return figures_; }

 private:
  // Seconds to wait, or nothing: then the try stands as a wrong one of all keys.
  static std::int64_t TakeTry(data::Connection& connection, const std::vector<std::string>& keys, std::int64_t now);

  const Options options_ = {};
  std::atomic<bool> guarded_ = false;  // once there was an account, for as long as the program runs
  std::atomic<std::int64_t> looked_ = 0;
  Figures figures_;
};

// The seconds that the machine's clock would show if nobody had set it since the program began: what ends after a while
// goes by these.
std::int64_t SecondsNow();

}  // namespace surva::guard
