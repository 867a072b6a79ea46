// The guard in front of the pages: through the whole site, on both engines, with two nodes where they must agree.
#include "guard/accounts.h"
#include "tests/support/node.h"

namespace surva::test {
namespace {

using wire::HttpRequest;
using wire::HttpResponse;

const auto Get = [](const std::string& path, const std::string& query = "") { return RequestFor(path, query); };
const auto Post = [](const std::string& path, const std::string& form) { return RequestFor(path, "", form); };

class GuardedSite : public TwoNodes {
 protected:
  void AddStaff() {
    data::Connection connection(*database);
    guard::Accounts accounts(connection);
    accounts.Add("anna", guard::Role::kOwner, "three blue cranes");
    accounts.Add("dora", guard::Role::kDesigner, "three blue cranes");
    connection.Commit();
  }
  Browser SignIn(Node& node, const std::string& name) {
    Browser browser;
    browser.Post(node, "/admin/sign-in", "name=" + name + "&password=three+blue+cranes");
    return browser;
  }
};

TEST_P(GuardedSite, OpensNoStaffPageWithoutASignIn) {
  // Behind a proxy nobody guards anything.
  HttpRequest proxied = Get("/admin/default.asp");
  proxied.forwarded = true;
  EXPECT_EQ(Node(database.dsn()).Ask(proxied).status, 403U);
  AddStaff();
  Browser owner = SignIn(node, "anna");
  Browser designer = SignIn(other, "dora");
  for (const host::Route& route : host::Routes()) {
    const std::string path(route.path);
    if (!route.roles.empty()) {
      EXPECT_EQ(HeaderOf(node.Ask(Get(path)), "Location").substr(0, 18), "/admin/sign-in?to=") << path;
      EXPECT_EQ(node.Ask(Post(path, "Update=1")).status, 303U) << path;
    }
    if (!path.starts_with("/admin/") || path == "/admin/sign-in") continue;
    const unsigned to_owner = owner.Get(other, path).status;
    EXPECT_TRUE(to_owner != 303 && to_owner != 403) << path;
    const bool may = route.roles.empty() || route.roles.Contains(guard::Role::kDesigner);
    EXPECT_EQ(designer.Get(node, path).status == 403, !may) << path;
  }
  for (const char* closed : {"/admin/help.asp", "/admin/nothing"}) EXPECT_EQ(node.Ask(Get(closed)).status, 303U);
  for (const char* open : {"/surva.asp", "/admin/css/layout.css", "/admin/Java/Surva.js", "/admin/images/help.gif",
                           "/admin/favicon.ico", "/admin/sign-in", "/css/desk.css"}) {
    EXPECT_EQ(node.Ask(Get(open)).status, 200U) << open;
  }
  // A link's act is not asked for its head, and what one node ends has ended on the other.
  HttpRequest head = Get("/admin/createform.asp", "DeleteSurva=49");
  head.method = HttpRequest::Method::kHead;
  EXPECT_EQ(owner.Ask(node, head).status, 405U);
  const Browser same = owner;
  owner.Post(node, "/admin/sign-out", "x=1");
  EXPECT_EQ(Browser(same).Get(other, "/admin/default.asp").status, 303U);
}

TEST_P(GuardedSite, KeepsAccountsOnTheirPage) {
  AddStaff();
  Browser owner = SignIn(node, "anna");
  Browser elsewhere = SignIn(other, "anna");
  const auto act = [&](const std::string& form) { return owner.Post(node, "/admin/account", form); };
  EXPECT_EQ(act("do=own&old=four+white+storks&password=four+white+storks").status, 400U);
  EXPECT_NE(act("do=own&old=three+blue+cranes&password=four+white+storks").body.find(">Your password is changed."),
            std::string::npos);
  EXPECT_EQ(elsewhere.Get(other, "/admin/account").status, 303U);
  for (const char* form : {"do=add&name=paul&role=planner&password=three+blue+cranes", "do=role&name=paul&role=analyst",
                           "do=set&name=paul&password=four+white+storks", "do=remove&name=dora"}) {
    EXPECT_EQ(act(form).status, 303U) << form;
  }
  EXPECT_NE(act("do=remove&name=anna").body.find("One owner must remain."), std::string::npos);
  EXPECT_EQ(SignIn(other, "paul").Get(node, "/admin/schedule.asp").status, 303U) << "another password was set";
  EXPECT_EQ(Read({"select min(Name) || max(Name) || min(Role) from StaffAccount"}), "annapaulanalyst");
}

// Hashing a password takes a while, in which another owner may do something too.
TEST_P(GuardedSite, LetsNobodyActWhoseAccountIsGone) {
  AddStaff();
  Browser owner = SignIn(node, "anna");
  owner.Post(node, "/admin/account", "do=add&name=olga&role=owner&password=three+blue+cranes");
  Browser going = SignIn(other, "olga");
  AtOnce(2, [&](int number) {
    if (number == 0) owner.Post(node, "/admin/account", "do=remove&name=olga");
    if (number == 1) going.Post(other, "/admin/account", "do=add&name=eve&role=owner&password=three+blue+cranes");
  });
  EXPECT_EQ(Read({"select min(Name) || max(Name) || count(*) from StaffAccount"}), "annadora2");
}

TEST_P(GuardedSite, SaysTheSameOfEveryFailedSignIn) {
  AddStaff();
  const auto sign_in = [](Node& node, const std::string& password) {
    return node.Ask(Post("/admin/sign-in", "name=x&password=" + password));
  };
  const HttpResponse wrong = sign_in(node, "wrong+password");
  EXPECT_EQ(wrong.status, 403U);
  EXPECT_EQ(wrong.body, sign_in(node, std::string(5000, 'a')).body);
  for (int i = 0; i < 4; ++i) sign_in(other, "wrong+password");
  // A slow machine must not let the wait be over before it is asked for.
  Write({"update WrongTry set PaidOff=PaidOff+10000"});
  const HttpResponse slowed = sign_in(node, "wrong+password");
  EXPECT_EQ(slowed.status, 429U) << "both nodes count together";
  EXPECT_EQ(slowed.body, wrong.body);
  EXPECT_NE(HeaderOf(slowed, "Retry-After"), "");
  // Where somebody wanted to go.
  HttpRequest request = Post("/admin/sign-in", "name=anna&password=three+blue+cranes&to=%2F%2Fevil.example%2Fadmin%2F");
  request.network = "elsewhere";
  EXPECT_EQ(HeaderOf(node.Ask(request), "Location"), "/admin/default.asp");
}

TEST_P(GuardedSite, GuessedPinsWaitOnAllNodesAndRightOnesDoNot) {
  const auto try_pin = [&](int number, const std::string& pin, bool own = false) {
    HttpRequest request = Post("/surva.asp", "PIN=" + pin);
    request.from_this_machine = own;
    return (number % 2 == 0 ? node : other).Ask(request);
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
  data::Connection setup(*database);
  pins.CountWrong(setup, "somebody", guard::SecondsNow());
  // One more that is wrong leaves so many as would be paid off within a minute.
  const auto many_are_wrong = [&] {
    setup.Execute({"update WrongTry set PaidOff=PaidOff+100000 where TryKey='pin/everywhere'"});
    setup.Commit();
  };
  many_are_wrong();
  constexpr std::chrono::hours kNever(1);
  host::PageService service({.pin_pace = kNever, .longest_pin_wait = kNever}, node.database, node.files, node.workers,
                            node.log);
  const auto from = [&](const char* network, const char* form) {
    HttpRequest request = Post("/surva.asp", form);
    request.network = network;
    return Send(service, std::move(request));
  };
  Coming first = from("a", "PIN=1");
  EXPECT_EQ(first.get().status, 200U) << "delayed, not refused";
  many_are_wrong();
  Coming second = from("b", "PIN=1");
  Coming third = from("d", "PIN=1");
  // Nobody else waits for them.
  EXPECT_EQ(from("b", "NeXt=1&Notes=fine").get().status, 200U);
  EXPECT_EQ(from("c", "x=1").get().status, 200U);
  EXPECT_EQ(second.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
  EXPECT_GT(service.guard_figures().paced_pins, 0U);
  node.workers.Stop();
}

TEST_P(GuardedSite, OneNetworkStoresNoMoreThanItsShare) {
  const std::string remark = "NeXt=1&Notes=" + std::string(1'000'000, 'x');
  int stored = 0;
  for (int i = 0; i < 60; ++i) stored += node.Ask(Post("/surva.asp", remark)).status == 429 ? 0 : 1;
  EXPECT_LE(stored, 36);
  EXPECT_GE(stored, 30) << "a remark may be as long as a body";
  EXPECT_EQ(Read({"select count(*) from Message where MessageID>705"}), std::to_string(stored));
}

TEST_P(GuardedSite, StoresMoreChoicesThanAPageCanBearInAFewStatements) {
  watch.replaces_at_once = true;
  for (const char* number : {"32768", "32767"}) {
    const std::string form = "ModifyQuestionAnswers=302&Version=41&NumberOfValues=" + std::string(number);
    EXPECT_EQ(node.Ask(Post("/admin/createform.asp", form)).status, 200U);
  }
  EXPECT_LT(watch.reads + watch.writes, 100);
  EXPECT_EQ(Read({"select count(*) from FieldValue where QuestionID=72"}), "32767");
}

TEST_P(GuardedSite, HistoryTellsWhoItWasAndKeepsRequestsOfOneNameApart) {
  AddStaff();
  Browser owner = SignIn(node, "anna");
  for (const char* version : {"48", "49"}) {
    HttpRequest request = Get("/admin/createform.asp", std::string("DeleteSurva=") + version);
    request.headers = {{"X-Request-ID", request.request_id = "same"}};
    owner.Ask(node, request);
  }
  EXPECT_EQ(Read({"select count(*) from SurvaVersion"}), "7");
  EXPECT_EQ(Read({"select count(distinct RequestID) from History where Act='delete' and TableName='SurvaVersion'"}),
            "2");
  const std::string list = owner.Get(node, "/admin/history", "table=SurvaVersion&person=anna").body;
  const std::size_t at = list.find("name=\"request\" value=\"");
  ASSERT_NE(at, std::string::npos) << list;
  owner.Post(other, "/admin/history", "request=" + list.substr(at + 22, list.find('"', at + 22) - at - 22));
  EXPECT_EQ(Read({"select SurvaVersionID from SurvaVersion where SurvaVersionID>47"}), "49") << "the last alone";
}

SURVA_ON_BOTH_ENGINES(GuardedSite);

}  // namespace
}  // namespace surva::test
