// Averages over time, of a trainer, a training, a company or any of them together, against the house.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "desk/desk_page.h"
#include "reporting/average.h"

namespace surva::desk {

// What a request asks for: trainer, training, company, question, from and to (months), by.
struct TrendRequest {
  std::optional<std::int64_t> trainer, training, company, question;
  DateTime from, to;  // months, the last one included
  bool quarters = false;
  bool valid = true;  // what is filled names something

  explicit TrendRequest(const Context& context);

  bool OfAll() const { return !trainer && !training && !company; }
  // A month or quarter as a number, and its name.
  int Bucket(int year, int month) const { return quarters ? year * 4 + (month - 1) / 3 : year * 12 + month - 1; }
  int First() const { return Bucket(from.year, from.month); }
  int Last() const { return Bucket(to.year, to.month); }
  std::string Name(int bucket) const;
};

struct Bucket {
  Average average;
  // That were filled in at the least: as many as answered the question that most answered. One form has many answers.
  std::int64_t forms = 0;
};
using Series = std::map<int, Bucket>;

struct Trend {
  Trend(data::Connection& connection, const TrendRequest& asked);

  Series own, house;                              // the house is asked the same questions
  std::map<std::int64_t, std::string> questions;  // with numbers, that were answered in the time
  double low = 0, high = 0;                       // the ends of their scales
};

// A line of the table. What the person may not see is left out.
struct TrendLine {
  std::string period;
  std::optional<double> own, house;
  std::int64_t own_answers = 0, house_answers = 0;
};
std::vector<TrendLine> ReadTrend(const Context& context);

}  // namespace surva::desk
