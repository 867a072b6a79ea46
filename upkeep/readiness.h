// Readiness: opens the database that a command is to work on, and asks whether it will do, before the first page is
// served.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include "frame/data/database.h"

namespace surva::upkeep {

// The database will not do as it is; the text is one line that tells the remedy.
class Refusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The database server has stayed away for as long as it was waited for.
class Away : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Whether a SQLite file that is not there is made.
enum class Files { kAny, kStanding };

// Opens the database. A PostgreSQL that is away or still starting is waited for; `tell` gets a line now and then while
// it is. Another program's file is refused and left as it is. No text tells any part of a password. Throws Refusal or
// Away.
std::unique_ptr<data::Database> OpenDatabase(const std::string& dsn, std::chrono::seconds patience,
                                             const std::function<void(const std::string&)>& tell,
                                             const data::Database::Wrap& wrap = {}, Files files = Files::kAny);

// Throws a Refusal for a database that cannot be written or whose letters are not those of Unicode. Harmless on an
// empty one.
void RequireSuitable(data::Database& database);

}  // namespace surva::upkeep
