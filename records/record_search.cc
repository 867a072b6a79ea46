#include "records/record_search.h"

#include <charconv>
#include <limits>

namespace surva::records {
namespace {

using data::Name;
using data::Number;
using data::Pattern;
using data::Piece;
using data::Rows;
using data::Text;

// Up to so many rows are looked up and sorted; from there on the list is walked in its order, and of so many some are
// soon met. The smaller number is tried first, so that a criterion that leaves next to nothing spares the counting.
constexpr std::int64_t kVeryFew = 50;
constexpr std::int64_t kFew = 250;
// One more, said in the statement itself: an engine that plans without the values knows then how little is asked for.
constexpr Piece kVeryFewAndOne = " limit 51";
constexpr Piece kFewAndOne = " limit 251";
// Sorts behind every text that goes on from where it stands.
constexpr std::string_view kLastCharacter = "\U0010FFFF";

void Append(std::vector<Piece>& statement, std::initializer_list<Piece> pieces) {
  statement.insert(statement.end(), pieces);
}

}  // namespace

Search::Search(data::Connection& connection, const Description& record, const Session& session)
    : connection_(connection), record_(record) {
  for (const Criterion& criterion : record.criteria) {
    std::string pattern = session[criterion.name].Text();
    // A null matches whatever was typed, so that this one asks for nothing.
    if (pattern == "%") continue;
    Condition condition{.criterion = &criterion, .pattern = std::move(pattern)};
    FindRange(condition);
    conditions_.push_back(std::move(condition));
  }
  ChoosePlan();
}

void Search::FindRange(Condition& condition) {
  const std::string prefix = condition.pattern.substr(0, condition.pattern.find_first_of("%_"));
  if (prefix.empty()) return;
  if (condition.criterion->kind == Criterion::Kind::kText) {
    condition.least = prefix;
    condition.most = prefix + std::string(kLastCharacter);
    condition.range_is_all = condition.pattern == prefix + "%";
    return;
  }
  // The numbers that begin with 12 are 12, 120 to 129, 1200 to 1299, and so on.
  std::int64_t least = 0;
  const auto [end, error] = std::from_chars(prefix.data(), prefix.data() + prefix.size(), least);
  if (error != std::errc() || end != prefix.data() + prefix.size() || least <= 0) return;
  for (std::int64_t most = least; least <= std::numeric_limits<std::int32_t>::max();
       least *= 10, most = most * 10 + 9) {
    condition.numbers.emplace_back(least, most);
  }
}

void Search::AppendRange(std::vector<Piece>& statement, const Condition& condition) const {
  const Piece& column = condition.criterion->column;
  if (!condition.most.empty()) {
    return Append(statement,
                  {"(", column, ">=", Text(condition.least), " and ", column, "<=", Text(condition.most), ")"});
  }
  Append(statement, {"("});
  for (const auto& [least, most] : condition.numbers) {
    if (least != condition.numbers.front().first) Append(statement, {" or "});
    Append(statement, {column, " between ", Number(least), " and ", Number(most)});
  }
  Append(statement, {")"});
}

void Search::ChoosePlan() {
  FindFew(kVeryFew);
  few_are_very_few_ = few_ != nullptr;
  if (few_ == nullptr) FindFew(kFew);
  if (few_ != nullptr) walked_ = nullptr;
}

// Looks how many rows each range holds, and how many the missing values add that match whatever was typed; neither is
// counted further than it matters. The order of the list comes first: where it leaves a handful, the others need no
// look.
void Search::FindFew(std::int64_t most) {
  std::vector<const Condition*> asked;
  for (const Condition& condition : conditions_) {
    if (condition.has_range()) asked.insert(condition.criterion->walked ? asked.begin() : asked.end(), &condition);
  }
  if (asked.empty()) return;
  const Piece& limit = most == kVeryFew ? kVeryFewAndOne : kFewAndOne;
  std::vector<Piece> statement{"with Foremost as materialized (select "};
  AppendMatching(statement, *asked.front(), limit);
  Append(statement, {" as Ranged, "});
  AppendMissing(statement, *asked.front(), limit);
  Append(statement, {" as Empty) select Ranged, Ranged+Empty"});
  for (std::size_t i = 1; i < asked.size(); ++i) {
    Append(statement, {", case when Ranged+Empty>10 then "});
    AppendMatching(statement, *asked[i], limit);
    Append(statement, {"+"});
    AppendMissing(statement, *asked[i], limit);
    Append(statement, {" end"});
  }
  Append(statement, {" from Foremost"});
  const Rows counts = connection_.Query(data::Statement(statement));
  const data::Row row = counts.First();
  if (asked.front()->criterion->walked && row[0].Integer() == row[1].Integer()) walked_ = asked.front();
  std::int64_t fewest = most + 1;
  for (std::size_t i = 0; i < asked.size(); ++i) {
    const Field rows = row[static_cast<int>(i + 1)];
    if (rows.IsNull() || rows.Integer() >= fewest) continue;
    fewest = rows.Integer();
    few_ = asked[i];
  }
}

void Search::AppendMatching(std::vector<Piece>& statement, const Condition& condition, const Piece& limit) const {
  const Piece key = Name(record_.table.key());
  const Piece& column = condition.criterion->column;
  Append(statement, {"(select count(*) from (select "});
  if (!condition.most.empty()) {
    Append(statement, {key, " from ", Name(record_.table), " where "});
    AppendRange(statement, condition);
    // In the order of its index: an engine that guesses that many rows match would rather read the table for them.
    Append(statement, {" order by ", column});
  } else {
    // One range behind the other: an engine that gathers them would gather all before it counts the first.
    for (const auto& [least, last] : condition.numbers) {
      if (least != condition.numbers.front().first) Append(statement, {" union all select "});
      Append(statement, {key, " from ", Name(record_.table), " where ", column, " between ", Number(least), " and ",
                         Number(last)});
    }
  }
  Append(statement, {limit, ") as Matching)"});
}

void Search::AppendMissing(std::vector<Piece>& statement, const Condition& condition, const Piece& limit) const {
  Append(statement, {"(select count(*) from (select ", Name(record_.table.key()), " from ", Name(record_.table),
                     " where ", condition.criterion->column, " is null", limit, ") as Missing)"});
}

void Search::AppendCondition(std::vector<Piece>& statement, const Condition& condition) const {
  if (&condition == walked_) {
    AppendRange(statement, condition);
    // A range that is all that was asked for spares an engine the guess how many rows a pattern leaves.
    if (condition.range_is_all) return;
    Append(statement, {" and "});
  }
  const Piece& column = condition.criterion->column;
  Append(statement, {"(", column, " like ", Pattern(condition.pattern), " or ", column, " is null)"});
}

// The keys of the few rows, which have the range or no value. How few they are an engine would not guess: far beyond
// their number is a limit, so that none is missed that has come since they were counted.
void Search::AppendFew(std::vector<Piece>& statement) const {
  const Piece select[] = {"select ", Name(record_.table.key()), " from ", Name(record_.table), " where "};
  Append(statement, {"select * from ("});
  statement.insert(statement.end(), std::begin(select), std::end(select));
  AppendRange(statement, *few_);
  Append(statement,
         {few_are_very_few_ ? Piece(" limit 100) as Ranged") : Piece(" limit 500) as Ranged"), " union all "});
  statement.insert(statement.end(), std::begin(select), std::end(select));
  Append(statement, {few_->criterion->column, " is null"});
}

Rows Search::ReadPage(std::int64_t page) {
  std::vector<Piece> statement;
  // Sorting must wait until the few are found, or an engine may walk through all in order instead.
  if (few_ != nullptr) Append(statement, {"with Found as materialized ("});
  Append(statement, {record_.search});
  Piece link = record_.first_link;
  for (const Condition& condition : conditions_) {
    Append(statement, {link});
    AppendCondition(statement, condition);
    link = " and ";
  }
  if (few_ != nullptr) {
    const data::Among few = data::AmongFew(connection_.dialect());
    Append(statement, {link, Name(record_.table.key()), few.opens});
    AppendFew(statement);
    Append(statement, {few.closes, ") select * from Found"});
  }
  Append(statement, {record_.order, " limit ", Number(kPageSize + 1), " offset ", Number((page - 1) * kPageSize)});
  return connection_.Query(data::Statement(statement));
}

}  // namespace surva::records
