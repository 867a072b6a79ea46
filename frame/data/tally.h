// tally(a, b, c): an aggregate function of SQLite's that counts how often three whole numbers come together, c perhaps
// null. Gives a JSON array of [a, b, c, times]. SQLite's own GROUP BY sorts what it groups; where few groups gather
// many rows, counting them in a table of their own costs a fraction of that.
#pragma once

struct sqlite3;

namespace surva::data {

// Gives an SQLite code.
int AddTally(sqlite3* database);

}  // namespace surva::data
