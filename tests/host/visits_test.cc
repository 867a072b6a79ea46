// One visitor stays one visitor, whichever node serves him and whoever else is stuck.
#include <gtest/gtest.h>

#include <latch>

#include "frame/data/clearing.h"
#include "tests/support/node.h"

namespace surva::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// 201 and 204 are enrolled on one event, by the PINs 2221 and 2222, 205 on another of the same surva, 45, in whose form
// 324 is a text.
class Visits : public TwoNodes {
 protected:
  std::string Marks() {
    return Read({"select StudentID, TextAnswer from Mark where MarkID>531 and QuestionID=81 order by MarkID"});
  }
};
SURVA_ON_BOTH_ENGINES(Visits);

// Whether the answer comes within the time.
bool Comes(Coming& coming, milliseconds time) {
  return coming.wait_for(time) == std::future_status::ready;
}

TEST_P(Visits, EndWhenTheirTimeIsOver) {
  Browser kiosk;
  kiosk.Post(node, "/surva.asp", "PIN=2222");
  // A visit stands for its minutes and for one more, in which its use may go unnoted.
  const host::SessionRules rules;
  Write({"update VisitorSession set LastUse=LastUse-TimeoutMinutes*60"});
  for (const bool stands : {true, false}) {
    Write({"update VisitorSession set LastUse=LastUse-35"});
    data::Connection db(*database);
    host::Visit visit(Read({"select SessionKey from VisitorSession"}), rules, db);
    EXPECT_EQ(visit.session().IsBlank(), !stands);
    db.Rollback();
    if (stands) host::PurgeSessions(db);
  }
  EXPECT_EQ(Read({"select count(*) from VisitorSession"}), "1");
  // Unknown tokens are not taken over, and a session that has ended is none.
  const auto old = kiosk.cookies.values;
  kiosk.Post(other, "/surva.asp", "PIN=0001");
  EXPECT_NE(kiosk.cookies.values, old);
  node.service.Purge();
  node.workers.Stop();
  EXPECT_EQ(Read({"select count(*) from VisitorSession"}), "1");
}

// However many there are: nobody waits for all of them.
TEST_P(Visits, ThatHaveEndedGoInPortions) {
  Write({"insert into VisitorSession with recursive n(i) as (select 1 union all select i+1 from n where i<4001) "
         "select 'old' || i, '', 0, 1 from n"});
  Write({"insert into WrongTry select SessionKey, 1, ", data::Number(guard::SecondsNow()), " from VisitorSession"});
  Write({"insert into History (ChangedAt) select ", data::Bound(Field(DateTime{1999, 1, 1})), " from VisitorSession"});
  data::Connection db(*database);
  EXPECT_TRUE(host::PurgeSessions(db));
  EXPECT_EQ(Read({"select count(*) from VisitorSession"}), std::to_string(4001 - data::kPortion));
  node.service.Purge();
  for (const data::Piece table : {data::Piece("VisitorSession"), data::Piece("WrongTry"), data::Piece("History")}) {
    EXPECT_TRUE(Becomes([&] { return Read({"select count(*) from ", table}) == "0"; }));
  }
}

TEST_P(Visits, WhoKnewTheTokenBeforeALogonKnowsNothingAfterIt) {
  Browser victim;
  for (const auto& [before, entry] : {std::pair("version=42", "version=42"), {"PIN=2221", "PIN=2222"}}) {
    victim = {};
    victim.Post(node, "/surva.asp", before);
    Browser thief;
    thief.cookies = victim.cookies;
    victim.Post(other, "/surva.asp", entry);
    EXPECT_NE(victim.cookies.values, thief.cookies.values) << entry;
    thief.Post(node, "/surva.asp", "FormAccepted=45&324=by+a+thief");
    EXPECT_EQ(Marks(), "");
  }
  EXPECT_EQ(victim.Post(node, "/surva.asp", "FormAccepted=45&324=by+Bob").status, 302U);
  EXPECT_EQ(Marks(), "204,by Bob");
  // Nor does a page of staff take a token over that nobody has given out, or a neighbour host plant node.
  Browser staff;
  staff.cookies.values["surva_visit"] = std::string(32, 'a');
  staff.Post(node, "/admin/createform.asp", "AddQuestionStep=2a&AddQuestion=-1&SurvaVersion=41&question=x");
  EXPECT_NE(staff.cookies.values["surva_visit"], std::string(32, 'a'));
  wire::HttpRequest protected_one = RequestFor("/surva.asp", "version=42");
  protected_one.https = true;
  const std::string cookie = HeaderOf(node.Ask(protected_one), "Set-Cookie");
  EXPECT_EQ(cookie.substr(0, 19) + cookie.substr(cookie.find(';')),
            "__Host-surva_visit=; Path=/; HttpOnly; SameSite=Lax; Secure");
}

