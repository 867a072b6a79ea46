// The collation of SQLite's texts: by the code points of their small letters. It has a name of our own, so that a tool
// which does not know it refuses to write, instead of putting a row into the wrong place of an index.
#pragma once

#include <string_view>

namespace surva::data {

inline constexpr std::string_view kCollation = "SURVA";

}  // namespace surva::data
