// What one visitor may take of the server's memory, sockets and time.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>

namespace surva::wire {

struct Limits {
  std::size_t header_bytes = 16 * 1024;
  std::size_t body_bytes = 1024 * 1024;
  std::size_t bytes_in_flight = 64 * 1024 * 1024;  // of all requests and answers on their way
  std::size_t connections = 10'000;
  std::size_t connections_per_address = 2'500;  // of one IPv4 address or one IPv6 /64 network
  std::size_t bytes_per_second = 4096;          // least rate of bodies and answers, on top of `transfer`

  std::chrono::milliseconds handshake{10'000};
  std::chrono::milliseconds header{10'000};    // for the whole header
  std::chrono::milliseconds transfer{10'000};  // head start of a body or an answer
  std::chrono::milliseconds stall{30'000};     // of a body or an answer, however fast it was before
  std::chrono::milliseconds idle{60'000};      // between two requests
  std::chrono::milliseconds linger{2'000};     // for a refused peer to read why
  std::chrono::milliseconds stop{8'000};       // from Stop until what is left is cut
  std::chrono::milliseconds tick{250};         // how exactly the deadlines above are kept

  // Of the bytes in flight that one address or network may have: a quarter, but room for one request and its answer.
  std::size_t share() const { return std::max(bytes_in_flight / 4, 2 * body_bytes); }
};

}  // namespace surva::wire
