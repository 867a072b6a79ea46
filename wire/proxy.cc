#include "wire/proxy.h"

#include <algorithm>
#include <charconv>
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

TrustedProxies::Bytes TrustedProxies::BytesOf(const ip::address& address) {
  if (address.is_v6()) return address.to_v6().to_bytes();
  return ip::make_address_v6(ip::v4_mapped, address.to_v4()).to_bytes();
}

TrustedProxies::TrustedProxies(const std::vector<std::string>& ranges) {
  for (const std::string& text : ranges) {
    const std::size_t slash = text.find('/');
    boost::system::error_code error;
    const ip::address address = ip::make_address(text.substr(0, slash), error);
    const unsigned longest = !error && address.is_v4() ? 32 : 128;
    unsigned bits = longest;
    if (slash != std::string::npos) {
      const char* end = text.data() + text.size();
      const auto [stop, failure] = std::from_chars(text.data() + slash + 1, end, bits);
      if (failure != std::errc() || stop != end) bits = longest + 1;
    }
    if (error || bits > longest)
      throw std::invalid_argument("\"" + text + "\" is no address and no range of addresses");
    ranges_.push_back({BytesOf(address), bits + 128 - longest});
  }
}

bool TrustedProxies::Contains(const ip::address& address) const {
  if (ranges_.empty()) return false;
  const Bytes bytes = BytesOf(address);
  return std::any_of(ranges_.begin(), ranges_.end(), [&bytes](const Range& range) {
    const unsigned whole = range.bits / 8;
    if (!std::equal(bytes.begin(), bytes.begin() + whole, range.bytes.begin())) return false;
    const unsigned rest = range.bits % 8;
    return rest == 0 || (bytes[whole] ^ range.bytes[whole]) >> (8 - rest) == 0;
  });
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
