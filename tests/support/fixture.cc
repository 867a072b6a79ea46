#include "tests/support/fixture.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

#include "frame/data/schema.h"

namespace surva::test {
namespace {

std::string SqlValue(const data::Column& column, Word word) {
  if (!word.quoted &&
      (word.text == "null" || column.type == data::ColumnType::kKey || column.type == data::ColumnType::kLong)) {
    return word.text;
  }
  if (column.type == data::ColumnType::kDate) {
    std::replace(word.text.begin(), word.text.end(), 'T', ' ');
    if (word.text.size() == 10) word.text += " 00:00:00";
  }
  std::string text = "'";
  for (const char c : word.text) text += c == '\'' ? "''" : std::string(1, c);
  return text + "'";
}

const data::Table& TableOf(std::string_view name) {
  for (const auto tables : {data::AllTables(), data::HostTables()}) {
    for (const data::Table* table : tables) {
      if (table->name == name) return *table;
    }
  }
  throw std::runtime_error("the fixture names a table that is none: " + std::string(name));
}

std::string Insert(const data::Table& table, const std::vector<const data::Column*>& columns,
                   const std::vector<Word>& words) {
  std::string names;
  std::string values;
  for (std::size_t i = 0; i < words.size(); ++i) {
    names += (i > 0 ? "," : "") + std::string(columns[i]->name);
    values += (i > 0 ? "," : "") + SqlValue(*columns[i], words[i]);
  }
  return "INSERT INTO " + std::string(table.name) + "(" + names + ") VALUES (" + values + ");";
}

// Lets PostgreSQL give the key behind a table's greatest one next; SQLite does so by itself.
std::string KeysGoOn(const data::Database& database, const data::Table& table) {
  if (database.dialect() == data::Dialect::kSqlite || table.key().type != data::ColumnType::kKey) return {};
  const std::string name(table.name);
  const std::string key(table.key().name);
  return "SELECT setval(pg_get_serial_sequence('" + name + "', lower('" + key + "')), coalesce(max(" + key +
         "), 0) + 1, false) FROM " + name + ";";
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
  const data::Table& table = TableOf(words[1].text);
  std::vector<const data::Column*> columns;
  std::vector<Word> values;
  for (std::size_t i = 2; i < words.size(); ++i) {
    const std::size_t equals = words[i].text.find('=');
    columns.push_back(&table.Find(words[i].text.substr(0, equals)));
    values.push_back({words[i].text.substr(equals + 1), words[i].quoted});
  }
  auto engine = database.Take();
  engine->RunScript(Insert(table, columns, values) + KeysGoOn(database, table));
  database.Give(std::move(engine));
}

void LoadFixture(data::Database& database) {
  std::string script;
  std::string keys;
  for (const auto tables : {data::AllTables(), data::HostTables()}) {
    for (const data::Table* table : tables) {
      script += "DELETE FROM " + std::string(table->name) + ";";
      keys += KeysGoOn(database, *table);
    }
  }
  if (database.dialect() == data::Dialect::kSqlite) script += "DELETE FROM sqlite_sequence;";
  const std::string file = "tests/support/fixture.txt";
  std::ifstream stream(file);
  if (!stream) throw std::runtime_error("no fixture " + file);
  const data::Table* table = nullptr;
  std::vector<const data::Column*> columns;
  for (std::string line; std::getline(stream, line);) {
    const std::vector<Word> words = WordsOf(line);
    if (words.empty() || words[0].text.starts_with('#')) continue;
    if (line.starts_with(' ')) {
      if (words.size() != columns.size()) throw std::runtime_error("a row of another length: " + line);
      script += Insert(*table, columns, words);
      continue;
    }
    table = &TableOf(words[0].text);
    columns.clear();
    for (std::size_t i = 1; i < words.size(); ++i) columns.push_back(&table->Find(words[i].text));
  }
  auto engine = database.Take();
  engine->RunScript(script + keys);
  database.Give(std::move(engine));
}

}  // namespace surva::test
