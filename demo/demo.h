// Demo data: a training company's year around today, so that a first look at surva shows something.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "frame/data/database.h"
#include "frame/values/date_time.h"

namespace surva::demo {

// Ways into the public page of a demo database.
struct Summary {
  // A participant who has not filled in his form yet.
  struct OpenPin {
    std::string pin;
    std::string student;
    std::string training;
    std::string surva;
    DateTime begin_date;

    friend bool operator==(const OpenPin&, const OpenPin&) = default;
  };
  // A surva that anybody may fill in.
  struct PublicLink {
    std::int64_t version = 0;
    std::string surva;

    friend bool operator==(const PublicLink&, const PublicLink&) = default;
  };

  std::vector<OpenPin> pins;
  std::vector<PublicLink> links;

  friend bool operator==(const Summary&, const Summary&) = default;
};

// Whether no table of the system has a row.
bool IsEmpty(data::Database& database);

// Fills a database whose tables are empty, in one transaction; the same rows for the same day.
Summary Fill(data::Database& database, const Clock& clock = Clock::System());

// What can be said of a database that Fill has filled, however it was used since; nothing if it holds other data.
std::optional<Summary> Find(data::Database& database, const Clock& clock = Clock::System());

// The summary for a person, a few lines; `address` is the site's, without a slash at its end.
std::string Text(const Summary& summary, const std::string& address);

}  // namespace surva::demo
