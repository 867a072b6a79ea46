// Assembly: a statement's pieces as one text with numbered or plain places, and its values apart. The text is the key
// under which an engine keeps the prepared statement.
#pragma once

#include <string>
#include <vector>

#include "frame/data/engine.h"
#include "frame/data/statement.h"

namespace surva::data {

// Fills `sql` with the text and `values` with the pieces that are bound to its places, in order.
void Assemble(Statement statement, Dialect dialect, std::string& sql, std::vector<const Piece*>& values);

}  // namespace surva::data
