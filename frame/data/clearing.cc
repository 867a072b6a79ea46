#include "frame/data/clearing.h"

#include <vector>

#include "frame/data/schema.h"

namespace surva::data {

bool DeletePortion(Connection& connection, const Table& table, std::initializer_list<Piece> condition) {
  const Among few = AmongFew(connection.dialect());
  const Piece key = Name(table.key());
  std::vector<Piece> statement = {"delete from ", Name(table), " where ", key,         few.opens,
                                  "select ",      key,         " from ",  Name(table), " where "};
  statement.insert(statement.end(), condition);
  statement.insert(statement.end(), {" limit ", Number(kPortion), few.closes, " and "});
  // Somebody may have changed a row since it was found.
  statement.insert(statement.end(), condition);
  return connection.Execute(statement) == kPortion;
}

}  // namespace surva::data
