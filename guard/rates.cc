#include "guard/rates.h"

#include <algorithm>
#include <cmath>

#include "guard/token.h"

namespace surva::guard {
namespace {

constexpr std::string_view kEverywhere = "pin/everywhere";
// A wrong PIN each second is more than the visitors of any installation mistype.
constexpr Slowdown kAll({.free = 60, .longest_wait = 1, .forgotten_in = 1});
// Whether a PIN has given back the free tries within an hour.
constexpr Slowdown kOnce({.free = 1, .longest_wait = 1, .forgotten_in = 3600});

std::string NetworkKey(std::string_view network) {
  return "pin/network/" + DigestOf(network);
}

}  // namespace

PinGuard::PinGuard(int free) : on_(free > 0), network_({.free = free, .longest_wait = 60, .forgotten_in = 120}) {}

PinGuard::Standing PinGuard::Ask(data::Connection& connection, std::string_view network, std::int64_t now) const {
  if (!on_) return {};
  const std::string key = NetworkKey(network);
  Slowdown::Standing own = network_.Ask(connection, key, now);
  if (own.has_wrong && own.wait == 0) {
    // Tries that come at once must not all pass by one count: they go one after the other, on all nodes.
    connection.Lock(key);
    own = network_.Ask(connection, key, now);
  }
  return {own.wait, kAll.Ask(connection, kEverywhere, now).free == 0, own.has_wrong};
}

void PinGuard::CountWrong(data::Connection& connection, std::string_view network, std::int64_t now) const {
  if (!on_) return;
  network_.Count(connection, NetworkKey(network), now);
  kAll.Count(connection, kEverywhere, now);
}

void PinGuard::CountRight(data::Connection& connection, std::string_view network, std::string_view pin,
                          std::int64_t now) const {
  if (!on_) return;
  const std::string used = "pin/right/" + DigestOf(std::string(network).append("/").append(pin));
  if (kOnce.Ask(connection, used, now).has_wrong) return;
  kOnce.Count(connection, used, now);
  Slowdown::Forget(connection, NetworkKey(network));
}

WriteBudget::Account& WriteBudget::Find(std::string_view network, Time now) {
  if (accounts_.size() >= rule_.most_networks) {
    // Those that have their whole budget again say nothing.
    std::erase_if(accounts_, [&](const auto& entry) { return now - entry.second.at > std::chrono::hours(1); });
    if (accounts_.size() >= rule_.most_networks) accounts_.clear();
  }
  const auto [place, is_new] = accounts_.try_emplace(std::string(network), Account{most(), now});
  Account& account = place->second;
  const double hours = std::chrono::duration<double, std::ratio<3600>>(now - account.at).count();
  account.left = std::min(most(), account.left + hours * rule_.writes_an_hour);
  account.at = now;
  return account;
}

std::int64_t WriteBudget::Ask(std::string_view network, Time now) {
  if (rule_.writes_an_hour <= 0) return 0;
  const std::lock_guard lock(mutex_);
  const Account& account = Find(network, now);
  if (account.left > 0) return 0;
  return 1 + static_cast<std::int64_t>(std::ceil(-account.left * 3600 / rule_.writes_an_hour));
}

void WriteBudget::Count(std::string_view network, std::size_t bytes, Time now) {
  if (rule_.writes_an_hour <= 0) return;
  const std::lock_guard lock(mutex_);
  Find(network, now).left -= std::max(1.0, static_cast<double>(bytes) / rule_.bytes_a_write);
}

}  // namespace surva::guard
