#include "frame/data/engine.h"

#include <vector>

#include "frame/data/schema.h"

namespace surva::data {

void Engine::Replace(Statement removal, const RowSet& rows) {
  Run(removal, Effect::kWrite);
  if (rows.size() == 0) return;
  const std::size_t width = rows.columns.size();
  std::vector<Piece> addition = {"insert into ", Name(*rows.table), " ("};
  for (std::size_t i = 0; i < width; ++i) {
    if (i > 0) addition.push_back(", ");
    addition.push_back(Name(*rows.columns[i]));
  }
  addition.push_back(") values (");
  const std::size_t head = addition.size();
  for (std::size_t row = 0; row < rows.size(); ++row) {
    addition.resize(head, "");
    for (std::size_t i = 0; i < width; ++i) {
      if (i > 0) addition.push_back(", ");
      addition.push_back(Bound(rows.cells[row * width + i]));
    }
    addition.push_back(")");
    Run(addition, Effect::kWrite);
  }
}

}  // namespace surva::data
