// What stands and what does not, when statements, pages, connections and machines fail.
#include <functional>
#include <map>
#include <thread>
#include <vector>

#include "frame/data/connection.h"
#include "frame/values/fault.h"
#include "tests/support/recorded.h"
#include "tests/support/test_database.h"

namespace surva::test {
namespace {

using namespace data;
using namespace data::tables;

// The locks of PostgreSQL that are held.
std::string HeldLocks(TestDatabase& database) {
  return Read(*database, {"select count(*) from pg_locks where locktype='advisory' and database="
                          "(select oid from pg_database where datname=current_database())"});
}

class Transactions : public OnBothEngines {
 protected:
  TestDatabase database{GetParam()};

  static void Add(Connection& db, const std::string& message) {
    db.AddNew(kMessage).Set("Message", Value(message)).Update();
  }
};
SURVA_ON_BOTH_ENGINES(Transactions);

constexpr const char* kLong = "a message that is longer than the sixty characters that a choice may have";

// Each letter of a word is a step of one request, and a write puts its place down: "w" as a statement, "e" at the
// commit, which comes with "c" and behind the last step, unless that is "." and the request is gone. What stands in ( )
// is an inner transaction, in [ ] one that is undone; "u" undoes all of it. Told are the places that stand then, the
// steps that failed, and for each "?" what is seen of the rows by the request and by others.
TEST_P(Transactions, Cases) {
  std::string seen;
  const std::map<char, std::function<void(Connection&, const std::string&)>> take = {
      {'w', [](auto& db, const auto& at) { Add(db, at); }},
      {'e',
       [](auto& db, const auto& at) {
         db.ExecuteAtCommit({"insert into Message (Message) values (", Text(at), ")"});
       }},
      {'(', [](auto& db, const auto&) { db.BeginTrans(); }},
      {'[', [](auto& db, const auto&) { db.BeginTrans(); }},
      {')', [](auto& db, const auto&) { db.CommitTrans(); }},
      {']', [](auto& db, const auto&) { db.RollbackTrans(); }},
      {'h', [](auto& db, const auto& at) { db.Hold(at); }},
      {'l', [](auto& db, const auto& at) { db.Lock(at); }},
      {'c', [](auto& db, const auto&) { db.Commit(); }},
      {'u', [](auto& db, const auto&) { db.Rollback(); }},
      {'r', [](auto& db, const auto&) { db.Query({"select * from Message"}); }},
      // Fails at the commit.
      {'f',
       [](auto& db, const auto&) {
         db.ExecuteAtCommit({"insert into FieldValue (FieldValue) values (", Text(kLong), ")"});
       }},
      // A value that the table refuses, a statement and a read that the engine does not understand.
      {'v', [](auto& db, const auto&) { db.AddNew(kFieldValue).Set("FieldValue", Value(kLong)).Update(); }},
      {'s', [](auto& db, const auto&) { db.Execute({"update Message set NoColumn=1"}); }},
      {'x', [](auto& db, const auto&) { db.Query({"select NoColumn from Message"}); }},
      // Fails after some of its rows are written.
      {'p',
       [](auto& db, const auto&) {
         db.Execute({"insert into FieldValue (FieldValue) select Message from Message order by MessageID"});
       }},
      // A date of a text that is none.
      {'d', [](auto& db, const auto&) { db.Query({"select CDate(Message) as d from Message where MessageID=1"}); }},
      {'!', [&](auto&, const auto&) { seen += " " + HeldLocks(database); }},
      {'?', [&](auto& db, const auto&) {
         const std::initializer_list<Piece> count = {"select count(*) from Message where MessageID>2"};
         seen += ", sees " + Read(db, count) + " and others " + Read(*database, count);
         if (db.HasWritten()) seen += ", has written";
       }}};
  Write(*database, {"insert into Message (Message) values ('first')"});
  Write(*database, {"insert into Message (Message) values (", Text(kLong), ")"});
  const auto request = [&](const std::string& steps) {
    std::string failed;
    seen.clear();
    {
      Connection db(*database);
      for (std::size_t at = 0; at <= steps.size(); ++at) {
        const char step = at < steps.size() ? steps[at] : 'c';
        if (step == '.') break;
        try {
          take.at(step)(db, std::to_string(at));
        } catch (const Fault&) {
          failed += " " + std::to_string(at) + step;
        }
      }
    }
    const std::string stands = Read(*database, {"select Message from Message where MessageID>2 order by MessageID"});
    EXPECT_EQ(Read(*database, {"select count(*) from FieldValue"}), "0") << steps;
    Write(*database, {"delete from Message where MessageID>2"});
    return stands + " stand, failed:" + failed + seen;
  };
  // Rows that take others' places, as if one statement came after the other.
  const auto replace = [&](const std::vector<std::string>& rows) {
    const auto value = [](const std::string& word) { return word == "null" ? Value() : Value(word); };
    RowBatch batch(kFieldValue, {"QuestionID", "FieldValue"});
    bool failed = false;
    Connection db(*database);
    Add(db, "before");
    try {
      db.Replace("a thing", {"delete from FieldValue where QuestionID<", Number(9)}, batch, [&] {
        for (std::size_t i = 0; i + 1 < rows.size(); i += 2) batch.Add({value(rows[i]), value(rows[i + 1])});
      });
    } catch (const Fault&) {
      failed = true;
    }
    Add(db, "behind");
    db.Commit();
    EXPECT_EQ(Read(*database, {"select Message from Message where MessageID>2"}), "before behind");
    Write(*database, {"delete from Message where MessageID>2"});
    return Read(*database, {"select QuestionID, FieldValue from FieldValue order by FieldValueID"}) +
           (failed ? " failed" : "");
  };
  // Locks survive a failed statement, also one that failed in their own round trip, and are nobody's after the end.
  if (GetParam() == Dialect::kPostgres) {
    EXPECT_EQ(request("hxr!xr!lxw!lx[lr]r!c!"), "9 stand, failed: 1x 4x 8x 12x 1 1 2 4 0");
  }
  PlayCases("tests/data/transaction.cases", {.each = {{"request", request}}, .lines = {{"replace", replace}}});
}

// A node of a later version upgrades the tables under one that serves.
TEST_P(Transactions, GoOnWhenATableGetsAColumn) {
  Write(*database, {"insert into Message (Message) values ('stands')"});
  Database later(database.dsn());
  int columns = 0;
  for (const std::string steps : {"r", "r", "wr", "rwr", "wr"}) {
    Connection db(*database);
    db.Hold("visitor");
    for (const char step : steps) {
      const std::string read = step == 'r' ? db.Query({"select * from Message"}).First()["Message"].Text() : "stands";
      EXPECT_EQ(read, "stands") << steps;
      if (step == 'w') Add(db, "added");
    }
    EXPECT_EQ(Read(db, {"select count(*) from Message"}), steps.find('w') == std::string::npos ? "1" : "2") << steps;
    EXPECT_EQ(GetParam() == Dialect::kPostgres ? HeldLocks(database) : "1", "1") << steps;
    db.Rollback();
    later.Take()->RunScript("alter table Message add column Later" + std::to_string(++columns) + " integer");
  }
}

// What is asked for at the last moment holds for this commit and for no other.
TEST(PostgresTransactions, ACommitToMemoryIsOneRequestsOwn) {
  TestDatabase database(Dialect::kPostgres);
  database->Take()->RunScript(
      "create function note() returns trigger language plpgsql as $$ begin "
      "insert into Company (CompanyName) values (current_setting('synchronous_commit')); return null; end $$; "
      "create constraint trigger note after insert on Message deferrable initially deferred "
      "for each row execute function note()");
  for (const Durability durability : {Durability::kDisk, Durability::kMemory, Durability::kMemory, Durability::kDisk}) {
    Connection db(*database);
    db.AddNew(kMessage).Set("Message", Value("kept")).Update();
    db.SetDurability(durability);
    db.Commit();
  }
  EXPECT_EQ(Read(*database, {"select CompanyName from Company order by CompanyID"}), "on off off on");
}

// Each request reads a number, waits a moment and writes the next one: without the lock they would overwrite each
// other, or see what stood before it.
TEST_P(Transactions, ALockedThingPassesFromOneRequestToTheNext) {
  if (GetParam() == Dialect::kPostgres) {
    RunOnServer("alter database " + database.postgres_name() +
                " set default_transaction_isolation to 'repeatable read'");
    database.Reopen();
  }
  Write(*database, {"insert into Message (Message, StudentID) values ('count', 0)"});
  AtOnce(6, [this](int) {
    for (int request = 0; request < 5; ++request) {
      Connection db(*database);
      db.Hold("visitor");
      db.Query({"select 1 as One"});
      db.Lock("the count");
      const std::int64_t count = db.Query({"select StudentID as N from Message"}).First()["N"].Integer();
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
      EXPECT_THROW(db.Execute({"update Message set NoColumn=1"}), Fault);
      db.Execute({"update Message set StudentID=", Number(count + 1)});
      db.Commit();
    }
  });
  EXPECT_EQ(Read(*database, {"select StudentID from Message"}), "30");
}

// Another program, or an administrator, holds the rows: the wait ends when the request's time is over, however often it
// has to wait.
TEST_P(Transactions, WhatOthersHoldIsWaitedForUntilTheDeadline) {
  using std::chrono::steady_clock;
  Write(*database, {"insert into Message (Message) values ('held')"});
  Database other(database.dsn());
  Connection holder(other);
  holder.Lock("a thing");
  holder.Execute({"update Message set Message='still held'"});
  const auto begin = steady_clock::now();
  const auto deadline = begin + std::chrono::milliseconds(400);
  Connection db(*database);
  db.SetDeadline(deadline);
  for (const bool by_name : {true, false}) {
    const auto write = [&] {
      if (by_name) db.Lock("a thing of its own");
      db.Execute({"update Message set Message='lost'"});
    };
    EXPECT_THROW(write(), Fault);
    db.Rollback();
    db.SetDeadline(deadline);
  }
  const auto waited = steady_clock::now() - begin;
  EXPECT_GE(waited, std::chrono::milliseconds(380));
  EXPECT_LT(waited, std::chrono::seconds(4)) << "two waits of its own patience";
  db.SetDeadline(steady_clock::time_point::max());
  holder.Commit();
  Add(db, "kept");
  db.Commit();
  EXPECT_EQ(Read(*database, {"select Message from Message order by MessageID"}), "still held kept");
}

// A statement that has waited in vain has used the time up for those behind it.
TEST(PostgresTransactions, WaitNoLongerForHavingWaitedBefore) {
  TestDatabase database(Dialect::kPostgres);
  Write(*database, {"insert into Message (Message) values ('held')"});
  Connection holder(*database);
  holder.Execute({"update Message set Message='still held'"});
  const auto begin = std::chrono::steady_clock::now();
  Connection db(*database);
  db.SetDeadline(begin + std::chrono::milliseconds(500));
  db.Execute({"insert into Company (CompanyName) values ('free')"});
  for (int i = 0; i < 20; ++i) EXPECT_THROW(db.Execute({"delete from Message"}), Fault);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

// In the middle of a request a lost connection is a failure: what was written before is gone with it.
TEST(LostConnection, IsOpenedAgainForTheNextRequest) {
  TestDatabase database(Dialect::kPostgres);
  const auto lose = [&] {
    RunOnServer("select pg_terminate_backend(pid) from pg_stat_activity where datname='" + database.postgres_name() +
                "'");
  };
  {
    Connection kept[3] = {Connection(*database), Connection(*database), Connection(*database)};
    for (Connection& db : kept) db.Query({"select * from Message"});
  }
  lose();
  for (int request = 0; request < 4; ++request) EXPECT_EQ(Read(*database, {"select count(*) from Message"}), "0");
  lose();
  Connection db(*database);
  db.Lock("a thing");
  db.Execute({"insert into Message (Message) values ('one')"});
  EXPECT_EQ(HeldLocks(database), "1");
  db.Commit();
  // Behind the first statement, also where that went through a connection opened anew.
  for (const bool opened_anew : {true, false}) {
    Connection late(*database);
    if (opened_anew) lose();
    late.AddNew(kMessage).Set("Message", Value("lost")).Update();
    lose();
    try {
      late.AddNew(kMessage).Set("Message", Value("lost")).Update();
      FAIL() << "the loss went unnoticed";
    } catch (const Fault& fault) {
      EXPECT_EQ(fault.number(), FaultNumber::kConnectionFailed);
    }
    EXPECT_THROW(late.Commit(), Fault) << "a request whose first writes are lost is not answered with success";
  }
  EXPECT_EQ(Read(*database, {"select Message from Message"}), "one");
}

}  // namespace
}  // namespace surva::test
