// Backup and restore: a database's rows in one file, which is a SQLite database whatever the engine.
#pragma once

#include <filesystem>
#include <string>

#include "frame/data/database.h"

namespace surva::upkeep {

// Writes what the database holds at this moment into a new file, while it may be served; visits are left out. The file
// can be read by who makes it and nobody else. It is checked and on disk, and there as a whole or not at all. Throws a
// Refusal.
void Backup(data::Database& database, const std::filesystem::path& file);

// Puts a backup in place of what is named by `dsn`: of a SQLite file that nobody has open, or of none, which keeps the
// owner and mode of the one before it or gets its folder's owner; or into an empty PostgreSQL database. The backup may
// be of an older version of surva. Gives the name under which the file that was there before is kept, if one was.
// Throws a Refusal, and changes nothing then.
std::filesystem::path Restore(const std::filesystem::path& file, const std::string& dsn);

}  // namespace surva::upkeep
