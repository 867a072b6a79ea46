// The fixture: the rows in fixture.txt, from which roads and the tests of pages start.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/test_database.h"

namespace surva::test {

// One word of a road or of the fixture: blanks part words, and stand in one between double quotes. \n in quotes is a
// new line as browsers send it, \x09 a byte, \" a quote, \\ a backslash; "text"*60 is the text sixty times.
struct Word {
  std::string text;
  bool quoted = false;
  std::string source;  // as it stands in the line
};
// Throws a std::runtime_error for a quote that does not end.
std::vector<Word> WordsOf(std::string_view line);

// Empties a database and puts the rows there. The keys made afterwards follow the greatest one of each table.
void LoadFixture(data::Database& database);
// Adds one more row: words as `given TABLE Column=value ...`.
void AddRow(data::Database& database, const std::vector<Word>& words);

// Base of the tests that start from the fixture's rows, on both engines.
class OnFixture : public OnBothEngines {
 protected:
  OnFixture() { LoadFixture(*database); }
  std::string Read(std::initializer_list<data::Piece> select) { return test::Read(*database, select); }
  void Write(std::initializer_list<data::Piece> statement) { test::Write(*database, statement); }

  TestDatabase database{GetParam()};
};

}  // namespace surva::test
