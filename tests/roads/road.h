// Road: requests of one or several visitors one after the other, with what came back and what they changed. What a road
// file may hold is told in README.md.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "tests/roads/ways.h"

namespace surva::test {

// What playing a road gave: its file as it would have to read, and the pages that it names.
struct Played {
  std::string text;
  std::map<std::string, std::string> pages;  // by name, as their files hold them
  std::vector<std::string> all;              // every page, in their order
};

// Plays the text of a road from the first to the last request. Throws a std::runtime_error for a line of no known form.
Played Play(const std::string& road, Way& way, StillClock& clock, data::Database& database);

}  // namespace surva::test
