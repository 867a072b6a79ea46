// The guard in front of the pages: through the whole site, on both engines, with two nodes where they must agree.
#include <gtest/gtest.h>
#include <algorithm>

#include "guard/accounts.h"
#include "host/visitor_sessions.h"
#include "tests/host/node.h"
#include "tests/support/seed.h"
#include "tests/support/test_database.h"

namespace surva::host {
namespace {

using wire::HttpRequest;
using wire::HttpResponse;

constexpr std::string_view kPassword = "three blue cranes";

HttpRequest Get(const std::string& path, const std::string& query = "") {
  HttpRequest request;
  request.path = path;
  request.query = query;
  request.host = "surva.example";
  request.network = "stranger";
  return request;
}
HttpRequest Post(const std::string& path, const std::string& form) {
  HttpRequest request = Get(path);
  request.method = HttpRequest::Method::kPost;
  request.headers = {{"Content-Type", "application/x-www-form-urlencoded"}};
  request.body = form;
  return request;
}
HttpRequest With(HttpRequest request, const wire::HeaderFields& more) {
  request.headers.insert(request.headers.end(), more.begin(), more.end());
  return request;
}
std::future<HttpResponse> Send(PageService& service, HttpRequest request) {
  auto answer = std::make_shared<std::promise<HttpResponse>>();
  std::future<HttpResponse> coming = answer->get_future();
  service.Handle(std::move(request), [answer](HttpResponse response) { answer->set_value(std::move(response)); });
  return coming;
}
std::future<HttpResponse> Send(test::Node& node, HttpRequest request) {
  return Send(node.service, std::move(request));
}
HttpResponse Ask(test::Node& node, HttpRequest request) {
  return Send(node, std::move(request)).get();
}
std::string Cookies(const HttpResponse& response) {
  std::string cookies;
  for (const auto& [name, value] : response.headers) {
    if (name == "Set-Cookie") cookies += (cookies.empty() ? "" : "; ") + value.substr(0, value.find(';'));
  }
  return cookies;
}

class GuardedSite : public test::OnBothEngines {
 protected:
  void AddStaff() {
    data::Connection connection(*database_);
    guard::Accounts accounts(connection);
    accounts.Add("anna", guard::Role::kOwner, kPassword);
    accounts.Add("dora", guard::Role::kDesigner, kPassword);
    connection.Commit();
  }
  std::string SignIn(test::Node& node, const std::string& name) {
    return Cookies(Ask(node, Post("/admin/sign-in", "name=" + name + "&password=three+blue+cranes")));
  }
  std::int64_t Count(std::initializer_list<data::Piece> statement) {
    data::Connection connection(*database_);
    return connection.Query(statement).First()[0].Integer();
  }

