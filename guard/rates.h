// Rates: how fast strangers may guess PINs, and how much one network may store. A network is an IPv4 address or an IPv6
// /64 (HttpRequest::network). Whoever sits at the machine itself is not counted; the caller leaves him out.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

#include "frame/data/connection.h"
#include "guard/slowdown.h"

namespace surva::guard {

// Wrong PINs, counted in the database for all nodes together.
class PinGuard {
 public:
  // `free` wrong PINs of one network cost no wait; 0 counts nothing at all.
  explicit PinGuard(int free = 10);

  struct Standing {
    std::int64_t wait = 0;  // seconds; the network's next try is refused until then
    bool busy = false;      // so many are wrong, from wherever, that tries go one after the other
    bool had_wrong = false;
  };
  // Holds the tries of a network that has wrong ones until the connection commits or rolls back.
  Standing Ask(data::Connection& connection, std::string_view network, std::int64_t now) const;
  void CountWrong(data::Connection& connection, std::string_view network, std::int64_t now) const;
  // A right PIN gives a class behind one address its free tries back: each PIN once in an hour, lest one who has a PIN
  // could buy guesses with it.
  void CountRight(data::Connection& connection, std::string_view network, std::string_view pin, std::int64_t now) const;

  bool on() const { return on_; }

 private:
  bool on_;
  Slowdown network_;
};

// What the public page stores for a network, counted in memory: each node by itself.
class WriteBudget {
 public:
  struct Rule {
    double writes_an_hour = 2000;  // 0 counts nothing
    double bytes_a_write = 16 * 1024;
    std::size_t most_networks = 100'000;
  };
  using Time = std::chrono::steady_clock::time_point;

  explicit WriteBudget(Rule rule) : rule_(rule) {}

  // Seconds until the network may store something again; 0 if it may now.
  std::int64_t Ask(std::string_view network, Time now);
  void Count(std::string_view network, std::size_t bytes, Time now);

 private:
  struct Account {
    double left = 0;  // writes; long ones count several times
    Time at;
  };
  double most() const { return rule_.writes_an_hour; }
  Account& Find(std::string_view network, Time now);

  const Rule rule_;
  std::mutex mutex_;
  std::unordered_map<std::string, Account> accounts_;
};

}  // namespace surva::guard
