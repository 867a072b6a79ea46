#include "wire/byte_budget.h"

namespace surva::wire {

std::size_t ByteBudget::used() const {
  const std::lock_guard lock(mutex_);
  return used_;
}

bool ByteBudget::Take(const std::string& network, std::size_t bytes, bool forced) {
  const std::lock_guard lock(mutex_);
  if (!forced && (bytes > total_ || used_ > total_ - bytes)) return false;
  if (!network.empty()) {
    const auto of_network = used_of_.try_emplace(network, 0).first;
    if (!forced && (bytes > share_ || of_network->second > share_ - bytes)) {
      if (of_network->second == 0) used_of_.erase(of_network);
      return false;
    }
    of_network->second += bytes;
  }
  used_ += bytes;
  return true;
}

void ByteBudget::Give(const std::string& network, std::size_t bytes) {
  const std::lock_guard lock(mutex_);
  used_ -= bytes;
  if (network.empty()) return;
  const auto of_network = used_of_.find(network);
  of_network->second -= bytes;
  if (of_network->second == 0) used_of_.erase(of_network);
}

ByteCharge& ByteCharge::operator=(ByteCharge&& other) noexcept {
  if (this == &other) return *this;
  Release();
  budget_ = std::move(other.budget_);
  network_ = std::move(other.network_);
  bytes_ = std::exchange(other.bytes_, 0);
  return *this;
}

bool ByteCharge::GrowTo(std::size_t bytes) {
  if (!budget_ || bytes <= bytes_) return true;
  if (!budget_->Take(network_, bytes - bytes_, false)) return false;
  bytes_ = bytes;
  return true;
}

void ByteCharge::Set(std::size_t bytes) {
  if (!budget_) return;
  if (bytes > bytes_) budget_->Take(network_, bytes - bytes_, true);
  if (bytes < bytes_) budget_->Give(network_, bytes_ - bytes);
  bytes_ = bytes;
}

void ByteCharge::Release() {
  if (bytes_ > 0) budget_->Give(network_, bytes_);
  bytes_ = 0;
}

}  // namespace surva::wire
