// PostgresLink: one connection to a PostgreSQL server through libpq, and round trips of several statements on it.
#pragma once

#include <libpq-fe.h>

#include <chrono>
#include <memory>
#include <span>
#include <string>

#include "frame/data/engine.h"

namespace surva::data {

struct ClearResult {
  void operator()(PGresult* result) const { PQclear(result); }
};
using PostgresResult = std::unique_ptr<PGresult, ClearResult>;

class PostgresLink {
 public:
  // Connects; `traffic` counts. Throws Fault.
  PostgresLink(const std::string& address, Traffic& traffic);

  // How long an answer may be awaited; 0 is for ever. A server that is alive answers within its own limits; what hangs
  // (its disk, its machine) would hold whoever asked. A link whose answer did not come is lost: what the server makes
  // of the question when it wakes nobody knows.
  void SetPatience(std::chrono::milliseconds patience) { patience_ = patience; }

  bool usable() const { return !broken_ && PQstatus(connection_.get()) == CONNECTION_OK; }
  bool in_transaction() const { return PQtransactionStatus(connection_.get()) != PQTRANS_IDLE; }

  // What is added goes out with Finish, in one round trip: a text without values, a statement to be prepared under a
  // name, one that was, with its values.
  void Add(const std::string& text);
  void AddPrepare(const std::string& name, const std::string& text);
  void AddPrepared(const std::string& name, std::span<const std::string> values);
  // Gives the last statement's result, or that of the first that failed: those behind it are not carried out.
  PostgresResult Finish();
  static bool Succeeded(const PGresult* result);
  // Whether a prepared statement gives other columns than when it was prepared: a later version has added some.
  static bool IsOutdated(const PGresult* result);
  // Whether the server took in, in the last round trip, the statement that was to be prepared.
  bool prepared() const { return prepare_ < done_; }

  // Several statements of the program's own, in a round trip without a pipeline. Throws Fault.
  void Run(const std::string& script);
  // The same where a failure is of no further consequence.
  void TryRun(const std::string& script) noexcept;

  // Whether the server has warned since the last question.
  bool TakeWarning() { return std::exchange(warned_, false); }

  // Throws the Fault that a failed result stands for; null is a failure of the connection.
  [[noreturn]] void Fail(const PGresult* result) const;

 private:
  struct CloseConnection {
    void operator()(PGconn* connection) const { PQfinish(connection); }
  };
  void Enter();
  void Sent(int code);
  bool Await();
  PostgresResult Ask(const std::string& script);

  std::unique_ptr<PGconn, CloseConnection> connection_;
  Traffic& traffic_;
  int added_ = 0;    // since the last Finish
  int prepare_ = 0;  // which of these prepares
  int done_ = 0;     // how many of the last round trip were carried out
  bool broken_ = false;
  bool warned_ = false;
  std::chrono::milliseconds patience_{45'000};
};

}  // namespace surva::data
