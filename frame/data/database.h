// Database: a data source by its name (sqlite:PATH or a postgresql:// address), and its open connections, kept and
// used again.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "frame/data/change_log.h"
#include "frame/data/engine.h"
#include "frame/data/shared_flush.h"
#include "frame/data/shared_transaction.h"
#include "frame/data/sqlite_engine.h"

namespace surva::data {

// Lets the writers of one process through one after the other, the longest waiting first as a rule.
class WriteGate {
 public:
  // False if the turn did not come within the time; without any, this does not wait.
  bool Enter(std::chrono::milliseconds patience);
  void Leave();

 private:
  bool IsOverdue() const;  // the one who has waited longest

  std::mutex mutex_;
  std::vector<struct WriteWaiter*> waiting_;
  bool taken_ = false;
};

class Database {
 public:
  // At once, of one program.
  static constexpr std::size_t kMostConnections = 64;

  // A test may put an engine of its own in front of the real one.
  using Wrap = std::function<std::unique_ptr<Engine>(std::unique_ptr<Engine>)>;

  // Throws Fault (a connection that fails) or SchemaError (a name of no known form). Opens one connection to see; this
  // alone may make a SQLite file that is `missing`, no later one does.
  explicit Database(std::string dsn, Wrap wrap = {}, MissingFile missing = MissingFile::kMade);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  const std::string& dsn() const { return dsn_; }
  Dialect dialect() const { return dialect_; }

  // Makes or upgrades the tables.
  void BringUpToDate();
  // For a program that is going to serve: sees to it that what it found in SQLite's log of changes is on disk.
  void SettleLog();

  // A Fault if the file under the database's name is not the one that was opened. PostgreSQL has none to be checked.
  void CheckIdentity() const;

  // An open connection, and back. A connection that is no longer usable is closed, not kept. While the server has no
  // connection to spare, or kMostConnections are open, Take waits some seconds for one that comes back, not beyond the
  // deadline, which is the connection's own then.
  std::unique_ptr<Engine> Take(Engine::Time deadline = Engine::Time::max());
  void Give(std::unique_ptr<Engine> engine);

  // Null where the engine itself puts its writers in order.
  WriteGate* write_gate() { return dialect_ == Dialect::kSqlite ? &gate_ : nullptr; }

  // Null there too.
  SharedTransaction* shared_transaction() { return dialect_ == Dialect::kSqlite ? &shared_transaction_ : nullptr; }
  // Commits for all requests that have left the shared transaction.
  void CommitShared();
  // Through this, commits of one moment share a flush to disk.
  SharedFlush& shared_flush() { return shared_flush_; }
  const Traffic& traffic() const { return traffic_; }

  // Is called once, on any thread, when a flush to SQLite's disk has failed or its log of changes has been taken away:
  // nothing is written any more, and a fresh program has to go on (see ChangeLog).
  void OnBrokenLog(std::function<void(const char* why)> act) { change_log_.OnBreak(std::move(act)); }

  // Writes what is still in the log of changes into the database file and closes the kept connections.
  void Close();

 private:
  using SteadyClock = std::chrono::steady_clock;

  std::unique_ptr<Engine> Open(MissingFile missing = MissingFile::kRefused);
  std::unique_ptr<Engine> TakeIdle(SteadyClock::time_point deadline);

  const std::string dsn_;
  const Wrap wrap_;
  const Dialect dialect_;
  const std::string address_;
  WriteGate gate_;
  ChangeLog change_log_{address_, gate_};
  SharedFlush shared_flush_;
  Traffic traffic_;
  FileIdentity identity_;
  std::mutex mutex_;
  std::condition_variable given_;
  std::vector<std::unique_ptr<Engine>> idle_;
  std::size_t in_use_ = 0;
  WriteGate shared_gate_;
  SharedTransaction shared_transaction_{*this, gate_, shared_gate_};
};

}  // namespace surva::data
