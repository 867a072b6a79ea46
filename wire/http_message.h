// HTTP requests and answers as they pass between the sockets and the site behind them.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace surva::wire {

class BodySource;

using HeaderFields = std::vector<std::pair<std::string, std::string>>;

// A request that the sockets' side has read whole, checked and found well-formed.
struct HttpRequest {
  enum class Method { kGet, kHead, kPost };

  Method method = Method::kGet;
  std::string path;      // percent-decoded; begins with "/"
  std::string query;     // as it was sent, without the "?"
  std::string body;      // whole, its transfer coding undone
  HeaderFields headers;  // each name once: the values of a repeated one are joined by ", ", of Cookie by "; "

  // Of the visitor. A trusted proxy's word counts for these five.
  std::string remote_addr;
  std::string network;      // bytes of the IPv4 address or of the IPv6 /64 network: whom rates are kept for
  std::string server_name;  // host without a port, small letters; checked for form
  std::string host;         // the same with the port if one was given, as it was sent; empty if no host was told
  bool https = false;

  std::string request_id;          // for the logs; a trusted proxy's X-Request-ID, or made anew
  bool forwarded = false;          // a proxy has passed the request on, trusted or not
  bool from_this_machine = false;  // the peer is on the loopback interface, and is no proxy

  // A header field's value, whatever the case of the name; empty when absent.
  std::string_view Header(std::string_view name) const;
};

struct HttpResponse {
  unsigned status = 200;
  std::string content_type = "text/html; charset=windows-1252";
  HeaderFields headers;                // values are cleaned of control characters when sent
  std::string body;                    // bytes as they are sent
  std::string_view static_body;        // sent in place of `body` if not empty; lives for ever
  std::shared_ptr<BodySource> stream;  // sent in place of both if set: what a BodyWriter writes
};

// Gives the answer to one request; called exactly once, from any thread.
using Respond = std::function<void(HttpResponse)>;

// The site behind the sockets. Handle is called on the I/O thread and must not block it: what takes long goes to the
// workers. It may answer before it returns.
class Site {
 public:
  virtual ~Site() = default;
  virtual void Handle(HttpRequest request, Respond respond) = 0;
};

}  // namespace surva::wire
