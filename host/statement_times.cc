#include "host/statement_times.h"

#include <algorithm>

namespace surva::host {
namespace {

constexpr std::chrono::milliseconds kWorthTelling{1};
constexpr std::size_t kLongestText = 400;

std::string Milliseconds(StatementTimes::Time time) {
  return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(time).count()) + " ms";
}

}  // namespace

thread_local StatementTimes* StatementTimes::current_ = nullptr;

void StatementTimes::Add(data::Statement statement, Time taken) {
  ++count_;
  all_ += taken;
  if (taken < kWorthTelling || taken <= longest_.back().time) return;
  Taken& last = longest_.back();
  last = {taken, {}};
  for (const data::Piece& piece : statement) {
    if (piece.kind() == data::Piece::Kind::kLiteral) {
      last.text += piece.text();
    } else {
      last.text += '?';
    }
    if (last.text.size() > kLongestText) break;
  }
  last.text.resize(std::min(last.text.size(), kLongestText));
  std::ranges::sort(longest_, std::ranges::greater(), &Taken::time);
}

std::string StatementTimes::Text() const {
  std::string text = std::to_string(count_) + (count_ == 1 ? " statement in " : " statements in ") + Milliseconds(all_);
  for (const Taken& taken : longest_) {
    if (taken.time > Time{}) text += "; " + Milliseconds(taken.time) + ": " + taken.text;
  }
  return text;
}

}  // namespace surva::host
