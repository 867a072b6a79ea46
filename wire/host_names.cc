#include "wire/host_names.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <stdexcept>

#include "wire/request_target.h"

namespace surva::wire {

namespace {

bool IsLoopbackAddress(std::string_view name) {
  if (name.starts_with('[')) name = name.substr(1, name.size() - 2);
  boost::system::error_code error;
  const auto address = boost::asio::ip::make_address(std::string(name), error);
  return !error && address.is_loopback();
}

}  // namespace

HostNames::HostNames(const std::vector<std::string>& names, bool only_loopback) {
  for (const std::string& text : names) {
    std::optional<std::string> name = ReadHost(text);
    if (!name || name->size() != text.size()) throw std::invalid_argument("\"" + text + "\" is no host name");
    names_.push_back(std::move(*name));
  }
  if (!names.empty()) return;
  any_ = !only_loopback;
  loopback_ = only_loopback;
  names_.emplace_back("localhost");
}

bool HostNames::Contain(std::string_view name) const {
  return any_ || std::find(names_.begin(), names_.end(), name) != names_.end() ||
         (loopback_ && IsLoopbackAddress(name));
}

}  // namespace surva::wire
