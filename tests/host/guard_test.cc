// The guard in front of the pages: through the whole site, on both engines, with two nodes where they must agree.
#include "frame/data/forwarding_engine.h"
#include "guard/accounts.h"
#include "host/visitor_sessions.h"
#include "tests/support/fixture.h"
#include "tests/support/node.h"

namespace surva::host {
namespace {

using test::Browser;
using test::HeaderOf;
using wire::HttpRequest;
using wire::HttpResponse;

const auto Get = [](const std::string& path, const std::string& query = "") { return test::RequestFor(path, query); };
const auto Post = [](const std::string& path, const std::string& form) { return test::RequestFor(path, "", form); };
HttpRequest With(HttpRequest request, const wire::HeaderFields& more) {
  request.headers.insert(request.headers.end(), more.begin(), more.end());
  return request;
}

class GuardedSite : public test::OnBothEngines {
 protected:
  GuardedSite() { test::LoadFixture(*database_); }

  void AddStaff() {
    data::Connection connection(*database_);
    guard::Accounts accounts(connection);
    accounts.Add("anna", guard::Role::kOwner, "three blue cranes");
    accounts.Add("dora", guard::Role::kDesigner, "three blue cranes");
    connection.Commit();
  }
  Browser SignIn(test::Node& node, const std::string& name) {
    Browser browser;
    browser.Post(node, "/admin/sign-in", "name=" + name + "&password=three+blue+cranes");
    return browser;
  }
  std::string Read(std::initializer_list<data::Piece> statement) { return test::Read(*database_, statement); }

