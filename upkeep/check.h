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

// The part of it that every start makes: tables and columns that this program cannot do without.
std::vector<Finding> CheckTables(data::Database& database);

}  // namespace surva::upkeep
