// Schema making: the description in schema.h as statements of either engine.
#pragma once

#include <string>

#include "frame/data/engine.h"
#include "frame/data/schema.h"

namespace surva::data {

// All that a new database needs, its SchemaVersion table (still without a row) included.
std::string MakeAll(Dialect dialect);

// Parts of it, for upgrades. Indexes and functions are left alone where they stand.
std::string MakeTable(const Table& table, Dialect dialect);
std::string AddColumn(const Table& table, const Column& column, Dialect dialect);
std::string MakeIndexes(Dialect dialect);
std::string MakeFunctions(Dialect dialect);
// The triggers that keep the old row of each update and delete; those that stand are made anew.
std::string MakeHistory(Dialect dialect);

}  // namespace surva::data
