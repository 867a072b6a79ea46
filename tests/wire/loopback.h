// A server on the loopback interface with a small site behind it, and a client that speaks bytes.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/watching.h"
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

// One connection. What it sends and reads may take ten seconds at most.
class Client {
  using Tcp = boost::asio::ip::tcp;

 public:
  explicit Client(unsigned short port) {
    stream_.connect(Tcp::endpoint(boost::asio::ip::address_v4::loopback(), port));
  }

  Tcp::iostream& stream() { return stream_; }
  // Why there was no more to read.
  const boost::system::error_code& error() const { return stream_.error(); }

  void Send(std::string_view bytes) {
    Arm();
    stream_.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).flush();
  }
  void EndSending() { stream_.socket().shutdown(boost::asio::socket_base::shutdown_send); }

  // The next answer; `bodiless` for one to HEAD.
  Answer Read(bool bodiless = false) {
    Arm();
    Answer answer;
    std::string line;
    while (std::getline(stream_, line) && line != "\r") answer.head += line + "\n";
    if (!stream_) return {};
    answer.status = static_cast<unsigned>(std::stoul(answer.head.substr(9, 3)));
    if (!bodiless && answer.Says("Transfer-Encoding: chunked")) {
      while (!answer.whole && std::getline(stream_, line)) {
        const std::size_t length = std::stoul(line, nullptr, 16);
        answer.body += Take(length);
        answer.whole = Take(2) == "\r\n" && length == 0;
      }
      return answer;
    }
    const std::size_t field = answer.head.find("\r\nContent-Length: ");
    const bool has_body = !bodiless && field != std::string::npos;
    answer.body = Take(has_body ? std::stoul(answer.head.substr(field + 18)) : 0);
    answer.whole = stream_.good();
    return answer;
  }
  // All that comes until the server closes the connection.
  std::string ReadToEnd() {
    Arm();
    return {std::istreambuf_iterator<char>(stream_), {}};
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
  bool IsClosed() { return ReadToEnd().empty() && error() != boost::asio::error::timed_out; }

 private:
  void Arm() {
    stream_.clear();
    stream_.expires_after(10s);
  }
  std::string Take(std::size_t length) {
    std::string text(length, '\0');
    stream_.read(text.data(), static_cast<std::streamsize>(length));
    text.resize(static_cast<std::size_t>(stream_.gcount()));
    return text;
  }

  // One for all: each takes descriptors of its own.
  inline static boost::asio::io_context io_;
  Tcp::iostream stream_{Tcp::socket(io_)};
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
      if (behind) behind(request);
    }
  }

  std::function<void()> wait;                      // what /worker does before it answers
  std::function<void(const HttpRequest&)> behind;  // what is done behind an answer given at once
  std::atomic<int> begun = 0;                      // how many times these two have been asked
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

class Loopback {
 public:
  explicit Loopback(ServerOptions options = {}) : server(io_, std::move(options), site, log) {
    thread_ = std::thread([this] { server.Run(); });
  }
  ~Loopback() { Stop(); }

  unsigned short port() const { return server.port(); }
  // Stops the server and gives the time that it took.
  std::chrono::steady_clock::duration Stop() {
    const auto begin = std::chrono::steady_clock::now();
    server.Stop();
    if (thread_.joinable()) thread_.join();
    return std::chrono::steady_clock::now() - begin;
  }
  bool HoldsNothing() const {
    return test::Becomes([this] { return server.bytes_in_flight() == 0; });
  }
  // Waits until /worker and /stream have been asked so many times.
  void AwaitAsked(int times) {
    EXPECT_TRUE(test::Becomes([&] { return site.begun >= times; }));
  }

  EchoSite site;
  test::KeptLog log;

 private:
  boost::asio::io_context io_{1};

 public:
  Server server;

 private:
  std::thread thread_;
};

}  // namespace surva::wire
