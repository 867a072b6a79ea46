#include "guard/slowdown.h"

#include <algorithm>

#include "frame/data/clearing.h"
#include "frame/data/schema.h"

namespace surva::guard {

using data::Bound;
using data::Number;

namespace {

// By so many seconds the clocks of two nodes may.
constexpr std::int64_t kNodesDiffer = 60 * 60;

}  // namespace

int Slowdown::most() const {
  int doublings = 0;
  while ((std::int64_t{1} << doublings) < rule_.longest_wait) ++doublings;
  return rule_.free + doublings;
}

Slowdown::Standing Slowdown::Ask(data::Connection& connection, std::string_view key, std::int64_t now) const {
  const data::Rows rows = connection.Query({"select PaidOff, LastTry from WrongTry where TryKey=", Bound(Field(key))});
  if (rows.empty()) return {rule_.free, 0, false};
  const std::int64_t debt = std::max<std::int64_t>(rows.First()["PaidOff"].Integer() - now, 0);
  const std::int64_t wrong = std::min<std::int64_t>((debt + rule_.forgotten_in - 1) / rule_.forgotten_in, most());
  if (wrong < rule_.free) return {rule_.free - static_cast<int>(wrong), 0, wrong > 0};
  const std::int64_t wait = std::min(std::int64_t{1} << (wrong - rule_.free), rule_.longest_wait);
  // A clock that was set back must not lock anybody out.
  const std::int64_t last = std::min(rows.First()["LastTry"].Integer(), now);
  return {0, std::max<std::int64_t>(last + wait - now, 0), true};
}

// A wrong try is a debt of so many seconds. What was paid off is taken off inside the statement: others count
// meanwhile.
void Slowdown::Count(data::Connection& connection, std::string_view key, std::int64_t now) const {
  const std::int64_t most_debt = (most() - 1) * rule_.forgotten_in;
  connection.Execute({"insert into WrongTry (TryKey, PaidOff, LastTry) values (", Bound(Field(key)), ", ",
                      Number(now + rule_.forgotten_in), ", ", Number(now),
                      ") on conflict (TryKey) do update set LastTry = excluded.LastTry, PaidOff = case "
                      "when WrongTry.PaidOff < ",
                      Number(now), " then ", Number(now + rule_.forgotten_in), " when WrongTry.PaidOff > ",
                      Number(now + most_debt), " then ", Number(now + most_debt + rule_.forgotten_in),
                      " else WrongTry.PaidOff + ", Number(rule_.forgotten_in), " end"});
}

void Slowdown::Uncount(data::Connection& connection, std::string_view key) const {
  connection.Execute(
      {"update WrongTry set PaidOff = PaidOff - ", Number(rule_.forgotten_in), " where TryKey=", Bound(Field(key))});
}

void Slowdown::Forget(data::Connection& connection, std::string_view key) {
  connection.Execute({"delete from WrongTry where TryKey=", Bound(Field(key))});
}

bool Slowdown::Purge(data::Connection& connection, std::int64_t now) {
  return data::DeletePortion(connection, data::tables::kWrongTry, {"PaidOff < ", Number(now - kNodesDiffer)});
}

}  // namespace surva::guard
