// TestDatabase: a database of one test's own, with the schema in it, gone when the test is over.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>

#include "frame/data/connection.h"
#include "frame/values/fault.h"

namespace surva::test {

enum class Tables { kMade, kNone };

class TestDatabase {
 public:
  // A SQLite file in a folder of its own, or a database on the server that SURVA_TEST_POSTGRES names. Throws if the
  // variable is missing: a test never passes because its engine is not there.
  explicit TestDatabase(data::Dialect dialect, Tables tables = Tables::kMade);
  ~TestDatabase();
  TestDatabase(const TestDatabase&) = delete;
  TestDatabase& operator=(const TestDatabase&) = delete;

  const std::string& dsn() const { return dsn_; }
  // The database's name on the PostgreSQL server.
  const std::string& postgres_name() const { return postgres_name_; }
  // Closes the database, lets `meanwhile` work on its file, and opens it again.
  void Reopen(const std::function<void()>& meanwhile = [] {});
  data::Database& operator*() { return *opened_; }
  data::Database* operator->() { return opened_.get(); }

 private:
  const data::Dialect dialect_;
  std::string dsn_;
  std::string postgres_name_;
  std::filesystem::path sqlite_folder_;
  std::unique_ptr<data::Database> opened_;
};

// The test server's address with another database, and another user if one is given, in it.
std::string PostgresAddress(const std::string& database, const std::string& user = "postgres");
// Runs SQL as the server's superuser, outside any test's database.
void RunOnServer(const std::string& sql);

// The rows of a select as text: columns by commas, rows by blanks, a null as "-".
std::string Read(data::Connection& db, std::initializer_list<data::Piece> select);
std::string Read(data::Database& database, std::initializer_list<data::Piece> select);
void Write(data::Database& database, std::initializer_list<data::Piece> statement);
// Stores a message, and tells how that failed; 0 if it did not.
FaultNumber StoreMessage(data::Database& database, const std::string& message, bool shares = false);

// A clock that is set by hand, to the fixture's day at first; a ticking one goes on by a second when it is looked at.
class StillClock final : public Clock {
 public:
  DateTime Now() const override {
    if (ticks) ++now.second;
    return now;
  }
  mutable DateTime now{2004, 3, 17, 13, 5, 9};
  bool ticks = false;
};

// Runs work(0), work(1) and so on at the same time. What one of them throws fails the test.
void AtOnce(int count, const std::function<void(int)>& work);

// Base of the tests that run on both engines.
class OnBothEngines : public ::testing::TestWithParam<data::Dialect> {
 public:
  static std::string EngineName(const ::testing::TestParamInfo<data::Dialect>& info) {
    return info.param == data::Dialect::kSqlite ? "sqlite" : "postgres";
  }
};

#define SURVA_ON_BOTH_ENGINES(Suite)                                                                              \
  INSTANTIATE_TEST_SUITE_P(On, Suite,                                                                             \
                           ::testing::Values(::surva::data::Dialect::kSqlite, ::surva::data::Dialect::kPostgres), \
                           ::surva::test::OnBothEngines::EngineName)

}  // namespace surva::test
