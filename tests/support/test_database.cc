#include "tests/support/test_database.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <thread>
#include <vector>

#include "frame/data/postgres_engine.h"
#include "frame/data/schema_upgrade.h"

namespace surva::test {
namespace {

constexpr const char* kTemplate = "surva_template";

// A connection to the server itself.
std::unique_ptr<data::Engine> OpenServer() {
  static data::Traffic traffic;
  return data::OpenPostgres(PostgresAddress("postgres"), traffic);
}

// Makes the database that all others are copied from; test programs that start at once wait for each other.
void MakeTemplate(data::Engine& server) {
  server.RunScript("select pg_advisory_lock(1)");
  constexpr data::Piece kStands[] = {"select count(*) as Cnt from pg_database where datname='surva_template'"};
  if (!server.Run(kStands, data::Effect::kRead).First()["Cnt"].IsTrue()) {
    server.RunScript("create database surva_template_growing");
    data::Database(PostgresAddress("surva_template_growing")).BringUpToDate();
    server.RunScript("alter database surva_template_growing rename to surva_template");
  }
  server.RunScript("select pg_advisory_unlock(1)");
}

}  // namespace

std::string PostgresAddress(const std::string& database, const std::string& user) {
  const char* variable = std::getenv("SURVA_TEST_POSTGRES");
  if (variable == nullptr) {
    throw std::runtime_error("SURVA_TEST_POSTGRES names no server: run the tests through ctest, which starts one");
  }
  std::string address(variable);
  const std::string whole = "postgres@/postgres?";
  const std::size_t at = address.find(whole);
  if (at == std::string::npos) throw std::runtime_error("SURVA_TEST_POSTGRES must hold " + whole);
  return address.replace(at, whole.size(), user + "@/" + database + "?");
}

void RunOnServer(const std::string& sql) {
  OpenServer()->RunScript(sql);
}

TestDatabase::TestDatabase(data::Dialect dialect, Tables tables) : dialect_(dialect) {
  static std::atomic<int> count = 0;
  if (dialect == data::Dialect::kSqlite) {
    std::string folder = (std::filesystem::temp_directory_path() / "surva-test-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no folder for a test: " + folder);
    sqlite_folder_ = folder;
    dsn_ = "sqlite:" + (sqlite_folder_ / "test.db").string();
    opened_ = std::make_unique<data::Database>(dsn_);
    if (tables == Tables::kMade) opened_->BringUpToDate();
    return;
  }
  const auto server = OpenServer();
  if (tables == Tables::kMade) MakeTemplate(*server);
  postgres_name_ = "surva_test_" + std::to_string(getpid()) + "_" + std::to_string(++count);
  server->RunScript("create database " + postgres_name_ + " template " +
                    (tables == Tables::kMade ? kTemplate : "template0"));
  dsn_ = PostgresAddress(postgres_name_);
  opened_ = std::make_unique<data::Database>(dsn_);
}

void TestDatabase::Reopen(const std::function<void()>& meanwhile) {
  opened_.reset();
  meanwhile();
  opened_ = std::make_unique<data::Database>(dsn_);
}

TestDatabase::~TestDatabase() {
  opened_.reset();
  if (dialect_ == data::Dialect::kPostgres) {
    RunOnServer("drop database " + postgres_name_ + " with (force)");
  } else {
    std::error_code ignored;
    std::filesystem::remove_all(sqlite_folder_, ignored);
  }
}

std::string Read(data::Connection& db, std::initializer_list<data::Piece> select) {
  const data::Rows rows = db.Query(select);
  std::string text;
  for (const data::Row& row : rows) {
    if (!text.empty()) text += ' ';
    for (int column = 0; column < rows.shape().size(); ++column) {
      if (column > 0) text += ',';
      text += row[column].IsNull() ? "-" : row[column].Text();
    }
  }
  return text;
}

std::string Read(data::Database& database, std::initializer_list<data::Piece> select) {
  data::Connection db(database);
  return Read(db, select);
}

void Write(data::Database& database, std::initializer_list<data::Piece> statement) {
  data::Connection db(database);
  db.Execute(statement);
  db.Commit();
}

FaultNumber StoreMessage(data::Database& database, const std::string& message, bool shares) {
  data::Connection db(database);
  if (shares) db.Share();
  try {
    db.AddNew(data::tables::kMessage).Set("Message", Value(message)).Update();
    db.Commit();
    return FaultNumber{};
  } catch (const Fault& fault) {
    return fault.number();
  }
}

void AtOnce(int count, const std::function<void(int)>& work) {
  std::vector<std::jthread> threads;
  for (int number = 0; number < count; ++number) {
    threads.emplace_back([&work, number] {
      try {
        work(number);
      } catch (const std::exception& failure) {
        ADD_FAILURE() << failure.what();
      }
    });
  }
}

}  // namespace surva::test
