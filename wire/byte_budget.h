// ByteBudget: one bound for the memory of all requests and answers on their way, and for each network's share of it.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>

namespace surva::wire {

class ByteBudget {
 public:
  ByteBudget(std::size_t total, std::size_t share) : total_(total), share_(share) {}

  std::size_t used() const;

 private:
  friend class ByteCharge;

  // False, and nothing is taken, if there is not so much left; unless it is `forced`.
  bool Take(const std::string& network, std::size_t bytes, bool forced);
  void Give(const std::string& network, std::size_t bytes);

  const std::size_t total_;
  const std::size_t share_;
  mutable std::mutex mutex_;
  std::size_t used_ = 0;
  std::unordered_map<std::string, std::size_t> used_of_;
};

// What one request or answer has taken of the budget; given back with it, on any thread.
class ByteCharge {
 public:
  ByteCharge() = default;
  // An empty network has no share of its own, only the whole.
  ByteCharge(std::shared_ptr<ByteBudget> budget, std::string network)
      : budget_(std::move(budget)), network_(std::move(network)) {}
  ~ByteCharge() { Release(); }
  ByteCharge(ByteCharge&& other) noexcept
      : budget_(std::move(other.budget_)),
        network_(std::move(other.network_)),
        bytes_(std::exchange(other.bytes_, 0)) {}
  ByteCharge& operator=(ByteCharge&& other) noexcept;

  // False, and all stays as it was, if the budget has no room for so much.
  bool GrowTo(std::size_t bytes);
  // For what is there already: counts it, however full the budget is.
  void Set(std::size_t bytes);
  void Release();

 private:
  std::shared_ptr<ByteBudget> budget_;
  std::string network_;
  std::size_t bytes_ = 0;
};

}  // namespace surva::wire