  test::TestDatabase database_{GetParam()};
  test::Node node_{database_.dsn()};
  test::Node other_{database_.dsn()};
};

TEST_P(GuardedSite, OpensNoStaffPageWithoutASignIn) {
  AddStaff();
  for (const Route& route : Routes()) {
    if (route.roles.empty()) continue;
    const std::string path(route.path);
    const HttpResponse answer = Ask(node_, Get(path));
    EXPECT_EQ(answer.status, 303U) << path;
    EXPECT_EQ(test::HeaderOf(answer, "Location").substr(0, 18), "/admin/sign-in?to=") << path;
    EXPECT_EQ(Ask(node_, Post(path, "Update=1")).status, 303U) << path;
  }
  EXPECT_EQ(Ask(node_, Get("/admin/help.asp")).status, 303U);
  EXPECT_EQ(Ask(node_, Get("/admin/nothing")).status, 303U);
  for (const char* open : {"/surva.asp", "/admin/css/layout.css", "/admin/Java/Surva.js", "/admin/images/help.gif",
                           "/admin/sign-in", "/css/desk.css"}) {
    EXPECT_EQ(Ask(node_, Get(open)).status, 200U) << open;
  }

  const std::string owner = SignIn(node_, "anna");
  const std::string designer = SignIn(other_, "dora");
  for (const Route& route : Routes()) {
    const std::string path(route.path);
    if (!path.starts_with("/admin/") || path == "/admin/sign-in") continue;
    const unsigned to_owner = Ask(other_, With(Get(path), {{"Cookie", owner}})).status;
    EXPECT_TRUE(to_owner != 303 && to_owner != 403) << path;
    const unsigned status = Ask(node_, With(Get(path), {{"Cookie", designer}})).status;
    const bool may = route.roles.empty() || route.roles.Contains(guard::Role::kDesigner);
    EXPECT_EQ(status == 403, !may) << path;
  }
  // What one node ends has ended on the other.
  Ask(node_, With(Post("/admin/sign-out", "x=1"), {{"Cookie", owner}}));
  EXPECT_EQ(Ask(other_, With(Get("/admin/default.asp"), {{"Cookie", owner}})).status, 303U);
}

TEST_P(GuardedSite, SaysTheSameOfEveryFailedSignIn) {
  AddStaff();
  const HttpResponse wrong = Ask(node_, Post("/admin/sign-in", "name=x&password=wrong+password"));
  const HttpResponse unknown = Ask(node_, Post("/admin/sign-in", "name=x&password=" + std::string(5000, 'a')));
  EXPECT_EQ(wrong.status, 403U);
  EXPECT_EQ(wrong.body, unknown.body);
  for (int i = 0; i < 4; ++i) Ask(other_, Post("/admin/sign-in", "name=x&password=wrong+password"));
  // A slow machine must not let the wait be over before it is asked for.
  test::Write(*database_, {"update WrongTry set PaidOff=PaidOff+10000"});
  const HttpResponse slowed = Ask(node_, Post("/admin/sign-in", "name=x&password=wrong+password"));
  EXPECT_EQ(slowed.status, 429U) << "both nodes count together";
  EXPECT_EQ(slowed.body, wrong.body);
  EXPECT_NE(test::HeaderOf(slowed, "Retry-After"), "");
  // Where somebody wanted to go.
  HttpRequest request = Post("/admin/sign-in", "name=anna&password=three+blue+cranes&to=%2F%2Fevil.example%2Fadmin%2F");
  request.network = "elsewhere";
  EXPECT_EQ(test::HeaderOf(Ask(node_, request), "Location"), "/admin/default.asp");
}

TEST_P(GuardedSite, LetsNoForeignPageAct) {
  data::Connection setup(*database_);
  setup.AddNew(data::tables::kSurvaVersion).Set("SurvaName", std::string_view("kept")).Update();
  setup.Commit();
  const auto versions = [&] { return Count({"select count(*) from SurvaVersion"}); };
  const HttpRequest deletes = Get("/admin/createform.asp", "DeleteSurva=1");
  const wire::HeaderFields foreign[] = {
      {{"Sec-Fetch-Site", "cross-site"},
       {"Sec-Fetch-Mode", "navigate"},
       {"Sec-Fetch-Dest", "document"},
       {"Sec-Fetch-User", "?1"}},
      {{"Sec-Fetch-Site", "same-site"}, {"Sec-Fetch-Mode", "no-cors"}, {"Sec-Fetch-Dest", "image"}},
      {{"Sec-Fetch-Site", "none"},
       {"Sec-Fetch-Mode", "navigate"},
       {"Sec-Fetch-Dest", "document"},
       {"Sec-Fetch-User", "?1"}},
      {{"Sec-Fetch-Site", "same-origin"},
       {"Sec-Fetch-Mode", "no-cors"},
       {"Sec-Fetch-Dest", "image"},
       {"Referer", "https://surva.example/admin/CreateForm.asp"}},
      {{"Sec-Fetch-Site", "same-origin"},
       {"Sec-Fetch-Mode", "navigate"},
       {"Sec-Fetch-Dest", "document"},
       {"Sec-Fetch-User", "?1"},
       {"Referer", "https://surva.example/admin/stat.asp?Remarks=1"}},
      {{"Referer", "http://evil.example/"}},
  };
  for (const auto& headers : foreign) EXPECT_EQ(Ask(node_, With(deletes, headers)).status, 403U);
  EXPECT_EQ(Ask(node_, With(Post("/admin/createform.asp", "DeleteSurva=1"), {{"Origin", "null"}})).status, 403U);
  HttpRequest head = deletes;
  head.method = HttpRequest::Method::kHead;
  EXPECT_EQ(Ask(node_, head).status, 405U);
  EXPECT_EQ(versions(), 1);
  // A link that only reads opens.
  EXPECT_EQ(Ask(node_, With(Get("/admin/createform.asp", "View=1"), foreign[0])).status, 200U);
  EXPECT_EQ(Ask(node_, With(deletes, {{"Sec-Fetch-Site", "same-origin"},
                                      {"Sec-Fetch-Mode", "navigate"},
                                      {"Sec-Fetch-Dest", "document"},
                                      {"Sec-Fetch-User", "?1"},
                                      {"Referer", "https://surva.example/admin/createform.asp"}}))
                .status,
            200U);
  EXPECT_EQ(versions(), 0);
  // A respondent's answers.
  EXPECT_EQ(Ask(node_, With(Post("/surva.asp", "FormAccepted=1"), {{"Sec-Fetch-Site", "same-site"}})).status, 403U);
  EXPECT_EQ(Ask(node_, With(Post("/surva.asp", "NeXt=1&Notes=spam"), {{"Origin", "http://evil.example"}})).status,
            403U);
  EXPECT_EQ(Ask(node_, With(Post("/surva.asp", "PIN=1"), {{"Sec-Fetch-Site", "cross-site"}})).status, 200U);
  // Behind a proxy nobody guards anything.
  HttpRequest proxied = Get("/admin/default.asp");
  proxied.forwarded = true;
  EXPECT_EQ(Ask(node_, proxied).status, 403U);
}

TEST_P(GuardedSite, GuessedPinsWaitOnAllNodesAndRightOnesDoNot) {
  data::Connection setup(*database_);
  const std::int64_t version =
      setup.AddNew(data::tables::kSurvaVersion).Set("SurvaName", std::string_view("a")).Update();
  const std::int64_t event = setup.AddNew(data::tables::kSchedule).Set("SurvaVersionID", version).Update();
  const std::int64_t student = setup.AddNew(data::tables::kStudent).Set("LastName", std::string_view("b")).Update();
  setup.AddNew(data::tables::kParticipant)
      .Set("ScheduleID", event)
      .Set("StudentID", student)
      .Set("PIN", std::string_view("777"))
      .Update();
  setup.Commit();
  const auto try_pin = [&](test::Node& node, const std::string& pin, bool own = false) {
    HttpRequest request = Post("/surva.asp", "PIN=" + pin);
    request.from_this_machine = own;
    return Ask(node, request).status;
  };
  for (int i = 0; i < 40; ++i) EXPECT_EQ(try_pin(node_, "777"), 200U) << "right PINs never count";
  int refused = 0;
  for (int i = 0; i < 30; ++i) refused += try_pin(i % 2 == 0 ? node_ : other_, "1") == 429 ? 1 : 0;
  EXPECT_GE(refused, 17);
  const HttpResponse answer = Ask(node_, Post("/surva.asp", "PIN=777"));
  EXPECT_EQ(answer.status, 429U);
  EXPECT_NE(test::HeaderOf(answer, "Retry-After"), "");
  EXPECT_EQ(try_pin(node_, "1", true), 200U) << "who sits at the machine is not slowed down";
}

// Thirty students behind one address, who all err twice and try as often as they may, on two nodes behind a proxy.
TEST_P(GuardedSite, AClassThatErrsGetsIn) {
  test::Seed seed(*database_);
  const std::int64_t surva = seed.Surva({.rows = {{.role = test::kMain, .control = test::kText, .content = "?"}}});
  struct Student {
    std::string pin;
    int errors = 2;
    bool in = false;
  };
  std::vector<Student> students(30);
  for (Student& student : students) {
    student.pin = std::to_string(7000 + (&student - students.data()));
    seed.Participant(surva, student.pin);
  }
  int in = 0;
  int seconds = 0;
  while (in < 30 && seconds < 600) {
    std::vector<std::pair<Student*, std::future<HttpResponse>>> tries;
    for (Student& student : students) {
      if (student.in) continue;
      test::Node& node = tries.size() % 2 == 0 ? node_ : other_;
      tries.emplace_back(&student, Send(node, Post("/surva.asp", "PIN=" + (student.errors > 0 ? "1" : student.pin))));
    }
    int wait = 600;
    for (auto& [student, coming] : tries) {
      const HttpResponse answer = coming.get();
      if (answer.status == 429) {
        wait = std::min(wait, std::stoi(test::HeaderOf(answer, "Retry-After")));
      } else if (student->errors > 0) {
        --student->errors;
        wait = 0;
      } else {
        student->in = true;
        ++in;
        wait = 0;
      }
    }
    // Time goes by.
    test::Write(*database_,
                {"update WrongTry set LastTry=LastTry-", data::Number(wait), ", PaidOff=PaidOff-", data::Number(wait)});
    seconds += wait;
  }
  EXPECT_EQ(in, 30);
  EXPECT_LE(seconds, 120);
}

TEST_P(GuardedSite, TriesOfPinsWaitForEachOtherWhenManyAreWrong) {
  guard::PinGuard pins;
  data::Connection setup(*database_);
  pins.CountWrong(setup, "somebody", guard::SecondsNow());
  setup.Execute({"update WrongTry set PaidOff=PaidOff+100000 where TryKey='pin/everywhere'"});
  setup.Commit();
  constexpr std::chrono::hours kNever(1);
  PageService service({.pin_pace = kNever, .longest_pin_wait = kNever}, node_.database, node_.files, node_.workers,
                      node_.log);
  const auto from = [&](const char* network, const char* form) {
    HttpRequest request = Post("/surva.asp", form);
    request.network = network;
    return Send(service, std::move(request));
  };
  std::future<HttpResponse> first = from("a", "PIN=1");
  EXPECT_EQ(first.get().status, 200U) << "delayed, not refused";
  std::future<HttpResponse> second = from("b", "PIN=1");
  // Nobody else waits for it.
  EXPECT_EQ(from("b", "NeXt=1&Notes=fine").get().status, 200U);
  EXPECT_EQ(from("c", "x=1").get().status, 200U);
  EXPECT_EQ(second.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
  EXPECT_GT(service.guard_figures().paced_pins, 0U);
  node_.workers.Stop();
}

TEST_P(GuardedSite, OneNetworkStoresNoMoreThanItsShare) {
  const std::string remark = "NeXt=1&Notes=" + std::string(1'000'000, 'x');
  int stored = 0;
  for (int i = 0; i < 60; ++i) stored += Ask(node_, Post("/surva.asp", remark)).status == 429 ? 0 : 1;
  EXPECT_LE(stored, 36);
  EXPECT_GE(stored, 30) << "a remark may be as long as a body";
  EXPECT_EQ(Count({"select count(*) from Message"}), stored);
}

TEST_P(GuardedSite, ALogonNeverKeepsTheTokenThatWasThereBefore) {
  data::Connection setup(*database_);
  setup.AddNew(data::tables::kSurvaVersion)
      .Set("SurvaName", std::string_view("open"))
      .Set("RequireAuthorisation", std::int64_t{0})
      .Update();
  setup.Commit();
  const std::string planted = Cookies(Ask(node_, Get("/surva.asp", "version=1")));
  ASSERT_NE(planted, "");
  const std::string own = Cookies(Ask(other_, With(Get("/surva.asp", "version=1"), {{"Cookie", planted}})));
  EXPECT_NE(own, "");
  EXPECT_NE(own, planted);
  EXPECT_EQ(Count({"select count(*) from VisitorSession"}), 1) << "the planted one is gone";
  // A neighbour host cannot plant one either.
  HttpRequest protected_one = Get("/surva.asp", "version=1");
  protected_one.https = true;
  EXPECT_EQ(Cookies(Ask(node_, protected_one)).substr(0, 19), "__Host-surva_visit=");
}

TEST_P(GuardedSite, RemembersNoMoreThanItMay) {
  data::Connection setup(*database_);
  setup.AddNew(data::tables::kSurvaVersion)
      .Set("SurvaName", std::string_view("open"))
      .Set("RequireAuthorisation", std::int64_t{0})
      .Update();
  setup.Commit();
  // A number of any length would be kept from one page to the next.
  Ask(node_, Get("/surva.asp", "version=" + std::string(300, '0') + "1"));
  Ask(node_, Get("/surva.asp", "version=" + std::string(500, '0') + "1"));
  Ask(node_, Get("/surva.asp", "version=" + std::string(900'000, '0') + "1"));
  EXPECT_LE(Count({"select coalesce(max(length(Contents)), 0) from VisitorSession"}),
            static_cast<std::int64_t>(kLongestSession));
  EXPECT_EQ(Count({"select count(*) from AnonymousStudent"}), 1) << "only the short one is a number";
  const std::string question = "AddQuestionStep=2a&AddQuestion=-1&SurvaVersion=1&question=";
  EXPECT_EQ(Ask(node_, Post("/admin/createform.asp", question + std::string(20'000, 'x'))).status, 200U);
  EXPECT_EQ(Ask(node_, Post("/admin/createform.asp", question + std::string(70'000, 'x'))).status, 413U);
}

TEST_P(GuardedSite, HistoryKeepsRequestsOfOneNameApart) {
  data::Connection setup(*database_);
  for (int i = 0; i < 2; ++i)
    setup.AddNew(data::tables::kSurvaVersion).Set("SurvaName", std::string_view("a")).Update();
  setup.Commit();
  for (const char* version : {"1", "2"}) {
    HttpRequest request =
        With(Get("/admin/createform.asp", std::string("DeleteSurva=") + version), {{"X-Request-ID", "same"}});
    request.request_id = "same";
    Ask(node_, request);
  }
  EXPECT_EQ(Count({"select count(*) from SurvaVersion"}), 0);
  EXPECT_EQ(Count({"select count(distinct RequestID) from History where Act='delete'"}), 2);
}

TEST_P(GuardedSite, HistoryTellsWhoItWas) {
  AddStaff();
  data::Connection setup(*database_);
  setup.AddNew(data::tables::kSurvaVersion).Set("SurvaName", std::string_view("gone")).Update();
  setup.Commit();
  const std::string owner = SignIn(node_, "anna");
  Ask(node_, With(Get("/admin/createform.asp", "DeleteSurva=1"), {{"Cookie", owner}}));
  ASSERT_EQ(Count({"select count(*) from SurvaVersion"}), 0);
  const HttpResponse list =
      Ask(node_, With(Get("/admin/history", "table=SurvaVersion&person=anna"), {{"Cookie", owner}}));
  const std::size_t at = list.body.find("name=\"request\" value=\"");
  ASSERT_NE(at, std::string::npos) << list.body;
  Ask(other_, With(Post("/admin/history", "request=" + list.body.substr(at + 22, 16)), {{"Cookie", owner}}));
  EXPECT_EQ(Count({"select count(*) from SurvaVersion where SurvaName='gone'"}), 1);
}

SURVA_ON_BOTH_ENGINES(GuardedSite);

}  // namespace
}  // namespace surva::host
