// A table that somebody brings: CSV from a file, or what was copied out of a spreadsheet.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace surva::desk {

struct BroughtTable {
  struct Line {
    std::size_t number = 0;  // of its first line in the text, from 1
    std::vector<std::string> cells;
  };

  std::vector<Line> lines;  // without blank ones; cells are trimmed, in letters
  std::string problem;      // why it could not be read, empty if it could
};

// A file's bytes in UTF-8, with a mark or without, UTF-16 with its mark, or else windows-1252. Gives nothing and sets
// `problem` for what is no text; `guessed` tells that it was read as windows-1252, as whose every byte is some letter.
std::string TextOfFile(std::string_view bytes, std::string& problem, bool& guessed);

// The separator is what the first line has most of: comma, semicolon, tab or bar.
BroughtTable ReadTable(std::string_view text);

constexpr std::size_t kMostLines = 20'000;
constexpr std::size_t kMostCells = 60;  // in a line

}  // namespace surva::desk
