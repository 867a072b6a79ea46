// What tests have recorded: files that `./test record` writes anew, read by somebody, and that every other run
// compares.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace surva::test {

std::string ReadFile(const std::filesystem::path& file);
void WriteFile(const std::filesystem::path& file, const std::string& text);  // if it reads otherwise
// Whether SURVA_ROADS=record is in the environment.
bool IsRecording();
// Fails the test where the file reads otherwise; while recording it is written instead.
void ExpectFile(const std::filesystem::path& file, const std::string& text, bool recording = IsRecording());

// Plays a file of cases: each line calls a function by its name, with the words that follow; what it gave stands below.
//
//     date "31 dec 99" 1-jan-0     the inputs; words and quotes as in a road, and \x09 in quotes for a byte
//       & 1-Maj-2001               more of them
//       -> "31 dec 99": 1999-12-31
//       -> 1-jan-0: 2000-01-01
//       -> 1-Maj-2001: none
//
// What a function throws is told as "refused". One of `each` takes one word and is called for every word of its line,
// one of `lines` takes all of them.
struct CaseFunctions {
  std::map<std::string, std::function<std::string(const std::string&)>> each = {};
  std::map<std::string, std::function<std::string(const std::vector<std::string>&)>> lines = {};
};
void PlayCases(const std::filesystem::path& file, const CaseFunctions& functions);

}  // namespace surva::test
