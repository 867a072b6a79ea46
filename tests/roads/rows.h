// What a request has changed of the rows.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "frame/data/database.h"

namespace surva::test {

// A text between double quotes, as a road has it.
std::string Quoted(std::string_view text);

// The beginning of a text's SHA-256, in hexadecimal digits.
std::string Digest(const std::string& bytes);

// All rows: by table and key the columns, each its name and its value as a road tells it.
using Columns = std::vector<std::pair<std::string_view, std::string>>;
using Snapshot = std::map<std::pair<std::size_t, std::int64_t>, Columns>;
Snapshot ReadRows(data::Database& database);
// A line for each row that came (+), went (-) or changed (~).
std::string Difference(const Snapshot& before, const Snapshot& after);

}  // namespace surva::test
