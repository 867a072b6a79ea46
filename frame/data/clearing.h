// Clearing: rows that have had their time go in portions. Many in one go would hold up all writers on SQLite, ten
// seconds for a million, and on PostgreSQL meet the limit of a statement's time, each time anew.
#pragma once

#include <initializer_list>

#include "frame/data/connection.h"

namespace surva::data {

inline constexpr std::int64_t kPortion = 2000;

// Deletes a portion of the rows of a table for which a condition holds. Whether there may be more of them.
bool DeletePortion(Connection& connection, const Table& table, std::initializer_list<Piece> condition);

}  // namespace surva::data
