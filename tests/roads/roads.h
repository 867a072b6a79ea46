// Roads: requests of one or several visitors one after the other, with what came back and what they changed. What a
// road file may hold is told in README.md.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/node.h"

namespace surva::test {

// How a road's requests reach the pages. The answer has its body, also if it came as a stream.
using Way = std::function<wire::HttpResponse(const wire::HttpRequest&)>;
// "memory", "sockets", or "nodes": two in turn over one database.
Way MakeWay(const std::string& name, const std::string& dsn, const Node::Options& options);

// What playing a road gave: its file as it would have to read, and the pages that it names.
struct Played {
  std::string text;
  std::map<std::string, std::string> pages;  // by name, as their files hold them
  std::vector<std::string> all;              // every page, in their order
};
// Plays the text of a road from the first to the last request. Throws a std::runtime_error for a line of no known form.
Played Play(const std::string& road, const std::string& way, data::Database& database);

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
