// Check: looks a database over for what is damaged, missing or left over, without changing it.
#pragma once

#include <string>
#include <vector>

#include "frame/data/database.h"

namespace surva::upkeep {

struct Finding {
  // Damage keeps pages from working or loses data; a remnant is left over by deletions, which pages pass over.
  enum class Kind { kDamage, kRemnant };

  Kind kind;
  std::string what;
  std::string remedy;
};

// The whole look: the engine's own files, the tables, columns, indexes and keys, the rows that belong to each other.
std::vector<Finding> Check(data::Database& database);

// The part of it that every start makes. Throws a Refusal for tables or columns that are missing; gives what only makes
// pages slow.
std::vector<Finding> RequireTables(data::Database& database);

// Makes the tables, columns and indexes that are missing; true if any were.
bool MakeWhatIsMissing(data::Database& database);

}  // namespace surva::upkeep
