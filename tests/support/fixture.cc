#include "tests/support/fixture.h"

#include <fstream>
#include <stdexcept>

#include "frame/data/schema.h"

namespace surva::test {
namespace {

// As the column keeps it.
Value ValueOf(const data::Column& column, const Word& word) {
  if (!word.quoted && word.text == "null") return {};
  switch (column.type) {
    case data::ColumnType::kKey:
    case data::ColumnType::kLong:
    case data::ColumnType::kBig:
      return std::int64_t{std::stoll(word.text)};
    case data::ColumnType::kDate:
      return ReadIso(word.text).value();
    default:
      return word.text;
  }
}

data::RowSet NoRowsOf(const std::string& table) {
  const data::Table* const found = data::FindTable(table);
  if (found == nullptr) throw std::runtime_error("the fixture names a table that is none: " + table);
  return {found, {}, {}};
}

// Puts rows into their tables, or into one if not all are emptied first. The keys made afterwards follow the greatest
// one of each; on SQLite they do by themselves.
void Put(data::Database& database, const std::vector<data::RowSet>& all, bool empties) {
  const bool sqlite = database.dialect() == data::Dialect::kSqlite;
  std::string empty = sqlite ? "DELETE FROM sqlite_sequence;" : "";
  std::string keys;
  for (const auto tables : {data::AllTables(), data::HostTables()}) {
    for (const data::Table* table : tables) {
      const std::string name(table->name);
      const std::string key(table->key().name);
      empty += "DELETE FROM " + name + ";";
      const bool is_meant = empties || table == all.front().table;
      if (sqlite || !is_meant || table->key().type != data::ColumnType::kKey) continue;
      keys += "SELECT setval(pg_get_serial_sequence('" + name + "', lower('" + key + "')), coalesce(max(" + key +
              "), 0) + 1, false) FROM " + name + ";";
    }
  }
  auto engine = database.Take();
  engine->Begin();
  if (empties) engine->RunScript(empty);
  for (const data::RowSet& rows : all) {
    const data::Piece nothing[] = {"delete from ", data::Name(*rows.table), " where 1=0"};
    engine->Replace(nothing, rows);
  }
  if (!keys.empty()) engine->RunScript(keys);
  engine->Commit(data::Durability::kMemory, {});
  database.Give(std::move(engine));
}

}  // namespace

std::vector<Word> WordsOf(std::string_view line) {
  std::vector<Word> words;
  bool inside = false;
  for (std::size_t at = 0; at < line.size(); ++at) {
    if (line[at] == ' ') {
      inside = false;
      continue;
    }
    if (!inside) words.emplace_back();
    inside = true;
    const std::size_t begin = at;
    if (line[at] != '"') {
      words.back().text += line[at];
      words.back().source += line[at];
      continue;
    }
    words.back().quoted = true;
    std::string text;
    for (++at; at < line.size() && line[at] != '"'; ++at) {
      if (line[at] == '\\' && at + 1 < line.size()) {
        ++at;
        if (line[at] == 'x') {
          text += static_cast<char>(std::stoi(std::string(line.substr(at + 1, 2)), nullptr, 16));
          at += 2;
        } else {
          text += line[at] == 'n' ? "\r\n" : std::string(1, line[at]);
        }
      } else {
        text += line[at];
      }
    }
    if (at == line.size()) throw std::runtime_error("a quote does not end: " + std::string(line));
    std::size_t times = 1;
    if (at + 1 < line.size() && line[at + 1] == '*') {
      std::size_t digits = 0;
      times = std::stoul(std::string(line.substr(at + 2)), &digits);
      at += digits + 1;
    }
    while (times-- > 0) words.back().text += text;
    words.back().source += line.substr(begin, at + 1 - begin);
  }
  return words;
}

void AddRow(data::Database& database, const std::vector<Word>& words) {
  data::RowSet row = NoRowsOf(words[1].text);
  for (std::size_t i = 2; i < words.size(); ++i) {
    const std::size_t equals = words[i].text.find('=');
    row.columns.push_back(&row.table->Find(words[i].text.substr(0, equals)));
    row.cells.push_back(ValueOf(*row.columns.back(), {words[i].text.substr(equals + 1), words[i].quoted}));
  }
  Put(database, {row}, false);
}

void LoadFixture(data::Database& database) {
  std::ifstream stream("tests/support/fixture.txt");
  std::vector<data::RowSet> all;
  for (std::string line; std::getline(stream, line);) {
    const std::vector<Word> words = WordsOf(line);
    if (words.empty() || words[0].text.starts_with('#')) continue;
    if (!line.starts_with(' ')) all.push_back(NoRowsOf(words[0].text));
    data::RowSet& rows = all.back();
    if (line.starts_with(' ')) {
      if (words.size() != rows.columns.size()) throw std::runtime_error("a row of another length: " + line);
      for (std::size_t i = 0; i < words.size(); ++i) rows.cells.push_back(ValueOf(*rows.columns[i], words[i]));
    } else {
      for (std::size_t i = 1; i < words.size(); ++i) rows.columns.push_back(&rows.table->Find(words[i].text));
    }
  }
  Put(database, all, true);
}

}  // namespace surva::test
