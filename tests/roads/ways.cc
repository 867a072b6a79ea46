#include <future>
#include <sstream>
#include <thread>

#include "tests/roads/roads.h"
#include "tests/wire/loopback.h"
#include "wire/server.h"

namespace surva::test {
namespace {

std::string Drain(wire::BodySource& stream) {
  std::string all;
  for (;;) {
    std::promise<void> more;
    std::string piece;
    const auto state = stream.Take(piece, [&more] { more.set_value(); });
    all += piece;
    if (state == wire::BodySource::State::kFinished) return all;
    if (state == wire::BodySource::State::kBrokenOff) return "broken off";
    if (piece.empty()) more.get_future().wait();
  }
}

Way InTurn(std::size_t count, const std::string& dsn, const Node::Options& options) {
  const auto nodes = std::make_shared<std::vector<std::unique_ptr<Node>>>();
  while (nodes->size() < count) nodes->push_back(std::make_unique<Node>(dsn, options));
  return [nodes, next = std::size_t{0}](const wire::HttpRequest& request) mutable {
    wire::HttpResponse answer = (*nodes)[next++ % nodes->size()]->Ask(request);
    if (answer.stream) answer.body = Drain(*answer.stream);
    return answer;
  };
}

// The peer is a trusted proxy, so that a visitor may have any address and come over TLS.
class Sockets {
 public:
  Sockets(const std::string& dsn, const Node::Options& options) : node_(dsn, options) {
    thread_ = std::thread([this] { server_.Run(); });
  }
  ~Sockets() {
    server_.Stop();
    thread_.join();
  }

  wire::HttpResponse Ask(const wire::HttpRequest& request) {
    const bool posted = request.method == wire::HttpRequest::Method::kPost;
    std::string text = (posted ? "POST " : "GET ") + request.path + (request.query.empty() ? "" : "?") + request.query +
                       " HTTP/1.1\r\nHost: " + request.server_name +
                       "\r\nConnection: close\r\nX-Forwarded-For: " + request.remote_addr +
                       "\r\nX-Forwarded-Proto: " + (request.https ? "https" : "http") + "\r\n";
    for (const auto& [name, value] : request.headers) text.append(name).append(": ").append(value).append("\r\n");
    if (posted) text += "Content-Length: " + std::to_string(request.body.size()) + "\r\n";
    const wire::Answer answer = wire::Client(server_.port()).Ask(text + "\r\n" + request.body);
    wire::HttpResponse response;
    response.status = answer.status;
    response.body = answer.body;
    std::istringstream head(answer.head);
    for (std::string line; std::getline(head, line);) {
      const std::size_t colon = line.find(": ");
      if (colon == std::string::npos) continue;
      const auto& field =
          response.headers.emplace_back(line.substr(0, colon), line.substr(colon + 2, line.size() - colon - 3));
      if (field.first == "Content-Type") response.content_type = field.second;
    }
    return response;
  }

 private:
  Node node_;
  boost::asio::io_context io_{1};
  wire::Server server_{io_,
                       {.trusted_proxies = wire::TrustedProxies({"127.0.0.1"}), .host_names = {"www.example"}},
                       node_.service,
                       node_.log};
  std::thread thread_;
};

}  // namespace

Way MakeWay(const std::string& name, const std::string& dsn, const Node::Options& options) {
  if (name != "sockets") return InTurn(name == "nodes" ? 2 : 1, dsn, options);
  return [sockets = std::make_shared<Sockets>(dsn, options)](const auto& request) { return sockets->Ask(request); };
}

}  // namespace surva::test
