// Who passes, who must wait, and what ends a session.
#include "guard/gate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <ctime>
#include <latch>
#include <thread>

#include "guard/accounts.h"
#include "guard/rates.h"
#include "guard/token.h"
#include "tests/support/test_database.h"

namespace surva::guard {
namespace {

using Refusal = Admission::Refusal;
constexpr std::int64_t kNow = 1'800'000'000;
constexpr std::string_view kPassword = "three blue cranes";

class GateTest : public test::OnBothEngines {
 protected:
  static wire::HttpRequest Request(std::string cookie = {}, bool https = true) {
    wire::HttpRequest request;
    request.https = https;
    request.network = "\xC0\x00\x02\x07";
    if (!cookie.empty()) request.headers.emplace_back("Cookie", std::move(cookie));
    return request;
  }
  static std::string Cookie(const std::string& set) { return set.substr(0, set.find(';')); }
  SignInResult SignIn(Gate& gate, std::string_view name, std::string_view password, std::int64_t now = kNow,
                      const wire::HttpRequest& request = Request()) {
    const SignInResult result = gate.SignIn(connection_, request, name, password, now);
    connection_.Commit();
    return result;
  }

  // How many of eight tries that begin at the same moment are let through.
  template <class Try>
  int PassAtOnce(Try attempt) {
    constexpr int kTries = 8;
    std::latch start(kTries);
    std::atomic<int> passed = 0;
    test::AtOnce(kTries, [&](int number) {
      data::Connection connection(*database_);
      connection.Query({"select TryKey from WrongTry"});
      start.arrive_and_wait();
      passed += attempt(connection, number) ? 1 : 0;
    });
    return passed;
  }

