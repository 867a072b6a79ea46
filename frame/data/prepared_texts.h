// PreparedTexts: what a connection has prepared, by the statements' texts. Each costs memory, on a PostgreSQL server
// the plan's too, and connections live long; how many texts there are, with as many places as an export has rows or a
// search criteria, nobody has counted. Those that were used last are kept.
#pragma once

#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace surva::data {

// All pages together take some 110 texts in ordinary use.
inline constexpr std::size_t kMostPrepared = 200;

template <class Prepared>
class PreparedTexts {
 public:
  // What a text was prepared as; an empty one if it was not. It stays in place as long as it is kept.
  Prepared& Recall(const std::string& text) {
    if (const auto known = places_.find(text); known != places_.end()) {
      latest_first_.splice(latest_first_.begin(), latest_first_, known->second);
    } else {
      latest_first_.emplace_front(text, Prepared());
      places_.emplace(latest_first_.front().first, latest_first_.begin());
    }
    return latest_first_.front().second;
  }

  // Takes out the one that has not been used for longest, if they are too many.
  std::optional<Prepared> TakeSurplus() {
    if (places_.size() <= kMostPrepared) return {};
    std::optional<Prepared> surplus(std::move(latest_first_.back().second));
    places_.erase(latest_first_.back().first);
    latest_first_.pop_back();
    return surplus;
  }

 private:
  using Texts = std::list<std::pair<std::string, Prepared>>;
  Texts latest_first_;
  std::unordered_map<std::string_view, typename Texts::iterator> places_;
};

}  // namespace surva::data
