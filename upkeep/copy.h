// Copy: takes all rows of one database into another, of either engine.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "frame/data/database.h"
#include "frame/data/schema.h"

namespace surva::upkeep {

struct CopiedTable {
  std::string_view name;
  std::int64_t rows;
};

// Copies what `from` holds at this moment, which may go on being written to, into the empty `to`, in one transaction.
// Keys stay as they are, and a key that was given once is not given again. Visits are left behind. Both databases must
// have this program's tables. Counts the rows on both sides; throws a Refusal, and leaves `to` empty, if they differ,
// or if `to` was not empty.
std::vector<CopiedTable> Copy(data::Database& from, data::Database& to);

// The tables that belong to the owner of the data: all but what is only of the moment.
std::vector<const data::Table*> KeptTables();

// The last key that a table has given, which may be of a row that is gone; 0 if none was.
std::int64_t LastKey(data::Database& database, const data::Table& table);

// The version of a database's tables; 0 if it has none.
int VersionOf(data::Database& database);

}  // namespace surva::upkeep
