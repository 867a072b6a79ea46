// Trusted proxies: the only peers whose word counts for who the visitor is and how he came.
#pragma once

#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/network_v4.hpp>
#include <boost/asio/ip/network_v6.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace surva::wire {

// Who asks, by what way, and for which server.
struct Visitor {
  boost::asio::ip::address address;
  std::string host;  // with a port if one was told; well-formed or empty
  bool https = false;
};

class TrustedProxies {
 public:
  TrustedProxies() = default;
  // Addresses and ranges such as "10.0.0.0/8" or "fd00::/8". Throws a std::invalid_argument that quotes the first that
  // is neither.
  explicit TrustedProxies(const std::vector<std::string>& ranges);

  bool Contains(const boost::asio::ip::address& address) const;

  // Corrects what the socket says of a visitor by what a trusted proxy's header fields say; whether the peer is one is
  // the caller's to ask. Empty and malformed values change nothing. Of the addresses in X-Forwarded-For the last one
  // counts that is no trusted proxy itself; of several X-Forwarded-Proto and -Host the last, the nearest proxy's.
  void Correct(Visitor& visitor, std::string_view forwarded_for, std::string_view forwarded_proto,
               std::string_view forwarded_host) const;

 private:
  std::vector<boost::asio::ip::network_v4> ranges_v4_;
  std::vector<boost::asio::ip::network_v6> ranges_v6_;
};

// The address as text; an IPv4 address that came through an IPv6 socket in its IPv4 form.
std::string AddressText(const boost::asio::ip::address& address);

// Whom rates and counts are kept for: the bytes of an IPv4 address, or of an IPv6 network of the size that one line
// gets (/64).
std::string NetworkOf(const boost::asio::ip::address& address);
bool IsLoopback(const boost::asio::ip::address& address);

}  // namespace surva::wire
