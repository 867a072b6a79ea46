// A server on the loopback interface with a small site behind it, and a client that speaks bytes.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "wire/body_stream.h"
#include "wire/server.h"

namespace surva::wire {

using namespace std::chrono_literals;

inline const std::string kHost = "Host: localhost\r\n";

struct Answer {
  unsigned status = 0;  // 0 if none came
  bool whole = false;   // all of the body has come
  std::string head;
  std::string body;

  bool Says(std::string_view line) const { return head.find("\r\n" + std::string(line) + "\r\n") != std::string::npos; }
};

// One connection. Reads wait for ten seconds at most.
class Client {
 public:
  explicit Client(unsigned short port) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    connected_ = ::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
  }
  ~Client() { ::close(socket_); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  bool connected() const { return connected_; }
  int socket() const { return socket_; }
  bool ended() const { return ended_; }
  int last_error() const { return last_error_; }  // of the last read

  void Send(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (sent <= 0) return;
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
  }
  void EndSending() { ::shutdown(socket_, SHUT_WR); }

  // The next answer; `bodiless` for one to HEAD.
  Answer Read(bool bodiless = false) {
    Answer answer;
    if (!ReceiveUpTo("\r\n\r\n", answer.head)) return answer;
    answer.head.erase(answer.head.size() - 2);
    answer.status = static_cast<unsigned>(std::atoi(answer.head.substr(9, 3).c_str()));
    if (!bodiless && answer.Says("Transfer-Encoding: chunked")) {
      answer.whole = ReadChunks(answer.body);
      return answer;
    }
    const std::size_t field = answer.head.find("\r\nContent-Length: ");
    const std::size_t length =
        bodiless || field == std::string::npos ? 0 : std::strtoul(answer.head.c_str() + field + 18, nullptr, 10);
    answer.whole = Take(length, answer.body);
    return answer;
  }
  // All that comes until the server closes the connection.
  std::string ReadToEnd() {
    while (Receive()) {
    }
    return std::exchange(received_, {});
  }
  Answer Ask(std::string_view bytes) {
    Send(bytes);
    return Read();
  }
  void Begin(std::string_view target) { Send("GET " + std::string(target) + " HTTP/1.1\r\n" + kHost + "\r\n"); }
  Answer Get(std::string_view target) {
    Begin(target);
    return Read();
  }

  // Whether the server closes the connection without another byte.
  bool IsClosed() { return !Receive() && received_.empty() && ended_; }

 private:
  bool ReceiveUpTo(std::string_view mark, std::string& text) {
    std::size_t at = 0;
    while ((at = received_.find(mark)) == std::string::npos) {
      if (!Receive()) return false;
    }
    return Take(at + mark.size(), text);
  }
  bool Take(std::size_t length, std::string& text) {
    while (received_.size() < length && Receive()) {
    }
    text = received_.substr(0, length);
    received_.erase(0, length);
    return text.size() == length;
  }
  bool ReadChunks(std::string& body) {
    std::string line;
    std::string chunk;
    while (ReceiveUpTo("\r\n", line)) {
      const std::size_t length = std::strtoul(line.c_str(), nullptr, 16);
      if (!Take(length, chunk)) return false;
      body += chunk;
      if (!Take(2, line) || line != "\r\n") return false;
      if (length == 0) return true;
    }
    return false;
  }
  bool Receive() {
    pollfd ready{socket_, POLLIN, 0};
    if (::poll(&ready, 1, 10'000) <= 0) return false;
    char bytes[65536];
    const ssize_t count = ::recv(socket_, bytes, sizeof(bytes), 0);
    ended_ = count <= 0;
    last_error_ = count < 0 ? errno : 0;
    if (count > 0) received_.append(bytes, static_cast<std::size_t>(count));
    return count > 0;
  }

  int socket_;
  bool connected_ = false;
  bool ended_ = false;
  int last_error_ = 0;
  std::string received_;
};

// Answers with what it was told of the request; /worker and /stream from another thread, /throw and /drop not at all.
class EchoSite : public Site {
 public:
  void Handle(HttpRequest request, Respond respond) override {
    if (request.path == "/throw") throw std::runtime_error("a page fails");
    if (request.path == "/drop") return;
    HttpResponse response;
    response.content_type = "text/plain";
    response.body = request.path + "|" + request.query + "|" + request.body + "|" + request.remote_addr + "|" +
                    request.server_name + "|" + (request.https ? "on" : "off");
    if (request.path == "/split") {
      response.headers.emplace_back("Location", request.query + "a\r\nSet-Cookie: b\n\r\n<html>");
      response.headers.emplace_back("X-Bad\r\nX-Worse", "c");
    }
    if (request.path.starts_with("/as")) response.status = static_cast<unsigned>(std::stoul(request.path.substr(3)));
    if (request.path == "/policy") response.headers.emplace_back("content-security-policy", "default-src 'self'");
    if (request.path == "/large") response.body.assign(8 * 1024 * 1024, 'l');
    if (request.path == "/facts") {
      response.body = request.host + "|" + std::string(request.Header("x-TEST")) + "|" +
                      (request.forwarded ? "forwarded" : "direct") + "|" +
                      (request.from_this_machine ? "own" : "other");
    }
    if (request.path == "/static") response.static_body = "unmoved";
    if (request.path == "/worker") {
      workers_.emplace_back([wait = wait, response, respond] {
        if (wait) wait();
        respond(response);
      });
      ++begun;
    } else if (request.path == "/stream") {
      workers_.emplace_back([this, respond] { Stream(respond); });
      ++begun;
    } else {
      respond(std::move(response));
    }
  }

  std::function<void()> wait;  // what /worker does before it answers
  std::atomic<int> begun = 0;  // how many times these two have been asked
  // What /stream sends, and how much of it the writer could write.
  std::vector<std::string> pieces;
  bool finishes = true;
  std::atomic<bool> dawdles = false;  // it writes no more, until nobody listens
  std::atomic<std::size_t> written = 0;

 private:
  void Stream(const Respond& respond) {
    BodyWriter writer;
    HttpResponse response;
    response.stream = writer.source();
    respond(std::move(response));
    for (const std::string& piece : pieces) {
      if (!writer.Write(piece)) return;
      written += piece.size();
    }
    while (dawdles && writer.Write({})) std::this_thread::sleep_for(1ms);
    dawdles = false;
    if (finishes) writer.Finish();
  }

  std::vector<std::jthread> workers_;
};

class SilentLog final : public Log {
 public:
  void Access(const AccessEntry&) override {}
  void Info(std::string_view) override {}
  void Warning(std::string_view) override {}
  void Error(std::string_view) override {}
};

// Whether something comes true before half a minute is over.
template <class Condition>
bool Becomes(const Condition& condition) {
  for (int i = 0; i < 3000 && !condition(); ++i) std::this_thread::sleep_for(10ms);
  return condition();
}

template <class Kind = EchoSite>
class LoopbackOf {
 public:
  explicit LoopbackOf(ServerOptions options = {}) : server(io_, std::move(options), site, log_) {
    thread_ = std::thread([this] { server.Run(); });
  }
  ~LoopbackOf() { Stop(); }

  unsigned short port() const { return server.port(); }
  // Stops the server and gives the time that it took.
  std::chrono::steady_clock::duration Stop() {
    const auto begin = std::chrono::steady_clock::now();
    server.Stop();
    if (thread_.joinable()) thread_.join();
    return std::chrono::steady_clock::now() - begin;
  }
  bool HoldsNothing() const {
    return Becomes([this] { return server.bytes_in_flight() == 0; });
  }
  // Waits until /worker and /stream have been asked so many times.
  void AwaitAsked(int times) {
    EXPECT_TRUE(Becomes([&] { return site.begun >= times; }));
  }

  Kind site;

 private:
  SilentLog log_;
  boost::asio::io_context io_{1};

 public:
  Server server;

 private:
  std::thread thread_;
};
using Loopback = LoopbackOf<>;

}  // namespace surva::wire