TEST_P(Visits, RequestsOfOneVisitorWaitForEachOther) {
  Browser browser;
  browser.Post(node, "/surva.asp", "PIN=2221");
  Browser neighbour;
  neighbour.Post(node, "/surva.asp", "PIN=2222");
  const std::string key = host::SessionKey(browser.cookies.values.begin()->second);
  ASSERT_FALSE(key.empty());
  if (GetParam() == data::Dialect::kPostgres) {
    data::Connection elsewhere(node.database);
    elsewhere.Hold(key);
    elsewhere.Query({"select 1 as One"});
    Coming held = browser.Send(other, RequestFor("/surva.asp"));
    EXPECT_EQ(neighbour.Get(other, "/surva.asp").status, 200U);
    EXPECT_FALSE(Comes(held, milliseconds(50)));
    elsewhere.Rollback();
    EXPECT_EQ(held.get().status, 200U);
  }
  // Many at once: each sees what the one before has left, so that none is lost.
  std::vector<Coming> crowd;
  for (int i = 0; i < 20; ++i) {
    crowd.push_back(browser.Send(i % 2 == 0 ? node : other,
                                 RequestFor("/surva.asp", "", "FormAccepted=45&324=" + std::to_string(i))));
  }
  for (Coming& coming : crowd) EXPECT_EQ(coming.get().status, 302U);
  EXPECT_EQ(Read({"select count(*) from Mark where MarkID>531 and QuestionID=81"}), "1");
}

TEST_P(Visits, OnlyWhatNobodyWasToldOfMayBeLostWithTheMachine) {
  Browser browser;
  browser.Post(node, "/surva.asp", "PIN=2221");
  EXPECT_EQ(watch.flushed_commits, 0) << "a session that begins";
  browser.Post(node, "/surva.asp", "PIN=2221");
  EXPECT_EQ(watch.flushed_commits, 0) << "nothing new";
  Write({"update VisitorSession set LastUse=LastUse-100"});
  const std::string noted = Read({"select LastUse from VisitorSession"});
  browser.Post(node, "/surva.asp", "PIN=2221");
  EXPECT_TRUE(Becomes([&] { return Read({"select LastUse from VisitorSession"}) != noted; }));
  EXPECT_EQ(watch.flushed_commits, 0) << "a note of use";
  browser.Post(node, "/surva.asp", "PIN=2222");
  EXPECT_EQ(watch.flushed_commits, 1) << "another person's logon, which must never come undone";
}

TEST_P(Visits, ReadersPassWritersThatAreStuck) {
  Node node(database.dsn(), {.patience = seconds(3)});
  Browser ann;
  ann.Post(node, "/surva.asp", "PIN=2221");
  {
    data::Connection blocker(node.database);
    blocker.Execute({GetParam() == data::Dialect::kSqlite
                         ? data::Piece("update Student set City=City")
                         : data::Piece("lock table VisitorSession, Mark in exclusive mode")});
    std::vector<Coming> stuck;
    for (int i = 0; i < 8; ++i) stuck.push_back(node.Send(RequestFor("/surva.asp", "", "PIN=2221")));
    EXPECT_FALSE(Comes(stuck.front(), milliseconds(50)));
    EXPECT_EQ(node.Send(RequestFor("/surva.asp")).get().status, 200U);
    EXPECT_EQ(node.Send(RequestFor("/admin/stat.asp")).get().status, 200U);
    node.Send(RequestFor("/healthz")).get();
    EXPECT_FALSE(Comes(stuck.front(), milliseconds(0)));
    // Whoever waits in the queue is told.
    EXPECT_EQ(stuck.back().get().status, 503U);
    blocker.Rollback();
    for (std::size_t i = 0; i + 1 < stuck.size(); ++i) stuck[i].wait();
  }
  EXPECT_EQ(ann.Post(node, "/surva.asp", "FormAccepted=45&324=at+last").status, 302U);
}

TEST_P(Visits, TheirHealthIsJudgedByWritingToo) {
  if (GetParam() == data::Dialect::kSqlite) {
    watch.fail_commit = true;
  } else {
    // As a standby is.
    RunOnServer("alter database " + database.postgres_name() + " set default_transaction_read_only = on");
  }
  const wire::HttpResponse ill = Browser().Get(node, "/healthz", "verbose");
  EXPECT_EQ(ill.status, 503U);
  EXPECT_NE(node.log.text().find("error: /healthz"), std::string::npos);
  EXPECT_EQ(ill.body.find("disk"), std::string::npos) << "nothing for strangers";
  if (GetParam() == data::Dialect::kPostgres) {
    RunOnServer("alter database " + database.postgres_name() + " reset default_transaction_read_only");
  }
  EXPECT_TRUE(Becomes([&] { return Browser().Get(node, "/healthz").status == 200; }));
}

