#include "wire/proxy.h"

#include <algorithm>
#include <optional>
#include <stdexcept>

#include "frame/values/ascii.h"
#include "frame/values/text.h"
#include "wire/request_target.h"

namespace surva::wire {

namespace {

namespace ip = boost::asio::ip;

std::string_view LastOf(std::string_view list) {
  return Trimmed(list.substr(list.rfind(',') + 1));
}

// Reads an address with or without a port: "1.2.3.4", "1.2.3.4:5", "2001:db8::1", "[2001:db8::1]:5".
std::optional<ip::address> ReadAddress(std::string_view text) {
  if (text.starts_with('[')) {
    text = text.substr(1, text.find(']') - 1);
  } else if (std::count(text.begin(), text.end(), ':') == 1) {
    text = text.substr(0, text.find(':'));
  }
  boost::system::error_code error;
  const ip::address address = ip::make_address(std::string(text), error);
  if (error || text.find('%') != std::string_view::npos) return std::nullopt;
  return address;
}

// An IPv4 address that came through an IPv6 socket in its IPv4 form.
ip::address Unmapped(const ip::address& address) {
  if (!address.is_v6() || !address.to_v6().is_v4_mapped()) return address;
  return ip::make_address_v4(ip::v4_mapped, address.to_v6());
}

}  // namespace

TrustedProxies::TrustedProxies(const std::vector<std::string>& ranges) {
  for (const std::string& text : ranges) {
    boost::system::error_code error;
    const bool is_v6 = text.find(':') != std::string::npos;
    const bool is_range = text.find('/') != std::string::npos;
    if (is_v6) {
      ranges_v6_.push_back(ip::make_network_v6(is_range ? text : text + "/128", error));
    } else {
      ranges_v4_.push_back(ip::make_network_v4(is_range ? text : text + "/32", error));
    }
    if (error) throw std::invalid_argument("\"" + text + "\" is no address and no range of addresses");
  }
}

bool TrustedProxies::Contains(const ip::address& address) const {
  const ip::address plain = Unmapped(address);
  const auto holds = [](const auto& ranges, const auto& alone) {
    return std::any_of(ranges.begin(), ranges.end(), [&](const auto& range) {
      return alone.is_subnet_of(range) || alone == range;  // a range of one address is no subnet of itself
    });
  };
  return plain.is_v4() ? holds(ranges_v4_, ip::network_v4(plain.to_v4(), 32))
                       : holds(ranges_v6_, ip::network_v6(plain.to_v6(), 128));
}

void TrustedProxies::Correct(Visitor& visitor, std::string_view forwarded_for, std::string_view forwarded_proto,
                             std::string_view forwarded_host) const {
  // From the nearest hop outwards: each is told of by a proxy that the one before it proved to be trusted.
  while (!forwarded_for.empty()) {
    const std::optional<ip::address> hop = ReadAddress(LastOf(forwarded_for));
    if (!hop) break;
    visitor.address = *hop;
    if (!Contains(*hop)) break;
    const std::size_t comma = forwarded_for.rfind(',');
    forwarded_for = forwarded_for.substr(0, comma == std::string_view::npos ? 0 : comma);
  }
  const std::string_view proto = LastOf(forwarded_proto);
  if (EqualNames(proto, "https")) visitor.https = true;
  if (EqualNames(proto, "http")) visitor.https = false;
  if (const std::string_view host = LastOf(forwarded_host); ReadHost(host)) visitor.host = host;
}

std::string AddressText(const ip::address& address) {
  return Unmapped(address).to_string();
}

std::string NetworkOf(const ip::address& address) {
  const ip::address plain = Unmapped(address);
  if (plain.is_v4()) {
    const auto bytes = plain.to_v4().to_bytes();
    return {bytes.begin(), bytes.end()};
  }
  const auto bytes = plain.to_v6().to_bytes();
  return {bytes.begin(), bytes.begin() + 8};
}

bool IsLoopback(const ip::address& address) {
  return Unmapped(address).is_loopback();
}

}  // namespace surva::wire
