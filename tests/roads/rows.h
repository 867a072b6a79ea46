// The database of the roads: the rows from which every road starts, and what a request has changed of them.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "frame/data/database.h"

namespace surva::test {

// One word of a road or of the fixture: blanks part words, and stand in one between double quotes. \n in quotes is a
// new line as browsers send it, \" a quote, \\ a backslash; "text"*60 is the text sixty times.
struct Word {
  std::string text;
  bool quoted = false;
};
// Throws a std::runtime_error for a quote that does not end.
std::vector<Word> WordsOf(std::string_view line);
// The text between double quotes, as WordsOf reads it.
std::string Quoted(std::string_view text);

// The beginning of a text's SHA-256, in hexadecimal digits.
std::string Digest(const std::string& bytes);

// The rows of a file, as the statements that empty a database and put them there. The keys made afterwards follow the
// greatest one of each table.
std::string FixtureScript(const std::string& file, data::Dialect dialect);

// All rows: by table and key the columns, each its name and its value as a road tells it.
using Columns = std::vector<std::pair<std::string_view, std::string>>;
using Snapshot = std::map<std::pair<std::size_t, std::int64_t>, Columns>;
Snapshot ReadRows(data::Database& database);
// A line for each row that came (+), went (-) or changed (~).
std::string Difference(const Snapshot& before, const Snapshot& after);

}  // namespace surva::test
