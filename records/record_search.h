// Record search: the rows of a result list, read a page at a time, from an index wherever the criteria name one.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "frame/data/connection.h"
#include "frame/session.h"
#include "records/record_description.h"

namespace surva::records {

class Search {
 public:
  static constexpr std::int64_t kPageSize = 10;

  // The criteria are the session's. Throws a Fault for one that no statement can hold.
  Search(data::Connection& connection, const Description& record, const Session& session);
  Search(const Search&) = delete;
  Search& operator=(const Search&) = delete;

  // The rows of a page, counted from 1, and one more if there is a next page.
  data::Rows ReadPage(std::int64_t page);

 private:
  // A criterion that asks for something.
  struct Condition {
    const Criterion* criterion;
    std::string pattern;
    // What the pattern's beginning leaves: texts between two bounds, or numbers between one of several. Without a
    // beginning, none.
    std::string least = {}, most = {};
    std::vector<std::pair<std::int64_t, std::int64_t>> numbers = {};
    bool range_is_all = false;  // whether the range leaves nothing for the pattern to decide

    bool has_range() const { return !most.empty() || !numbers.empty(); }
  };

  static void FindRange(Condition& condition);
  void ChoosePlan();
  void FindFew(std::int64_t most);
  void AppendCondition(std::vector<data::Piece>& statement, const Condition& condition) const;
  void AppendMatching(std::vector<data::Piece>& statement, const Condition& condition, const data::Piece& limit) const;
  void AppendMissing(std::vector<data::Piece>& statement, const Condition& condition, const data::Piece& limit) const;
  void AppendFew(std::vector<data::Piece>& statement) const;
  void AppendRange(std::vector<data::Piece>& statement, const Condition& condition) const;

  data::Connection& connection_;
  const Description& record_;
  std::vector<Condition> conditions_;
  const Condition* few_ = nullptr;  // so few rows fulfil it that they are looked up and sorted
  bool few_are_very_few_ = false;
  const Condition* walked_ = nullptr;  // a range of the order in which the list is walked
};

}  // namespace surva::records
