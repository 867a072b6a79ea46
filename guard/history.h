// History: what the rows of the fourteen tables were before they were changed or deleted. Triggers of the database keep
// it; here it is read, and rows are put back.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frame/data/connection.h"
#include "frame/values/date_time.h"

namespace surva::guard {

// Held to the commit by what takes people away for good, and by what brings some in or back from what it has read: who
// is erased stays so.
inline constexpr std::string_view kPeople = "people";

struct Change {
  std::int64_t id = 0;
  DateTime at;
  std::string person;   // the staff account; "visitor", or who else worked on the database
  std::string request;  // what one request changed has one text here
  std::string table;
  std::int64_t key = 0;  // of the row
  std::string act;       // "update" or "delete"
  std::string row;       // the old one, as a JSON object
};

class History {
 public:
  struct Filter {
    std::string table;
    std::string person;
    std::string request;
    std::optional<DateTime> day;
    std::int64_t before = 0;  // only changes with a smaller id, if not 0
  };

  explicit History(data::Connection& connection) : connection_(connection) {}

  // The newest first.
  std::vector<Change> List(const Filter& filter, int most) const;
  // Puts the old row of one change back, or those of all changes of a request, the newest first. Rows that were added
  // meanwhile stay. Gives the number of rows. What is overwritten by it is kept in its turn.
  std::int64_t PutBack(std::int64_t change);
  std::int64_t PutRequestBack(std::string_view request);
  // Forgets a portion of what is older. Whether there may be more.
  bool Purge(const DateTime& before);

 private:
  std::int64_t PutRowBack(std::int64_t change, std::string_view table);

  data::Connection& connection_;
};

}  // namespace surva::guard
