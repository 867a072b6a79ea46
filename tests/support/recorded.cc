#include "tests/support/recorded.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "frame/values/text.h"
#include "tests/support/fixture.h"

namespace surva::test {
namespace {

// Where a text begins to be another one than it has to be.
std::string FirstDifference(const std::string& told, const std::string& played) {
  const auto at = std::mismatch(told.begin(), told.end(), played.begin(), played.end()).first;
  const auto line =
      static_cast<std::size_t>(std::find(std::make_reverse_iterator(at), told.rend(), '\n').base() - told.begin());
  constexpr std::size_t kShown = 400;
  return "line " + std::to_string(std::count(told.begin(), at, '\n') + 1) + "\n--- told:\n" +
         told.substr(line, kShown) + "\n--- played:\n" + played.substr(line, kShown);
}

// In one line: bytes that are no letters as \x09.
std::string Shown(const std::string& text) {
  if (text.empty()) return "\"\"";
  const bool letters = IsUtf8(text);
  std::string shown;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    char code[5];
    std::snprintf(code, sizeof(code), "\\x%02x", byte);
    shown += byte < 0x20 || byte == 0x7F || (byte > 0x7F && !letters) ? code : std::string(1, c);
  }
  return shown;
}

template <class Function, class Input>
std::string Tell(const Function& function, const Input& input) {
  try {
    return Shown(function(input)) + "\n";
  } catch (const std::exception& failure) {
    return Shown(std::string("refused: ") + failure.what()) + "\n";
  }
}

std::string Call(const std::vector<Word>& words, const CaseFunctions& functions) {
  const std::string& name = words.front().text;
  const bool of_each = functions.each.contains(name);
  std::vector<std::string> texts;
  std::string told;
  for (std::size_t i = 1; i < words.size(); ++i) {
    texts.push_back(words[i].text);
    if (of_each) told += "  -> " + words[i].source + ": " + Tell(functions.each.at(name), words[i].text);
  }
  if (of_each) return told;
  if (!functions.lines.contains(name)) throw std::runtime_error("no function is called " + name);
  return "  -> " + Tell(functions.lines.at(name), texts);
}

}  // namespace

std::string ReadFile(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream text;
  text << stream.rdbuf();
  return std::move(text).str();
}

void WriteFile(const std::filesystem::path& file, const std::string& text) {
  if (ReadFile(file) != text) std::ofstream(file, std::ios::binary) << text;
}

bool IsRecording() {
  const char* const mode = std::getenv("SURVA_ROADS");
  return mode != nullptr && mode == std::string("record");
}

void ExpectFile(const std::filesystem::path& file, const std::string& text, bool recording) {
  if (recording) return WriteFile(file, text);
  const std::string told = ReadFile(file);
  EXPECT_TRUE(told == text) << file.string() << "\n" << FirstDifference(told, text);
}

void PlayCases(const std::filesystem::path& file, const CaseFunctions& functions) {
  std::string played;
  std::vector<Word> asked;
  const auto call = [&] {
    if (!asked.empty()) played += Call(std::exchange(asked, {}), functions);
  };
  std::istringstream lines(ReadFile(file) + "\n");
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("  -> ")) continue;
    const std::vector<Word> words = WordsOf(line);
    if (line.starts_with("  & ")) {
      asked.insert(asked.end(), words.begin() + 1, words.end());
    } else {
      call();
      if (!words.empty() && !line.starts_with('#')) asked = words;
    }
    played += line + "\n";
  }
  played.pop_back();
  EXPECT_NE(played, "") << "no cases in " << file.string();
  ExpectFile(file, played);
}

}  // namespace surva::test
