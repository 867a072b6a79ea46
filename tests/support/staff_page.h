// What the tests of several staff pages share: the page without its frame, and rows in any table.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "frame/data/connection.h"

namespace surva::test {

// What stands between a staff page's header and footer.
inline std::string StaffBody(const std::string& page) {
  const std::string opening = "<IMG alt=\"\" height=1 src=images/pixel.gif width=6></TD><TD>";
  const std::string closing = "</TD></TR></TBODY></TABLE><CENTER>";
  const std::size_t begin = page.find(opening);
  const std::size_t end = page.rfind(closing);
  if (begin == std::string::npos || end == std::string::npos) {
    ADD_FAILURE() << "no frame around the page: " << page;
    return page;
  }
  return page.substr(begin + opening.size(), end - begin - opening.size());
}

using ColumnValues = std::initializer_list<std::pair<const char*, Value>>;

// Adds a row and gives its key.
inline std::int64_t AddRow(data::Database& database, const data::Table& table, ColumnValues values) {
  data::Connection db(database);
  data::RowWriter row = db.AddNew(table);
  for (const auto& [column, value] : values) row.Set(column, value);
  row.Update();
  const std::int64_t key = db.Query({"select max(", Name(table.key()), ") from ", Name(table)}).First()[0].Integer();
  db.Commit();
  return key;
}

// Lets the keys of a table start behind `keys`, so that keys of different tables differ.
inline void SkipKeys(data::Database& database, const data::Table& table, int keys) {
  data::Connection db(database);
  for (int key = 0; key < keys; ++key) db.AddNew(table).SetNull(table.columns[1].name).Update();
  db.Execute({"delete from ", Name(table)});
  db.Commit();
}

}  // namespace surva::test
