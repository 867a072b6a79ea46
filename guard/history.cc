#include "guard/history.h"

#include "frame/data/clearing.h"
#include "frame/data/schema.h"
#include "frame/values/fault.h"

namespace surva::guard {

using data::Bound;
using data::Name;
using data::Number;

std::vector<Change> History::List(const Filter& filter, int most) const {
  std::vector<data::Piece> statement = {
      "select HistoryID, ChangedAt, Person, RequestID, TableName, RowKey, Act, OldRow from History where 1=1"};
  const auto add = [&](std::initializer_list<data::Piece> pieces) {
    statement.insert(statement.end(), pieces.begin(), pieces.end());
  };
  if (!filter.table.empty()) add({" and lower(TableName)=lower(", Bound(Field(std::string_view(filter.table))), ")"});
  if (!filter.person.empty()) add({" and lower(Person)=lower(", Bound(Field(std::string_view(filter.person))), ")"});
  if (!filter.request.empty()) add({" and RequestID=", Bound(Field(std::string_view(filter.request)))});
  if (filter.day) {
    const DateTime first{filter.day->year, filter.day->month, filter.day->day};
    add({" and ChangedAt >= ", Bound(Field(first)), " and ChangedAt < ", Bound(Field(AddDays(first, 1)))});
  }
  if (filter.before > 0) add({" and HistoryID < ", Number(filter.before)});
  add({" order by HistoryID desc limit ", Number(most)});
  std::vector<Change> changes;
  for (const data::Row& row : connection_.Query(data::Statement(statement))) {
    changes.push_back({row["HistoryID"].Integer(), row["ChangedAt"].Date(), row["Person"].Text(),
                       row["RequestID"].Text(), row["TableName"].Text(), row["RowKey"].Integer(), row["Act"].Text(),
                       row["OldRow"].Text()});
  }
  return changes;
}

// One statement takes the row apart and puts it in the place that its key names.
std::int64_t History::PutRowBack(std::int64_t change, std::string_view table_name) {
  const data::Table* table = data::FindTable(table_name);
  if (table == nullptr) throw Fault::StatementFailed("the history names no table");
  const bool sqlite = connection_.dialect() == data::Dialect::kSqlite;
  std::vector<data::Piece> statement = {"insert into ", Name(*table), " ("};
  const auto add = [&](std::initializer_list<data::Piece> pieces) {
    statement.insert(statement.end(), pieces.begin(), pieces.end());
  };
  const auto separate = [&](const data::Column& column) {
    if (&column != table->columns.data()) add({", "});
  };
  for (const data::Column& column : table->columns) {
    separate(column);
    add({Name(column)});
  }
  add({") select "});
  for (const data::Column& column : table->columns) {
    separate(column);
    if (sqlite) {
      add({"json_extract(OldRow, '$.", Name(column), "')"});
    } else {
      add({"OldOne.", Name(column)});
    }
  }
  add({" from History"});
  if (!sqlite) add({", json_populate_record(null::", Name(*table), ", OldRow::json) as OldOne"});
  add({" where HistoryID=", Number(change), " on conflict (", Name(table->key()), ") do update set "});
  for (const data::Column& column : table->columns.subspan(1)) {
    if (&column != table->columns.data() + 1) add({", "});
    add({Name(column), "=excluded.", Name(column)});
  }
  return connection_.Execute(data::Statement(statement));
}

std::int64_t History::PutBack(std::int64_t change) {
  connection_.Lock(kPeople);
  const data::Rows rows = connection_.Query({"select TableName from History where HistoryID=", Number(change)});
  return rows.empty() ? 0 : PutRowBack(change, rows.First()["TableName"].Text());
}

std::int64_t History::PutRequestBack(std::string_view request) {
  if (request.empty()) return 0;
  connection_.Lock(kPeople);
  std::int64_t count = 0;
  for (const data::Row& row : connection_.Query({"select HistoryID, TableName from History where RequestID=",
                                                 Bound(Field(request)), " order by HistoryID desc"})) {
    count += PutRowBack(row["HistoryID"].Integer(), row["TableName"].Text());
  }
  return count;
}

bool History::Purge(const DateTime& before) {
  return data::DeletePortion(connection_, data::tables::kHistory, {"ChangedAt < ", Bound(Field(before))});
}

}  // namespace surva::guard
