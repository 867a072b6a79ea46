// `surva staff` and `surva history`: accounts, and what was before a change, from the command line.
#pragma once

#include <string>
#include <vector>

#include "frame/data/database.h"

namespace surva::program {

// add NAME --role ROLE, remove NAME, password NAME, role NAME --role ROLE, list. A password is asked for without echo,
// or read as one line from the standard input. Throws a UsageError for what cannot be done.
struct StaffOrder {
  std::vector<std::string> words;
  std::string role;
};
int Staff(data::Database& database, const StaffOrder& order);

// Lists changes, or puts back those of one request or the one with a number.
struct HistoryOrder {
  std::string table;
  std::string person;
  std::string day;  // YYYY-MM-DD
  std::string request;
  std::string change;
  bool put_back = false;
};
int ShowHistory(data::Database& database, const HistoryOrder& order);

}  // namespace surva::program
