#include "upkeep/readiness.h"

#include <libpq-fe.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <thread>
#include <utility>

#include "frame/data/connection.h"
#include "frame/values/fault.h"

namespace surva::upkeep {
namespace {

namespace fs = std::filesystem;
using data::Dialect;
using std::chrono::steady_clock;

constexpr std::string_view kSqlite = "sqlite:";

// What an engine had to say, in one line. libpq's advice behind a tab ("Is the server running ...?") is left out: ours
// stands before it.
std::string OneLine(std::string text) {
  std::erase(text, '\r');
  std::replace(text.begin(), text.end(), '\n', ' ');
  for (std::size_t tab = text.find('\t'); tab != std::string::npos; tab = text.find('\t')) {
    const std::size_t end = text.find('?', tab);
    text.replace(tab, end == std::string::npos ? 1 : end + 1 - tab, end == std::string::npos ? " " : ";");
    if (tab > 0 && text[tab - 1] == ' ') text.erase(tab - 1, 1);
  }
  while (text.ends_with(' ') || text.ends_with(';')) text.pop_back();
  return text;
}

// ---- SQLite

Refusal NotWritable(const std::string& path) {
  return Refusal("\"" + path +
                 "\" or its folder may not be written by the user who runs surva; give them to him (chown, chmod)");
}

// Looks into a file without touching it: opened for work, it would get a log of changes. What cannot be read says why
// when it is opened.
void RefuseAnothersFile(const std::string& path) {
  sqlite3* opened = nullptr;
  const bool readable = sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK;
  const std::unique_ptr<sqlite3, int (*)(sqlite3*)> file(opened, sqlite3_close_v2);
  sqlite3_stmt* prepared = nullptr;
  if (!readable || sqlite3_prepare_v2(opened,
                                      "select count(*), sum(lower(name)='schemaversion') from sqlite_master where "
                                      "type='table' and lower(name) not like 'sqlite_%'",
                                      -1, &prepared, nullptr) != SQLITE_OK) {
    return;
  }
  const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> statement(prepared, sqlite3_finalize);
  if (sqlite3_step(prepared) == SQLITE_ROW && sqlite3_column_int(prepared, 0) > 0 &&
      sqlite3_column_int(prepared, 1) == 0) {
    throw Refusal("\"" + path + "\" is another program's database; give a new file with --dsn");
  }
}

// Why a file cannot be opened, which SQLite does not tell.
std::string WhyNoFile(const fs::path& file, const std::string& detail) {
  std::error_code error;
  const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
  const std::string quoted = "\"" + file.string() + "\"";
  if (fs::is_directory(file, error)) return quoted + " is a folder; name a file in it";
  if (!fs::is_directory(folder, error)) return quoted + ": there is no folder \"" + folder.string() + "\"; make it";
  if (fs::exists(file, error) && access(file.c_str(), R_OK) != 0) {
    return quoted + " may not be read by the user who runs surva; give it to him (chown)";
  }
  if (fs::exists(file, error) && access(file.c_str(), W_OK) != 0) return NotWritable(file.string()).what();
  if (access(folder.c_str(), W_OK) != 0) {
    return "the folder \"" + folder.string() +
           "\" may not be written by the user who runs surva; the database needs "
           "room for its log beside the file (chown)";
  }
  if (detail.find("not a database") != std::string::npos) return quoted + " is no SQLite database; name another file";
  return quoted + ": " + detail;
}

// ---- PostgreSQL

// libpq reads an address in which a password stands unencoded as another one, and its messages then tell a piece of it.
bool IsReadable(const std::string& address) {
  const std::size_t begin = address.find("//") + 2;
  const std::size_t slash = std::min(address.find_first_of("/?", begin), address.size());
  const auto at_signs = std::count(address.begin() + static_cast<std::ptrdiff_t>(begin), address.end(), '@');
  if (at_signs > 1 || (at_signs == 1 && address.find('@') > slash)) return false;
  PQconninfoOption* const options = PQconninfoParse(address.c_str(), nullptr);
  bool readable = options != nullptr;
  for (const PQconninfoOption* option = options; readable && option->keyword != nullptr; ++option) {
    // Without a host, user and password are read as host and port.
    readable = std::string_view(option->keyword) != "port" || option->val == nullptr ||
               std::string_view(option->val).find_first_not_of("0123456789,") == std::string_view::npos;
  }
  PQconninfoFree(options);
  return readable;
}

// What may be done about a server that answers and refuses. Other languages' messages go without.
std::string_view Remedy(std::string_view detail) {
  constexpr std::pair<std::string_view, std::string_view> kRemedies[] = {
      {"password authentication failed", "the password is wrong; see that --dsn or ~/.pgpass has the right one"},
      {"no password supplied", "a password is wanted; give it in --dsn or in ~/.pgpass"},
      {"Peer authentication failed", "the server wants the system's user of that name, or a password over TCP"},
      {"no pg_hba.conf entry", "the server admits no such user from here; see its pg_hba.conf"},
      {"role", "the server has no such user; make him with createuser -P"},
      {"database", "the server has no such database; make it with createdb -E UTF8 -T template0"},
      {"SSL", "see sslmode in --dsn and the server's certificate"},
  };
  for (const auto& [words, remedy] : kRemedies) {
    if (detail.find(words) != std::string_view::npos) return remedy;
  }
  return "see --dsn and the server's log";
}

bool IsFull(std::string_view detail) {
  return detail.find("too many") != std::string_view::npos ||
         detail.find("remaining connection") != std::string_view::npos;
}

bool IsRefusal(PGPing answer, std::string_view detail) {
  return answer == PQPING_OK && !IsFull(detail);
}

bool IsNoAddress(PGPing answer, std::string_view detail) {
  return answer == PQPING_NO_ATTEMPT || detail.find("for connection option") != std::string_view::npos;
}

std::string Text(data::Connection& db, std::initializer_list<data::Piece> statement) {
  return db.Query(statement).First()[0].Text();
}

void RequireSuitableSqlite(data::Database& database, data::Connection& db) {
  const std::string path = database.dsn().substr(kSqlite.size());
  const data::Rows own =
      db.Query({"select count(*) as Cnt from sqlite_master where type='table' and lower(name)='schemaversion'"});
  if (!own.First()["Cnt"].IsTrue()) return;
  try {
    // Touches no row, and yet begins to write.
    db.Execute({"delete from SchemaVersion where 1=0"});
    db.Rollback();
  } catch (const Fault& fault) {
    if (fault.detail().find("readonly") == std::string::npos) throw;
    throw NotWritable(path);
  }
}

void RequireSuitablePostgres(data::Connection& db) {
  const std::string name = "the database \"" + Text(db, {"select current_database()::text"}) + "\"";
  const std::string remedy = "; make another with createdb -E UTF8 --locale=C.UTF-8 -T template0";
  const std::string encoding = Text(db, {"select current_setting('server_encoding')"});
  if (encoding != "UTF8") throw Refusal(name + " keeps its texts in " + encoding + ", not in UTF8" + remedy);
  if (Text(db, {"select case when lower('\u00c4\u0141' collate \"default\") = '\u00e4\u0142' then 'yes' end"}) !=
      "yes") {
    throw Refusal(name + " has a locale without letters beyond ASCII, so that searches would find half" + remedy);
  }
  if (Text(db, {"select case when pg_is_in_recovery() then 'yes' end"}) == "yes") {
    throw Refusal(name + " is a standby's and cannot be written; name the primary server in --dsn");
  }
  if (Text(db, {"select current_setting('transaction_read_only')"}) == "on") {
    throw Refusal(name + " is read-only; see default_transaction_read_only of the database and the user");
  }
}

// What needs no database to be seen.
void CheckAddress(const std::string& dsn, Files files) {
  const bool is_postgres = dsn.starts_with("postgres");
  if (is_postgres && dsn.find("//") != std::string::npos && !IsReadable(dsn)) {
    throw Refusal("the address in --dsn cannot be read; in user, password and database name write @ as %40, "
                  "/ as %2F, : as %3A, ? as %3F, % as %25; the port is a number; behind ? stand libpq's own words "
                  "alone");
  }
  if (!is_postgres && files == Files::kStanding && !fs::exists(dsn.substr(std::min(kSqlite.size(), dsn.size())))) {
    throw Refusal("there is no file \"" + dsn.substr(std::min(kSqlite.size(), dsn.size())) + "\"; see --dsn");
  }
  if (!is_postgres && dsn.starts_with(kSqlite)) RefuseAnothersFile(dsn.substr(kSqlite.size()));
}

}  // namespace

std::unique_ptr<data::Database> OpenDatabase(const std::string& dsn, std::chrono::seconds patience,
                                             const std::function<void(const std::string&)>& tell,
                                             const data::Database::Wrap& wrap, Files files) {
  CheckAddress(dsn, files);
  const bool is_postgres = dsn.starts_with("postgres");
  constexpr std::chrono::milliseconds kPause{500};
  constexpr int kTellEvery = 20;  // pauses
  const auto deadline = steady_clock::now() + patience;
  int refusals = 0;  // one after the other
  for (int pauses = 0;; ++pauses) {
    try {
      return std::make_unique<data::Database>(dsn, wrap);
    } catch (const Fault& fault) {
      const std::string detail = OneLine(fault.detail().empty() ? fault.description() : fault.detail());
      if (!is_postgres) throw Refusal(WhyNoFile(dsn.substr(kSqlite.size()), detail));
      const PGPing answer = PQping(dsn.c_str());
      refusals = IsRefusal(answer, detail) ? refusals + 1 : 0;
      // A server that was only just starting may have come to itself behind its refusal.
      if (refusals == 1) continue;
      if (refusals == 2) throw Refusal("PostgreSQL refuses: " + std::string(Remedy(detail)) + " (" + detail + ")");
      if (IsNoAddress(answer, detail)) throw Refusal("the address in --dsn cannot be used (" + detail + ")");
      if (steady_clock::now() + kPause > deadline) {
        throw Away("PostgreSQL does not answer; start it, or see host and port in --dsn (" + detail + ")");
      }
      if (pauses % kTellEvery == 0) tell("waiting for PostgreSQL (" + detail + ")");
      std::this_thread::sleep_for(kPause);
    }
  }
}

void RequireSuitable(data::Database& database) {
  data::Connection db(database);
  if (database.dialect() == Dialect::kSqlite) {
    RequireSuitableSqlite(database, db);
  } else {
    RequireSuitablePostgres(db);
  }
}

}  // namespace surva::upkeep
