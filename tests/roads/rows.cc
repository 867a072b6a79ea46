#include <sodium.h>

#include <array>

#include "frame/data/connection.h"
#include "frame/data/schema.h"
#include "frame/values/text.h"
#include "tests/roads/roads.h"

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

// Those of the system, and what pages of our own keep.
const std::vector<const data::Table*>& Told() {
  static const std::vector<const data::Table*> all = [] {
    std::vector<const data::Table*> tables(data::AllTables().begin(), data::AllTables().end());
    tables.insert(tables.end(), {&data::tables::kEventClose, &data::tables::kMailText});
    return tables;
  }();
  return all;
}

}  // namespace

std::string Digest(const std::string& bytes) {
  std::array<unsigned char, crypto_hash_sha256_BYTES> hash;
  crypto_hash_sha256(hash.data(), reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  std::array<char, 17> text;
  return sodium_bin2hex(text.data(), text.size(), hash.data(), 8);
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

Snapshot ReadRows(data::Database& database) {
  data::Connection db(database);
  Snapshot all;
  for (std::size_t number = 0; number < Told().size(); ++number) {
    const data::Table& table = *Told()[number];
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
  const auto tell = [&](char mark, const auto& key, const Columns& row, const Columns& old) {
    lines.append("  ").append(1, mark).append(" ").append(Told()[key.first]->name);
    lines += " " + std::to_string(key.second) + (mark == '-' ? "" : ":");
    for (std::size_t i = 1; i < row.size(); ++i) {
      if (mark == '~' && old[i] == row[i]) continue;
      lines.append(" ").append(row[i].first).append("=").append(mark == '~' ? old[i].second + "->" : "");
      lines += row[i].second;
    }
    lines += '\n';
  };
  for (const auto& [key, row] : before) {
    const auto found = after.find(key);
    if (found == after.end()) {
      tell('-', key, {}, {});
    } else if (found->second != row) {
      tell('~', key, found->second, row);
    }
  }
  for (const auto& [key, row] : after) {
    if (!before.contains(key)) tell('+', key, row, {});
  }
  return lines;
}

}  // namespace surva::test