TEST_P(Visits, ATroubledDatabaseIsToldAtOnce) {
  Browser browser;
  browser.Get(node, "/admin/company.asp", "Modify=1");
  browser.Get(node, "/admin/company.asp", "Modify=it's");
  EXPECT_EQ(node.log.text().find("error: "), std::string::npos);
  watch.away = true;
  browser.Get(node, "/admin/company.asp", "Modify=1");
  EXPECT_NE(node.log.text().find("error:  /admin/company.asp: The database does not answer."), std::string::npos);
  watch.away = false;
  if (GetParam() == data::Dialect::kPostgres) return;
  std::filesystem::remove(database.dsn().substr(std::string("sqlite:").size()));
  EXPECT_EQ(browser.Get(node, "/healthz").status, 503U);
  EXPECT_NE(node.log.text().find("deleted or replaced"), std::string::npos);
}

// Where the workers of all other lanes are busy, each request finds those of its own.
TEST_P(Visits, StandInTheLanesOfTheirKind) {
  const std::tuple<host::Lane, const char*, const char*, const char*> cases[] = {
      {host::Lane::kReading, "/surva.asp", "", ""},
      {host::Lane::kWriting, "/surva.asp", "version=41", ""},
      {host::Lane::kWriting, "/surva.asp", "", "Next=Next"},
      {host::Lane::kWriting, "/admin/import", "", "kind=students"},
      {host::Lane::kStaff, "/admin/report", "", ""},
      {host::Lane::kStaff, "/admin/company.asp", "", "Action=P"},
      {host::Lane::kPasswords, "/admin/sign-in", "", "name=x&password=x"},
  };
  for (const auto& [own, path, query, form] : cases) {
    Node node(database.dsn());
    std::latch release(1);
    for (std::size_t lane = 0; lane < host::kLanes; ++lane) {
      for (int worker = 0; worker < 2 && lane != static_cast<std::size_t>(own); ++worker) {
        node.workers.Post({.lane = static_cast<host::Lane>(lane),
                           .address = "a network",  // as the request, which comes behind it
                           .run = [&](auto) { release.wait(); },
                           .refuse = [] {}});
      }
    }
    EXPECT_NE(node.Ask(RequestFor(path, query, form)).status, 503U) << path << query << form;
    release.count_down();
    node.workers.Stop();
  }
}

// Pages wait for each other's connections there, and all goes well.
TEST(FullServer, IsNotIll) {
  TestDatabase database(data::Dialect::kPostgres);
  const std::string user = database.postgres_name() + "_few";
  RunOnServer("create role " + user + " superuser login");
  {
    Node node(PostgresAddress(database.postgres_name(), user));
    RunOnServer("alter role " + user + " nosuperuser connection limit 1");
    database->Take()->RunScript("grant all on all tables in schema public to " + user);
    EXPECT_EQ(Browser().Get(node, "/healthz").status, 200U) << node.log.text();
  }
  database->Take()->RunScript("drop owned by " + user);
  RunOnServer("drop role " + user);
}

// What is written in place finds room there for long; what is added, as an acceptance, does not.
TEST(FullDisk, IsSeenByWhatIsAdded) {
  TestDatabase database(data::Dialect::kPostgres);
  Node node(database.dsn());
  database->Take()->RunScript(
      "create function no_room() returns event_trigger language plpgsql as $$ begin raise exception using "
      "errcode='disk_full'; end $$; create event trigger no_room on ddl_command_start execute function no_room()");
  EXPECT_EQ(Browser().Get(node, "/healthz").status, 503U);
}

TEST(HangingDatabase, IsToldAllTheSame) {
  std::latch release(1);
  TestDatabase database(data::Dialect::kSqlite);
  Watch watch;
  Node node(database.dsn(), {.wrap = WatchedEngine::Around(watch)});
  watch.hangs = &release;
  // Nobody waits for what is known.
  for (const int askers : {3, 1}) {
    std::vector<Coming> asked;
    for (int i = 0; i < askers; ++i) {
      asked.push_back(node.Send(RequestFor("/healthz")));
      EXPECT_FALSE(askers > 1 && Comes(asked.back(), milliseconds(50))) << "it is being looked at";
    }
    for (Coming& coming : asked) {
      ASSERT_TRUE(Comes(coming, seconds(20)));
      EXPECT_EQ(coming.get().status, 503U);
    }
  }
  release.count_down();
}

}  // namespace
}  // namespace surva::test