  test::TestDatabase database_{GetParam()};
  test::Node node_{database_.dsn()};
  test::Node other_{database_.dsn()};
};

TEST_P(GuardedSite, OpensNoStaffPageWithoutASignIn) {
  AddStaff();
  for (const Route& route : Routes()) {
    if (route.roles.empty()) continue;
    const std::string path(route.path);
    const HttpResponse answer = node_.Ask(Get(path));
    EXPECT_EQ(answer.status, 303U) << path;
    EXPECT_EQ(HeaderOf(answer, "Location").substr(0, 18), "/admin/sign-in?to=") << path;
    EXPECT_EQ(node_.Ask(Post(path, "Update=1")).status, 303U) << path;
  }
  EXPECT_EQ(node_.Ask(Get("/admin/help.asp")).status, 303U);
  EXPECT_EQ(node_.Ask(Get("/admin/nothing")).status, 303U);
  for (const char* open : {"/surva.asp", "/admin/css/layout.css", "/admin/Java/Surva.js", "/admin/images/help.gif",
                           "/admin/sign-in", "/css/desk.css"}) {
    EXPECT_EQ(node_.Ask(Get(open)).status, 200U) << open;
  }

  Browser owner = SignIn(node_, "anna");
  Browser designer = SignIn(other_, "dora");
  for (const Route& route : Routes()) {
    const std::string path(route.path);
    if (!path.starts_with("/admin/") || path == "/admin/sign-in") continue;
    const unsigned to_owner = owner.Get(other_, path).status;
    EXPECT_TRUE(to_owner != 303 && to_owner != 403) << path;
    const unsigned status = designer.Get(node_, path).status;
    const bool may = route.roles.empty() || route.roles.Contains(guard::Role::kDesigner);
    EXPECT_EQ(status == 403, !may) << path;
  }
  // What one node ends has ended on the other.
  const Browser same = owner;
  owner.Post(node_, "/admin/sign-out", "x=1");
  EXPECT_EQ(Browser(same).Get(other_, "/admin/default.asp").status, 303U);
}

TEST_P(GuardedSite, SaysTheSameOfEveryFailedSignIn) {
  AddStaff();
  const auto sign_in = [](test::Node& node, const std::string& password) {
    return node.Ask(Post("/admin/sign-in", "name=x&password=" + password));
  };
  const HttpResponse wrong = sign_in(node_, "wrong+password");
  EXPECT_EQ(wrong.status, 403U);
  EXPECT_EQ(wrong.body, sign_in(node_, std::string(5000, 'a')).body);
  for (int i = 0; i < 4; ++i) sign_in(other_, "wrong+password");
  // A slow machine must not let the wait be over before it is asked for.
  test::Write(*database_, {"update WrongTry set PaidOff=PaidOff+10000"});
  const HttpResponse slowed = sign_in(node_, "wrong+password");
  EXPECT_EQ(slowed.status, 429U) << "both nodes count together";
  EXPECT_EQ(slowed.body, wrong.body);
  EXPECT_NE(HeaderOf(slowed, "Retry-After"), "");
  // Where somebody wanted to go.
  HttpRequest request = Post("/admin/sign-in", "name=anna&password=three+blue+cranes&to=%2F%2Fevil.example%2Fadmin%2F");
  request.network = "elsewhere";
  EXPECT_EQ(HeaderOf(node_.Ask(request), "Location"), "/admin/default.asp");
}

TEST_P(GuardedSite, LetsNoForeignPageAct) {
  const auto from = [](const char* site, bool click, const char* referer = "") {
    return wire::HeaderFields{{"Sec-Fetch-Site", site},
                              {"Sec-Fetch-Mode", click ? "navigate" : "no-cors"},
                              {"Sec-Fetch-Dest", click ? "document" : "image"},
                              {"Sec-Fetch-User", click ? "?1" : ""},
                              {"Referer", referer}};
  };
  const HttpRequest deletes = Get("/admin/createform.asp", "DeleteSurva=49");
  for (const auto& headers : {from("cross-site", true), from("same-site", false), from("none", true),
                              from("same-origin", false, "https://surva.example/admin/createform.asp"),
                              from("same-origin", true, "https://surva.example/admin/stat.asp?Remarks=1"),
                              wire::HeaderFields{{"Referer", "http://evil.example/"}}}) {
    EXPECT_EQ(node_.Ask(With(deletes, headers)).status, 403U);
  }
  EXPECT_EQ(node_.Ask(With(Post("/admin/createform.asp", "DeleteSurva=49"), {{"Origin", "null"}})).status, 403U);
  HttpRequest head = deletes;
  head.method = HttpRequest::Method::kHead;
  EXPECT_EQ(node_.Ask(head).status, 405U);
  EXPECT_EQ(Read({"select count(*) from SurvaVersion"}), "9");
  // A link that only reads opens; the house's own deletes.
  EXPECT_EQ(node_.Ask(With(Get("/admin/createform.asp", "View=49"), from("cross-site", true))).status, 200U);
  EXPECT_EQ(node_.Ask(With(deletes, from("same-origin", true, "https://surva.example/admin/createform.asp"))).status,
            200U);
  EXPECT_EQ(Read({"select count(*) from SurvaVersion"}), "8");
  // A respondent's answers.
  EXPECT_EQ(node_.Ask(With(Post("/surva.asp", "FormAccepted=42"), {{"Sec-Fetch-Site", "same-site"}})).status, 403U);
  EXPECT_EQ(node_.Ask(With(Post("/surva.asp", "NeXt=1&Notes=x"), {{"Origin", "http://evil.example"}})).status, 403U);
  EXPECT_EQ(node_.Ask(With(Post("/surva.asp", "PIN=1"), {{"Sec-Fetch-Site", "cross-site"}})).status, 200U);
  EXPECT_EQ(node_.Ask(With(Post("/fill", "x=1"), {{"Sec-Fetch-Site", "cross-site"}})).status, 403U);
  // Behind a proxy nobody guards anything.
  HttpRequest proxied = Get("/admin/default.asp");
  proxied.forwarded = true;
  EXPECT_EQ(node_.Ask(proxied).status, 403U);
}

TEST_P(GuardedSite, NamesWhatEachPageMayLoadAndWhereItMayLead) {
  const auto directive = [&](const std::string& path, const std::string& query, const std::string& name) {
    const std::string policy = "; " + HeaderOf(node_.Ask(Get(path, query)), "Content-Security-Policy") + ";";
    const std::size_t at = policy.find("; " + name + " ");
    return at == std::string::npos
               ? ""
               : policy.substr(at + 3 + name.size(), policy.find(';', at + 2) - at - 3 - name.size());
  };
  const std::string site = "http://surva.example";
  const std::string stat = "/admin/stat.asp";
  const std::string scripts = directive(stat, "", "script-src");
  for (const auto& [path, query, name, value] : std::initializer_list<std::array<std::string, 4>>{
           {stat, "", "default-src", "'none'"},
           {stat, "", "base-uri", "'none'"},
           {stat, "", "frame-ancestors", "'self'"},
           {stat, "", "img-src", "data: " + site + "/images/ " + site + "/admin/images/ " + site + "/favicon.ico"},
           {stat, "", "style-src", "'unsafe-inline' " + site + "/css/ " + site + "/admin/css/"},
           {stat, "", "form-action", "'self'"},
           {stat, "", "connect-src", site + "/admin/pages.json " + site + "/admin/answered.json"},
           {stat, "", "frame-src", ""},
           {stat, "", "sandbox", ""},
           {"/admin/schedule.asp", "ModSch0=51", "frame-src", site + "/admin/schedule.asp"},
           {"/admin/createform.asp", "Preview=42", "sandbox",
            "allow-same-origin allow-scripts allow-modals allow-popups allow-popups-to-escape-sandbox"},
           {"/surva.asp", "", "form-action", "'self'"},
           {"/surva.asp", "version=42", "form-action", "'self' http://thanks.example"}}) {
    EXPECT_EQ(directive(path, query, name), value) << path << query;
  }
  EXPECT_TRUE(scripts.starts_with(site + "/Java/ " + site + "/admin/Java/ 'unsafe-hashes' 'sha256-")) << scripts;
  EXPECT_EQ(scripts.find("unsafe-inline"), std::string::npos);
}

TEST_P(GuardedSite, GuessedPinsWaitOnAllNodesAndRightOnesDoNot) {
  const auto try_pin = [&](int number, const std::string& pin, bool own = false) {
    HttpRequest request = Post("/surva.asp", "PIN=" + pin);
    request.from_this_machine = own;
    return (number % 2 == 0 ? node_ : other_).Ask(request);
  };
  for (int i = 0; i < 40; ++i) EXPECT_EQ(try_pin(i, "2221").status, 200U) << "right PINs never count";
  // Of a class that errs each PIN that is right gives the free tries back.
  for (const char* pin : {"1111", "1112", "2222"}) {
    for (int i = 0; i < 9; ++i) EXPECT_EQ(try_pin(i, "1").status, 200U);
    EXPECT_EQ(try_pin(0, pin).status, 200U);
  }
  int refused = 0;
  for (int i = 0; i < 30; ++i) refused += try_pin(i, "1").status == 429 ? 1 : 0;
  EXPECT_GE(refused, 17);
  const HttpResponse answer = try_pin(0, "2221");
  EXPECT_EQ(answer.status, 429U);
  EXPECT_NE(HeaderOf(answer, "Retry-After"), "");
  EXPECT_EQ(try_pin(0, "1", true).status, 200U) << "who sits at the machine is not slowed down";
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
    return test::Send(service, std::move(request));
  };
  test::Coming first = from("a", "PIN=1");
  EXPECT_EQ(first.get().status, 200U) << "delayed, not refused";
  test::Coming second = from("b", "PIN=1");
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
  for (int i = 0; i < 60; ++i) stored += node_.Ask(Post("/surva.asp", remark)).status == 429 ? 0 : 1;
  EXPECT_LE(stored, 36);
  EXPECT_GE(stored, 30) << "a remark may be as long as a body";
  EXPECT_EQ(Read({"select count(*) from Message where MessageID>705"}), std::to_string(stored));
}

TEST_P(GuardedSite, ALogonNeverKeepsTheTokenThatWasThereBefore) {
  Browser browser;
  browser.Get(node_, "/surva.asp", "version=42");
  const auto planted = browser.cookies.values;
  ASSERT_FALSE(planted.empty());
  browser.Get(other_, "/surva.asp", "version=42");
  EXPECT_NE(browser.cookies.values, planted);
  EXPECT_EQ(Read({"select count(*) from VisitorSession"}), "1") << "the planted one is gone";
  // Nor does a page of staff take one over that nobody has given out, or a neighbour host plant one.
  Browser staff;
  staff.cookies.values["surva_visit"] = std::string(32, 'a');
  staff.Post(node_, "/admin/createform.asp", "AddQuestionStep=2a&AddQuestion=-1&SurvaVersion=41&question=x");
  EXPECT_NE(staff.cookies.values["surva_visit"], std::string(32, 'a'));
  HttpRequest protected_one = Get("/surva.asp", "version=42");
  protected_one.https = true;
  const std::string cookie = HeaderOf(node_.Ask(protected_one), "Set-Cookie");
  EXPECT_EQ(cookie.substr(0, 19) + cookie.substr(cookie.find(';')),
            "__Host-surva_visit=; Path=/; HttpOnly; SameSite=Lax; Secure");
}

TEST_P(GuardedSite, RemembersNoMoreThanItMay) {
  // A number of any length would be kept from one page to the next.
  for (const std::size_t zeroes : {300U, 500U, 900'000U}) {
    node_.Ask(Get("/surva.asp", "version=" + std::string(zeroes, '0') + "42"));
  }
  EXPECT_LE(std::stoul(Read({"select coalesce(max(length(Contents)), 0) from VisitorSession"})), kLongestSession);
  EXPECT_EQ(Read({"select count(*) from AnonymousStudent where AnonymousStudentID>608"}), "1")
      << "only the short one is a number";
  const std::string question = "AddQuestionStep=2a&AddQuestion=-1&SurvaVersion=41&question=";
  EXPECT_EQ(node_.Ask(Post("/admin/createform.asp", question + std::string(20'000, 'x'))).status, 200U);
  EXPECT_EQ(node_.Ask(Post("/admin/createform.asp", question + std::string(70'000, 'x'))).status, 413U);
}

struct CountingEngine final : data::ForwardingEngine {
  CountingEngine(std::unique_ptr<data::Engine> engine, std::atomic<int>& own_count)
      : ForwardingEngine(std::move(engine)), count(own_count) {}
  data::Rows Run(data::Statement statement, data::Effect effect) override {
    return ++count, engine_->Run(statement, effect);
  }
  void Replace(data::Statement removal, const data::RowSet& rows) override { ++count, engine_->Replace(removal, rows); }
  std::atomic<int>& count;
};

TEST_P(GuardedSite, StoresMoreChoicesThanAPageCanBearInAFewStatements) {
  std::atomic<int> statements = 0;
  test::Node node(database_.dsn(), {.wrap = [&statements](std::unique_ptr<data::Engine> engine) {
                    return std::make_unique<CountingEngine>(std::move(engine), statements);
                  }});
  for (const char* number : {"32768", "32767"}) {
    const std::string form = "ModifyQuestionAnswers=302&Version=41&NumberOfValues=" + std::string(number);
    EXPECT_EQ(node.Ask(Post("/admin/createform.asp", form)).status, 200U);
  }
  EXPECT_LT(statements, 100);
  EXPECT_EQ(Read({"select count(*) from FieldValue where QuestionID=72"}), "32767");
}

TEST_P(GuardedSite, HistoryTellsWhoItWasAndKeepsRequestsOfOneNameApart) {
  AddStaff();
  Browser owner = SignIn(node_, "anna");
  for (const char* version : {"48", "49"}) {
    HttpRequest request =
        With(Get("/admin/createform.asp", std::string("DeleteSurva=") + version), {{"X-Request-ID", "same"}});
    request.request_id = "same";
    owner.Ask(node_, request);
  }
  EXPECT_EQ(Read({"select count(*) from SurvaVersion"}), "7");
  EXPECT_EQ(Read({"select count(distinct RequestID) from History where Act='delete' and TableName='SurvaVersion'"}),
            "2");
  const std::string list = owner.Get(node_, "/admin/history", "table=SurvaVersion&person=anna").body;
  const std::size_t at = list.find("name=\"request\" value=\"");
  ASSERT_NE(at, std::string::npos) << list;
  owner.Post(other_, "/admin/history", "request=" + list.substr(at + 22, list.find('"', at + 22) - at - 22));
  EXPECT_EQ(Read({"select SurvaVersionID from SurvaVersion where SurvaVersionID>47"}), "49") << "the last alone";
}

SURVA_ON_BOTH_ENGINES(GuardedSite);

}  // namespace
}  // namespace surva::host
