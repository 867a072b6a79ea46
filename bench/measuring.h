// What the measuring programs share: processor time, and SQLite as others open it.
#pragma once

#include <sqlite3.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

#include "frame/data/collation.h"
#include "frame/data/connection.h"
#include "frame/values/text.h"

namespace surva::bench {

// Microseconds of this process, and of a database server's processes: the one behind the connections in use, its
// parent and all of that one's children.
class ProcessorTime {
 public:
  explicit ProcessorTime(data::Database& database) {
    if (database.dialect() != data::Dialect::kPostgres) return;
    data::Connection db(database);
    const std::string backend =
        std::to_string(db.Query({"select pg_backend_pid() as Process"}).First()["Process"].Integer());
    long parent = 0;
    std::sscanf(AfterName(backend).c_str(), " %*c %ld", &parent);
    server_ = std::to_string(parent);
  }

  double Now() const {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    double time = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e6 +
                  static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
    if (server_.empty()) return time;
    time += Of(server_);
    std::ifstream children("/proc/" + server_ + "/task/" + server_ + "/children");
    for (std::string child; children >> child;) time += Of(child);
    return time;
  }

 private:
  // A process's line of figures, from behind its name.
  static std::string AfterName(const std::string& process) {
    std::ifstream file("/proc/" + process + "/stat");
    const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const std::size_t at = text.rfind(')');
    return at == std::string::npos ? std::string() : text.substr(at + 1);
  }
  // With what its children had used who have ended: the server lets some work on a statement in parallel.
  static double Of(const std::string& process) {
    double user = 0, system = 0, user_of_children = 0, system_of_children = 0;
    std::sscanf(AfterName(process).c_str(), " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lf %lf %lf %lf", &user,
                &system, &user_of_children, &system_of_children);
    return (user + system + user_of_children + system_of_children) * 1e6 / static_cast<double>(sysconf(_SC_CLK_TCK));
  }

  std::string server_;
};

inline int RegisterCollation(sqlite3* database) {
  return sqlite3_create_collation_v2(
      database, data::kCollation.data(), SQLITE_UTF8, nullptr,
      [](void*, int a_size, const void* a, int b_size, const void* b) {
        return CompareTexts({static_cast<const char*>(a), static_cast<std::size_t>(a_size)},
                            {static_cast<const char*>(b), static_cast<std::size_t>(b_size)});
      },
      nullptr);
}

// A table of a million rows takes longer to fill than a page's statement may.
inline void LiftTimeLimit(data::Connection& db) {
  if (db.dialect() == data::Dialect::kPostgres) {
    db.Query({"select set_config('statement_timeout', '0', false) as Done"});
  }
}

// PostgreSQL plans by what it has counted, and reads an index alone where it knows that all rows stand; a server in use
// sees to both by itself.
inline void Analyze(data::Database& database) {
  if (database.dialect() != data::Dialect::kPostgres) return;
  std::unique_ptr<data::Engine> engine = database.Take();
  engine->RunScript("set statement_timeout=0");
  engine->RunScript("vacuum analyze");
  database.Give(std::move(engine));
}

}  // namespace surva::bench
