#include "tests/roads/rows.h"

#include <sodium.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <stdexcept>

#include "frame/data/connection.h"
#include "frame/data/schema.h"
#include "frame/values/text.h"

namespace surva::test {
namespace {

std::string ValueText(const Field& field) {
  if (field.IsNull()) return "null";
  if (std::holds_alternative<DateTime>(field.content())) {
    const std::string text = IsoText(field.Date());
    return text.ends_with(" 00:00:00") ? text.substr(0, 10) : text;
  }
  if (!std::holds_alternative<std::string_view>(field.content())) return field.Text();
  const std::string text = field.Text();
  const std::size_t length = CharacterCount(text);
  if (length <= 100) return Quoted(text);
  return Quoted(FirstCharacters(text, 40)) + "...(" + std::to_string(length) + " characters, " + Digest(text) + ")";
}

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
  for (const data::Table* table : data::AllTables()) {
    if (table->name == name) return *table;
  }
  throw std::runtime_error("the fixture names a table that is none: " + std::string(name));
}

}  // namespace

std::string Digest(const std::string& bytes) {
  std::array<unsigned char, 8> hash;
  std::array<unsigned char, crypto_hash_sha256_BYTES> whole;
  crypto_hash_sha256(whole.data(), reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  std::copy_n(whole.begin(), hash.size(), hash.begin());
  std::array<char, 2 * hash.size() + 1> text;
  return sodium_bin2hex(text.data(), text.size(), hash.data(), hash.size());
}

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
    if (line[at] != '"') {
      words.back().text += line[at];
      continue;
    }
    words.back().quoted = true;
    std::string text;
    for (++at; at < line.size() && line[at] != '"'; ++at) {
      if (line[at] == '\\' && at + 1 < line.size()) {
        ++at;
        text += line[at] == 'n' ? "\r\n" : std::string(1, line[at]);
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
  }
  return words;
}

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text.substr(at, 2) == "\r\n") {
      quoted += "\\n";
      ++at;
    } else {
      if (text[at] == '"' || text[at] == '\\') quoted += '\\';
      quoted += text[at];
    }
  }
  return quoted + '"';
}

std::string FixtureScript(const std::string& file, data::Dialect dialect) {
  const bool sqlite = dialect == data::Dialect::kSqlite;
  std::string script = "DELETE FROM VisitorSession;";
  for (const data::Table* table : data::AllTables()) script += "DELETE FROM " + std::string(table->name) + ";";
  if (sqlite) script += "DELETE FROM sqlite_sequence;";
  std::ifstream stream(file);
  if (!stream) throw std::runtime_error("no fixture " + file);
  const data::Table* table = nullptr;
  std::vector<const data::Column*> columns;
  for (std::string line; std::getline(stream, line);) {
    const std::vector<Word> words = WordsOf(line);
    if (words.empty() || words[0].text.starts_with('#')) continue;
    if (!line.starts_with(' ')) {
      table = &TableOf(words[0].text);
      columns.clear();
      for (const Word& word : words) {
        if (&word != &words[0]) columns.push_back(&table->Find(word.text));
      }
      continue;
    }
    if (words.size() != columns.size()) throw std::runtime_error("a row of another length: " + line);
    std::string names;
    std::string values;
    for (std::size_t i = 0; i < words.size(); ++i) {
      names += (i > 0 ? "," : "") + std::string(columns[i]->name);
      values += (i > 0 ? "," : "") + SqlValue(*columns[i], words[i]);
    }
    script.append("INSERT INTO ").append(table->name).append("(" + names + ") VALUES (" + values + ");");
  }
  if (!sqlite) {
    for (const data::Table* each : data::AllTables()) {
      const std::string name(each->name);
      script.append("SELECT setval(pg_get_serial_sequence('" + name + "', lower('").append(each->key().name);
      script.append("')), coalesce(max(").append(each->key().name).append("), 0) + 1, false) FROM " + name + ";");
    }
  }
  return script;
}

Snapshot ReadRows(data::Database& database) {
  data::Connection db(database);
  Snapshot all;
  for (std::size_t number = 0; number < data::AllTables().size(); ++number) {
    const data::Table& table = *data::AllTables()[number];
    for (const data::Row& row : db.Query({"select * from ", Name(table)})) {
      Columns columns;
      for (const data::Column& column : table.columns) {
        columns.emplace_back(column.name, ValueText(row[data::ColumnName(column.name)]));
      }
      all.emplace(std::pair(number, row[data::ColumnName(table.key().name)].Integer()), std::move(columns));
    }
  }
  return all;
}

std::string Difference(const Snapshot& before, const Snapshot& after) {
  std::string lines;
  const auto begin = [&lines](char mark, const auto& key) {
    lines.append("  ").append(1, mark).append(" ").append(data::AllTables()[key.first]->name);
    lines += " " + std::to_string(key.second);
  };
  const auto tell = [&](char mark, const auto& key, const Columns& row, const Columns* old) {
    begin(mark, key);
    lines += ':';
    for (std::size_t i = 1; i < row.size(); ++i) {
      if (old != nullptr && (*old)[i] == row[i]) continue;
      lines.append(" ").append(row[i].first).append("=");
      if (old != nullptr) lines += (*old)[i].second + "->";
      lines += row[i].second;
    }
    lines += '\n';
  };
  for (const auto& [key, row] : before) {
    const auto found = after.find(key);
    if (found == after.end()) {
      begin('-', key);
      lines += '\n';
    } else if (found->second != row) {
      tell('~', key, found->second, &row);
    }
  }
  for (const auto& [key, row] : after) {
    if (!before.contains(key)) tell('+', key, row, nullptr);
  }
  return lines;
}

}  // namespace surva::test
