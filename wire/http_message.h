// HTTP requests and answers as they pass between the sockets and the site behind them.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace surva::wire {

// A request that the sockets' side has read whole, checked and found well-formed.
struct HttpRequest {
  enum class Method { kGet, kHead, kPost };

  Method method = Method::kGet;
  std::string path;          // percent-decoded, dot segments resolved; begins with "/"; holds no NUL
  std::string query;         // as it was sent, without the "?"
  std::string body;          // whole, its transfer coding undone
  std::string content_type;  // the header fields that the site asks for, empty when absent
  std::string cookie;
  std::string if_none_match;
  std::string remote_addr;  // the visitor's address; a trusted proxy's word counts for it, for `https`, `server_name`
  std::string server_name;  // host without a port, small letters; checked for form
  bool https = false;
};

struct HttpResponse {
  unsigned status = 200;
  std::string content_type = "text/html; charset=windows-1252";
  std::vector<std::pair<std::string, std::string>> headers;  // values are cleaned of control characters when sent
  std::string body;                                          // bytes as they are sent
  std::string_view static_body;                              // sent in place of `body` if not empty; lives for ever
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

// A short page that tells an HTTP status, for answers that no page object gives.
HttpResponse StatusPage(unsigned status, std::string_view explanation = {});

}  // namespace surva::wire
