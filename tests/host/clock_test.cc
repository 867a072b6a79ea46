// One clock: the program's. The database server's does not count, and setting the machine's ends nothing.
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <ctime>

#include "guard/accounts.h"
#include "guard/gate.h"
#include "guard/staff_sessions.h"
#include "host/visitor_sessions.h"
#include "tests/support/node.h"

namespace {

std::atomic<std::time_t> set_by = 0;  // seconds by which somebody has set the machine's clock

}  // namespace

// In the C library's place, for the whole program.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  const auto code = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
  if (clock == CLOCK_REALTIME) time->tv_sec += set_by;
  return code;
}
extern "C" std::time_t time(std::time_t* out) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  if (out != nullptr) *out = now.tv_sec;
  return now.tv_sec;
}

namespace surva::test {
namespace {

class OneClock : public TwoNodes {
 protected:
  ~OneClock() override { set_by = 0; }
};
SURVA_ON_BOTH_ENGINES(OneClock);

TEST_P(OneClock, MayBeSetBackAndForthAndEndsNoVisit) {
  data::Connection db(*database);
  guard::Accounts(db).Add("anna", guard::Role::kOwner, "a long password");
  Browser staff;
  staff.cookies.values["surva_staff"] = guard::StaffSessions(db, {}).Begin("anna", guard::SecondsNow());
  db.Commit();
  Browser before;
  before.Post(node, "/surva.asp", "PIN=2221");
  const std::int64_t begin = guard::SecondsNow();
  for (const std::time_t days : {-3, 3}) {
    set_by = days * 24 * 60 * 60;
    ASSERT_GT(std::abs(std::time(nullptr) - begin), 2 * 24 * 60 * 60);
    Browser meanwhile;
    meanwhile.Post(node, "/surva.asp", days < 0 ? "PIN=2222" : "PIN=0001");
    for (const std::time_t now : {set_by.load(), std::time_t{0}}) {
      set_by = now;
      host::PurgeSessions(db);
      guard::Gate().Purge(db, guard::SecondsNow());
      db.Commit();
      EXPECT_EQ(before.Post(node, "/surva.asp", "FormAccepted=45&324=before").status, 302U);
      EXPECT_EQ(meanwhile.Post(node, "/surva.asp", "FormAccepted=45&324=meanwhile").status, 302U);
      EXPECT_EQ(staff.Get(node, "/admin/company.asp").status, 200U);
    }
  }
  EXPECT_EQ(Read({"select count(*) from Mark where MarkID>531 and QuestionID=81"}), "3");
  EXPECT_LT(guard::SecondsNow() - begin, 60 * 60);
}

// What the pages stamp is seen by the roads; the history's moment is the database's own to write.
TEST_P(OneClock, StampsWhateverTheServersShows) {
  if (GetParam() == data::Dialect::kPostgres) {
    RunOnServer("alter database " + database.postgres_name() + " set timezone = 'Pacific/Kiritimati'");
    database->Take()->RunScript("create or replace function now() returns timestamp language sql as "
                                "$$ select timestamp '1999-01-01' $$");
  }
  Node node(database.dsn(), {.patience = std::chrono::minutes(1)});
  const DateTime begin = Clock::System().Now();
  Browser().Get(node, "/admin/CreateForm.asp", "DeleteSurva=49");
  data::Connection db(node.database);
  const DateTime at = db.Query({"select max(ChangedAt) from History"}).First()[0].Date();
  EXPECT_TRUE(begin <= at && at <= Clock::System().Now()) << IsoText(at);
}

}  // namespace
}  // namespace surva::test
