// A request's start line and header fields, checked and turned into an HttpRequest.
#pragma once

#include <boost/asio/ip/address.hpp>
#include <boost/beast/http/fields.hpp>
#include <boost/beast/http/message.hpp>

#include "wire/host_names.h"
#include "wire/http_message.h"
#include "wire/proxy.h"

namespace surva::wire {

struct RequestHead {
  HttpRequest request;            // all but its body; without a request id unless a trusted proxy gave one
  unsigned refusal = 0;           // the status that refuses the request, 0 if it is well-formed
  bool broken_framing = false;    // where the request ends cannot be relied on
  bool expects_continue = false;  // the peer waits for leave to send the body
};

// What the socket says of the peer.
struct Peer {
  boost::asio::ip::address address;
  std::string address_text;
  std::string network;  // see NetworkOf
  bool trusted = false;
  bool tls = false;
};

RequestHead ReadHead(const boost::beast::http::request_header<>& header, const Peer& peer,
                     const TrustedProxies& proxies, const HostNames& names);

}  // namespace surva::wire