  test::TestDatabase database_{GetParam()};
  data::Connection connection_{*database_};
};

TEST_P(GateTest, AsksEverybodyAsSoonAsThereIsAnAccount) {
  Gate trusting({.guarded_in_front = true});
  EXPECT_EQ(trusting.Admit(connection_, Request(), Roles::All(), kNow).refusal, Refusal::kNone);
  Accounts(connection_).Add("Anna", Role::kOwner, kPassword);
  connection_.Commit();
  EXPECT_EQ(trusting.Admit(connection_, Request(), Roles::All(), kNow + 1).refusal, Refusal::kSignIn);
  // A program that has just begun: nobody passes while another one asks whether there are accounts.
  Gate begun;
  EXPECT_EQ(PassAtOnce([&](data::Connection& connection, int) {
              return begun.Admit(connection, Request(), Roles::All(), kNow).refusal == Refusal::kNone;
            }),
            0);
}

TEST_P(GateTest, KeepsASessionAsLongAsToldAndNoLonger) {
  Accounts(connection_).Add("Anna", Role::kOwner, kPassword);
  Accounts(connection_).Add("Paul", Role::kPlanner, kPassword);
  Gate gate;
  const SignInResult result = SignIn(gate, "PAUL", kPassword);
  ASSERT_TRUE(result.person);
  EXPECT_EQ(result.person->name, "Paul");
  const std::string token = Cookie(result.cookies.front()).substr(19);
  EXPECT_EQ(result.cookies.front(), "__Host-surva_staff=" + token + "; Path=/; HttpOnly; SameSite=Strict; Secure");
  const wire::HttpRequest signed_in = Request(Cookie(result.cookies.front()));
  const auto admit = [&](const wire::HttpRequest& request, std::int64_t seconds, Roles roles = Roles::All()) {
    return gate.Admit(connection_, request, roles, kNow + seconds).refusal;
  };
  EXPECT_EQ(admit(signed_in, 0), Refusal::kNone);
  EXPECT_EQ(admit(signed_in, 0, {Role::kPlanner}), Refusal::kNone);
  EXPECT_EQ(admit(signed_in, 0, {Role::kAnalyst}), Refusal::kRole);
  EXPECT_EQ(admit(signed_in, 0, Roles::Owner()), Refusal::kRole);
  // A cookie of an unprotected connection is no cookie of a protected one.
  EXPECT_EQ(admit(Request(Cookie(result.cookies.front()).substr(7)), 0), Refusal::kSignIn);
  EXPECT_EQ(admit(Request("__Host-surva_staff=" + NewToken()), 0), Refusal::kSignIn);

  EXPECT_EQ(admit(signed_in, 3599), Refusal::kNone);
  EXPECT_EQ(admit(signed_in, 3601), Refusal::kSignIn) << "idle for an hour";
  // A node whose clock is behind sets nothing back.
  for (int hour = 12; hour >= 1; --hour) gate.NoteUse(connection_, token, kNow + hour * 3600 - 1);
  EXPECT_EQ(admit(signed_in, 12 * 3600 - 1), Refusal::kNone);
  EXPECT_EQ(admit(signed_in, 12 * 3600), Refusal::kSignIn) << "twelve hours";
  const auto kept = [&](std::int64_t seconds) {
    gate.Purge(connection_, kNow + seconds);
    return !connection_.Query({"select SessionKey from StaffSession"}).empty();
  };
  EXPECT_TRUE(kept(12 * 3600 - 1));
  EXPECT_FALSE(kept(12 * 3600));

  // A new sign-in takes the place of the session before it.
  const wire::HttpRequest before = Request(Cookie(SignIn(gate, "paul", kPassword).cookies.front()));
  EXPECT_EQ(admit(before, 0), Refusal::kNone);
  EXPECT_TRUE(SignIn(gate, "paul", kPassword, kNow, before).person);
  EXPECT_EQ(admit(before, 0), Refusal::kSignIn);

  // Whatever changes the account ends its sessions, on this gate and on another node's.
  Gate other;
  Accounts accounts(connection_);
  const auto ends = [&](const std::function<void(const wire::HttpRequest&)>& work, std::string_view password) {
    const wire::HttpRequest request = Request(Cookie(SignIn(gate, "paul", password).cookies.at(0)));
    EXPECT_EQ(other.Admit(connection_, request, Roles::All(), kNow).refusal, Refusal::kNone);
    work(request);
    connection_.Commit();
    EXPECT_EQ(other.Admit(connection_, request, Roles::All(), kNow).refusal, Refusal::kSignIn);
  };
  constexpr std::string_view kNew = "four white storks";
  ends([&](const auto& request) { gate.SignOut(connection_, request); }, kPassword);
  ends([&](const auto&) { accounts.SetPassword("paul", kNew); }, kPassword);
  ends([&](const auto&) { accounts.SetRole("paul", Role::kAnalyst); }, kNew);
  ends([&](const auto&) { accounts.Remove("paul"); }, kNew);
}

TEST_P(GateTest, SlowsGuessersDownButNoKnownBrowser) {
  Accounts(connection_).Add("Anna", Role::kOwner, kPassword);
  Gate gate;
  const SignInResult first = SignIn(gate, "anna", kPassword);
  const std::string browser = Cookie(first.cookies.back());
  for (int i = 0; i < 5; ++i) EXPECT_EQ(SignIn(gate, "anna", "wrong password").wait, 0);
  EXPECT_GT(SignIn(gate, "anna", kPassword).wait, 0) << "even the right one waits";
  EXPECT_GT(SignIn(gate, "nobody", "wrong password", kNow, Request(browser)).wait, 0) << "the address waits";
  EXPECT_TRUE(SignIn(gate, "anna", kPassword, kNow, Request(browser)).person) << "who signed in here before does not";
  EXPECT_TRUE(gate.IsPassword(connection_, "anna", kPassword, kNow)) << "nor who is signed in";
  for (int i = 0; i < 5; ++i) EXPECT_FALSE(gate.IsPassword(connection_, "ANNA", "wrong password", kNow));
  EXPECT_FALSE(gate.IsPassword(connection_, "anna", kPassword, kNow)) << "unless he guesses himself";
  EXPECT_TRUE(SignIn(gate, "anna", kPassword, kNow + 60).person);
  std::int64_t tried = 0;
  for (int second = 1000; second < 1000 + 3600; ++second) {
    if (kWrongPasswords.Ask(connection_, "account", kNow + second).wait > 0) continue;
    kWrongPasswords.Count(connection_, "account", kNow + second);
    ++tried;
  }
  EXPECT_LE(tried, 80) << "guesses in an hour";
  EXPECT_LE(kWrongPasswords.Ask(connection_, "account", kNow).wait, 60) << "the clock was set back";
  // Each try is forgotten in five minutes, one behind the other.
  for (int i = 0; i < 5; ++i) kWrongPasswords.Count(connection_, "other", kNow);
  for (const auto& [seconds, free] : {std::pair(299, 0), {300, 1}, {1199, 3}, {1200, 4}, {1499, 4}, {1500, 5}}) {
    EXPECT_EQ(kWrongPasswords.Ask(connection_, "other", kNow + seconds).free, free) << seconds;
  }
}

TEST_P(GateTest, WorksAsMuchForNamesThatNobodyHas) {
  Accounts accounts(connection_);
  accounts.Add("Anna", Role::kOwner, kPassword);
  const auto processor_time = [&](std::string_view name) {
    const std::clock_t begin = std::clock();
    EXPECT_FALSE(accounts.Verify(name, "wrong password"));
    return std::clock() - begin;
  };
  processor_time("anna");  // the first one takes more
  EXPECT_GT(processor_time("nobody"), processor_time("anna") / 4);
}

TEST_P(GateTest, NothingPassesBetweenAChangeOfAccountsAndWhatHangsOnIt) {
  Accounts accounts(connection_);
  for (const char* name : {"anna", "bert"}) accounts.Add(name, Role::kOwner, kPassword);
  accounts.Add("paul", Role::kPlanner, kPassword);
  connection_.Commit();
  const auto remove = [](data::Connection& connection, std::string_view name) {
    try {
      Accounts(connection).Remove(name);
      connection.Commit();
      return true;
    } catch (const AccountError&) {
      return false;
    }
  };
  // Whose account goes while his password is being looked at, which takes a while, has no session behind that.
  std::atomic<bool> signed_in = false;
  std::jthread remover([&] {
    data::Connection connection(*database_);
    while (connection.Query({"select TryKey from WrongTry"}).empty() && !signed_in) std::this_thread::yield();
    Accounts(connection).Remove("paul");
    // A sign-in that did not wait for the commit would see him still.
    for (int i = 0; i < 200 && !signed_in; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    connection.Commit();
  });
  Gate gate;
  SignIn(gate, "paul", kPassword);
  signed_in = true;
  remover.join();
  EXPECT_TRUE(connection_.Query({"select SessionKey from StaffSession"}).empty());
  // Two owners who remove each other.
  accounts.Add("paul", Role::kPlanner, kPassword);
  connection_.Commit();
  EXPECT_EQ(
      PassAtOnce([&](data::Connection& connection, int i) { return remove(connection, i % 2 == 0 ? "anna" : "bert"); }),
      1);
}

// Two nodes count together: each has a guard of its own on one database.
TEST_P(GateTest, GuessingPinsTakesAMinuteEach) {
  const PinGuard nodes[2] = {PinGuard(10), PinGuard(10)};
  int tries = 0;
  for (int attempt = 0; attempt < 20 * 3600; ++attempt) {
    const PinGuard& node = nodes[attempt % 2];
    if (node.Ask(connection_, "net", kNow + attempt / 20).wait > 0) continue;
    node.CountWrong(connection_, "net", kNow + attempt / 20);
    ++tries;
  }
  EXPECT_GE(tries, 10 + 55);
  EXPECT_LE(tries, 10 + 6 + 60);
  EXPECT_EQ(nodes[0].Ask(connection_, "another", kNow).wait, 0);
}

// Each node is a gate of its own, and asks before it counts.
TEST_P(GateTest, TriesAtOnceAreNotLetThroughByOneCount) {
  Accounts(connection_).Add("Anna", Role::kOwner, kPassword);
  connection_.Commit();
  Gate nodes[2];
  const auto sign_in = [&](data::Connection& connection, int i) {
    wire::HttpRequest request = Request();
    request.network = std::to_string(i);
    return nodes[i % 2].SignIn(connection, request, "anna", "wrong password", kNow).wait == 0;
  };
  EXPECT_EQ(PassAtOnce(sign_in), 5);
  EXPECT_EQ(nodes[0].figures().wrong_passwords + nodes[1].figures().wrong_passwords, 5U);

  const PinGuard pins;
  for (int i = 0; i < 20; ++i) pins.CountWrong(connection_, "net", kNow - 61);
  connection_.Commit();
  const auto pin = [&](data::Connection& connection, int) {
    if (pins.Ask(connection, "net", kNow).wait > 0) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // the page looks for the PIN
    pins.CountWrong(connection, "net", kNow);
    connection.Commit();
    return true;
  };
  EXPECT_EQ(PassAtOnce(pin), 1) << "a network that must wait a minute for each";
}

// All err twice before the first is right, and send at the same moment, again and again.
TEST_P(GateTest, AClassOfThirtyBehindOneAddressGetsIn) {
  const PinGuard guard(10);
  std::vector<int> errors(30, 2);
  std::int64_t now = kNow;
  int in = 0;
  for (; in < 30 && now < kNow + 600; ++now) {
    for (int student = 0; student < 30; ++student) {
      if (errors[student] < 0 || guard.Ask(connection_, "school", now).wait > 0) continue;
      if (errors[student]-- > 0) {
        guard.CountWrong(connection_, "school", now);
      } else {
        guard.CountRight(connection_, "school", std::to_string(student), now);
        ++in;
      }
    }
  }
  EXPECT_EQ(in, 30);
  EXPECT_LE(now - kNow, 120) << "seconds until the last one was in";
  // A PIN gives the free tries back once.
  for (int i = 0; i < 10; ++i) guard.CountWrong(connection_, "school", now);
  guard.CountRight(connection_, "school", "3", now);
  EXPECT_GT(guard.Ask(connection_, "school", now).wait, 0);
}

TEST(WriteBudget, BoundsWhatOneNetworkStoresInAnHour) {
  WriteBudget budget({});
  const auto start = std::chrono::steady_clock::now();
  int stored = 0;  // MiB
  for (int attempt = 0; attempt < 100 * 3600; ++attempt) {
    const auto now = start + std::chrono::seconds(attempt / 100);
    if (budget.Ask("a", now) > 0) continue;
    budget.Count("a", 1024 * 1024, now);
    ++stored;
  }
  EXPECT_LE(stored, 66);
  EXPECT_GT(budget.Ask("a", start + std::chrono::hours(1)), 0);
  // A class never meets it.
  for (int request = 0; request < 30 * 20; ++request) {
    EXPECT_EQ(budget.Ask("class", start), 0);
    budget.Count("class", 4000, start);
  }
}

SURVA_ON_BOTH_ENGINES(GateTest);

}  // namespace
}  // namespace surva::guard
