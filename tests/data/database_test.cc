// Data sources: what becomes of a file that is not the one it was, of a log that grows, of a server without a
// connection to spare, what is set on connections.
#include <pthread.h>
#include <sys/resource.h>

#include <chrono>
#include <csignal>
#include <future>
#include <thread>

#include "frame/data/connection.h"
#include "frame/data/forwarding_engine.h"
#include "frame/data/prepared_texts.h"
#include "tests/support/test_database.h"
#include "tests/support/watching.h"

namespace surva::test {
namespace {

using namespace std::chrono_literals;
using namespace data;
namespace fs = std::filesystem;

class SqliteFile : public ::testing::Test {
 protected:
  TestDatabase database{Dialect::kSqlite};
  const fs::path file = database.dsn().substr(std::string("sqlite:").size());
  const fs::path away = file.string() + ".away";
};

// Nothing is thanked for that would be lost, nothing is lost that was, and no second database comes into being. `-wal`
// and `-shm` are SQLite's log of changes and its index.
TEST_F(SqliteFile, TakesNothingWhenItIsNotTheOneThatWasOpened) {
  int thanked = 0;
  const auto thank = [&](bool shares) {
    EXPECT_EQ(StoreMessage(*database, "kept", shares), FaultNumber{});
    ++thanked;
  };
  for (const bool replaced : {false, true}) {
    for (const std::string end : {"", "-wal", "-shm"}) {
      int broken = 0;
      database->OnBrokenLog([&](const char*) { ++broken; });
      for (const bool shares : {true, false}) thank(shares);
      fs::rename(file.string() + end, away.string() + end);
      if (replaced) fs::copy_file(away.string() + end, file.string() + end);
      for (const bool shares : {replaced, !replaced}) {
        EXPECT_EQ(StoreMessage(*database, "lost", shares), FaultNumber::kConnectionFailed) << end << replaced;
      }
      EXPECT_EQ(broken, end.empty() ? 0 : 1) << end << replaced;
      if (end.empty()) {
        EXPECT_THROW(database->CheckIdentity(), Fault);
        EXPECT_EQ(fs::exists(file), replaced);
        fs::rename(away.string() + end, file.string() + end);
      }
      database.Reopen();
      database->CheckIdentity();
    }
  }
  EXPECT_EQ(Read(*database, {"select count(*), min(Message), max(Message) from Message"}),
            std::to_string(thanked) + ",kept,kept");
  const std::string other = file.string() + ".none";
  EXPECT_THROW(Database("sqlite:" + other, {}, MissingFile::kRefused), Fault);
  EXPECT_FALSE(fs::exists(other));
}

// Nor once somebody has copied an older one over it, or has cut its log off.
TEST_F(SqliteFile, TakesNothingOnceAnotherProgramHasWrittenIntoIt) {
  const auto refuses = [&](int broken) {
    int seen = 0;
    database->OnBrokenLog([&](const char*) { ++seen; });
    for (const bool shares : {true, false})
      EXPECT_EQ(StoreMessage(*database, "lost", shares), FaultNumber::kConnectionFailed);
    EXPECT_EQ(seen, broken);
    database->Close();
    database.Reopen();
    EXPECT_EQ(Read(*database, {"select group_concat(Message) from Message"}), "older");
  };
  StoreMessage(*database, "older");
  database.Reopen();
  fs::copy_file(file, away);
  StoreMessage(*database, std::string(10000, 'x').c_str());
  database.Reopen();
  StoreMessage(*database, "newer");
  fs::copy_file(away, file, fs::copy_options::overwrite_existing);
  refuses(0);
  StoreMessage(*database, "cut off");
  fs::resize_file(file.string() + "-wal", 4096);
  refuses(1);
}

// Also where the thread that sees to it cannot be started at first, and then cannot open the file: the commits stand.
TEST_F(SqliteFile, LogOfChangesShrinksAgain) {
  const std::string text(1'000'000, 'x');
  const auto write = [&](int count) {
    for (int i = 0; i < count; ++i) ASSERT_EQ(StoreMessage(*database, text), FaultNumber{});
  };
  {
    Connection db(*database);
    const std::unique_ptr<Engine> reader = database->Take();
    reader->RunScript("BEGIN; SELECT count(*) FROM Message");
    pthread_attr_t usual;
    pthread_attr_t immense;
    pthread_getattr_default_np(&usual);
    pthread_attr_init(&immense);
    pthread_attr_setstacksize(&immense, std::size_t{1} << 46);
    pthread_setattr_default_np(&immense);
    write(15);
    pthread_setattr_default_np(&usual);
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    const rlimit none{3, files.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    write(10);
    setrlimit(RLIMIT_NOFILE, &files);
    EXPECT_GT(fs::file_size(file.string() + "-wal"), 20'000'000U);
    reader->RunScript("COMMIT");
  }
  // It is taken over beside the commits.
  const std::string log = file.string() + "-wal";
  for (int tries = 0; tries < 1000 && fs::file_size(log) >= 17'000'000; ++tries) {
    write(1);
    std::this_thread::sleep_for(5ms);
  }
  EXPECT_LT(fs::file_size(log), 17'000'000U);
}

// A disk that fails twice: under the first write, and where the transaction begins anew.
class FailsTwice final : public ForwardingEngine {
 public:
  FailsTwice(std::unique_ptr<Engine> engine, int& failures)
      : ForwardingEngine(std::move(engine)), failures_(failures) {}
  Rows Run(Statement statement, Effect effect) override {
    if (InTransaction() && failures_ == 0) Fail();
    return engine_->Run(statement, effect);
  }
  void Begin() override {
    if (failures_ == 1) Fail();
    engine_->Begin();
  }
  bool Usable() const override { return usable_ && engine_->Usable(); }

 private:
  void Fail() {
    ++failures_;
    usable_ = false;
    throw Fault(FaultNumber::kConnectionFailed, "surva database", "The database does not answer.");
  }
  int& failures_;
  bool usable_ = true;
};

// What comes behind two failures is of one transaction still, which goes as a whole.
TEST_F(SqliteFile, WritesNothingOutsideATransaction) {
  int failures = 0;
  Database failing(database.dsn(),
                   [&](auto engine) { return std::make_unique<FailsTwice>(std::move(engine), failures); });
  Connection db(failing);
  const auto add = [&] { db.Execute({"insert into Message (Message) values ('part')"}); };
  EXPECT_THROW(add(), Fault);
  EXPECT_EQ(failures, 2);
  add();
  db.Rollback();
  EXPECT_EQ(Read(*database, {"select count(*) from Message"}), "0");
}

class OneConnection : public OnBothEngines {};
SURVA_ON_BOTH_ENGINES(OneConnection);

// Whatever is asked, and whatever is refused once its text has been taken in: each statement kept costs memory.
TEST_P(OneConnection, KeepsABoundedNumberOfStatements) {
  TestDatabase database(GetParam());
  Connection db(*database);
  const Piece kept = GetParam() == Dialect::kSqlite ? Piece("sqlite_stmt") : Piece("pg_prepared_statements");
  for (int round = 0; round < 2; ++round) {
    for (int number = 0; number < 500; ++number) {
      std::vector<Piece> statement = {"select ", Number(number)};
      for (int bits = number + 512; bits > 1; bits /= 2) {
        statement.push_back(bits % 2 == 0 ? Piece("+0*1") : Piece("+1*0"));
      }
      EXPECT_EQ(db.Query(statement).First()[0].Integer(), number);
      if (round == 0) continue;
      EXPECT_THROW(db.Execute({"insert into Message (MessageID) values (1), (1)"}), Fault);
    }
    EXPECT_LE(db.Query({"select count(*) from ", kept}).First()[0].Integer(), kMostPrepared);
    db.Rollback();
  }
}

class PostgresServer : public ::testing::Test {
 protected:
  TestDatabase database{Dialect::kPostgres};
};

TEST_F(PostgresServer, WithoutAConnectionToSpareIsWaitedFor) {
  const std::string user = database.postgres_name() + "_few";
  RunOnServer("create role " + user + " login connection limit 2");
  {
    Database few(PostgresAddress(database.postgres_name(), user));
    auto one = std::make_unique<Connection>(few);
    one->Query({"select 1"});
    Connection two(few);
    two.Query({"select 1"});
    const std::jthread holder([&one] {
      std::this_thread::sleep_for(300ms);
      one.reset();
    });
    EXPECT_EQ(Read(few, {"select 3"}), "3");
  }
  RunOnServer("drop role " + user);
}

// A request whose connection was lost while nobody used it, and who gets no other, has stored nothing; he may go on if
// there is one again, under the locks that he asked for.
TEST_F(PostgresServer, WithoutAnotherConnectionARequestAloneFails) {
  const std::string user = database.postgres_name() + "_lost";
  RunOnServer("create role " + user + " login superuser");
  Database lost(PostgresAddress(database.postgres_name(), user));
  for (const bool writes_at_end : {false, true}) {
    for (const bool comes_back : {false, true}) {
      Read(lost, {"select 1"});
      Connection db(lost);
      db.Hold("a visitor");
      RunOnServer("alter role " + user + " nologin");
      RunOnServer("select pg_terminate_backend(pid, 5000) from pg_stat_activity where usename='" + user + "'");
      EXPECT_THROW(db.Query({"select 1"}), Fault);
      if (writes_at_end) db.ExecuteAtCommit({"insert into Message (Message) values ('last')"});
      if (comes_back) {
        RunOnServer("alter role " + user + " login");
        EXPECT_EQ(Read(db, {"select count(*) from pg_locks where locktype='advisory' and pid=pg_backend_pid()"}), "1");
      }
      if (writes_at_end && !comes_back) {
        EXPECT_THROW(db.Commit(), Fault);
      } else {
        db.Commit();
      }
      RunOnServer("alter role " + user + " login");
    }
  }
  EXPECT_EQ(Read(*database, {"select count(*) from Message"}), "1");
  lost.Close();
  RunOnServer("drop role " + user);
}

TEST_F(PostgresServer, ConnectionsHaveLimitsThatTheAddressMayChange) {
  const auto limits = [](Database& opened) {
    return Read(opened, {"select current_setting('statement_timeout'), current_setting('lock_timeout'), "
                         "current_setting('tcp_keepalives_idle')"});
  };
  EXPECT_EQ(limits(*database).substr(0, 6), "30s,5s");
  Database own(database.dsn() + "&options=-c%20statement_timeout%3D200ms");
  EXPECT_EQ(limits(own).substr(0, 8), "200ms,5s");
  EXPECT_THROW(Read(own, {"select pg_sleep(5)"}), Fault);
  // Without a limit a lock is waited for until the deadline, if there is one.
  Database patient(database.dsn() + "&options=-c%20lock_timeout%3D0");
  for (const bool has_deadline : {false, true}) {
    Connection db(patient);
    if (has_deadline) db.SetDeadline(std::chrono::steady_clock::now() + 1h);
    db.Lock("a thing");
    EXPECT_EQ(Read(db, {"select current_setting('lock_timeout')::interval > interval '50 minutes'"}),
              has_deadline ? "-1" : "0");
  }
}

// Its machine or its disk stands still: nothing ends the connection, and no limit of its own ends the statement.
TEST_F(PostgresServer, AServerThatHangsIsGivenUp) {
  Database own(database.dsn() + "&options=-c%20statement_timeout%3D100ms");
  Connection reader(own);
  Connection writer(own);
  std::vector<pid_t> servers;
  for (Connection* connection : {&reader, &writer}) {
    connection->SetDeadline(std::chrono::steady_clock::now() + 1s);
    servers.push_back(std::stoi(Read(*connection, {"select pg_backend_pid()"})));
  }
  writer.Execute({"insert into Message (Message) values ('there in the end')"});
  for (const pid_t server : servers) ASSERT_EQ(kill(server, SIGSTOP), 0);
  const auto fault_of = [](const auto& ask) {
    try {
      ask();
    } catch (const Fault& fault) {
      return fault.number();
    }
    return FaultNumber{};
  };
  auto read = std::async(std::launch::async, [&] { return fault_of([&] { reader.Query({"select 1"}); }); });
  EXPECT_EQ(fault_of([&] { writer.Commit(); }), FaultNumber::kCommitInDoubt);
  EXPECT_EQ(read.get(), FaultNumber::kConnectionFailed);
  for (const pid_t server : servers) kill(server, SIGCONT);
  EXPECT_TRUE(Becomes([&] { return Read(*database, {"select count(*) from Message"}) == "1"; }));
}

// The server ends in the middle of the commit: what was written may stand or not, and nobody may say that it does not.
TEST_F(PostgresServer, ACommitWithoutAReplyIsInDoubt) {
  database->Take()->RunScript(
      "create function linger() returns trigger language plpgsql as $$ begin perform pg_sleep(5); return null; end $$; "
      "create constraint trigger linger after insert on Message deferrable initially deferred "
      "for each row execute function linger()");
  const std::jthread killer([this] {
    Database server(PostgresAddress("postgres"));
    EXPECT_TRUE(Becomes([&] {
      const std::string ended = Read(server, {"select count(pg_terminate_backend(pid)) from pg_stat_activity where "
                                              "wait_event='PgSleep' and datname=",
                                              Text(database.postgres_name())});
      return ended == "1";
    }));
  });
  EXPECT_EQ(StoreMessage(*database, "one"), FaultNumber::kCommitInDoubt);
}

}  // namespace
}  // namespace surva::test
