// Server: listens, reads requests, hands them to the site and writes its answers. One thread, the one that calls Run,
// does all of it; the site does the work of pages elsewhere.
#pragma once

#include <atomic>
#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/posix/basic_stream_descriptor.hpp>
#include <boost/asio/ssl/context.hpp>
#include <chrono>
#include <ctime>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "wire/host_names.h"
#include "wire/http_connection.h"
#include "wire/http_message.h"
#include "wire/limits.h"
#include "wire/log.h"
#include "wire/proxy.h"

namespace surva::wire {

struct ServerOptions {
  std::string host = "127.0.0.1";  // an address or a name; all addresses of a name are listened on
  std::string port = "0";          // 0 picks a free one
  std::string tls_certificate;     // PEM files; with them the server speaks TLS only
  std::string tls_key;
  TrustedProxies trusted_proxies;
  std::vector<std::string> host_names;  // that it answers to; see HostNames
  Limits limits;
};

class Server {
 public:
  // Listens at once. Throws a std::runtime_error that tells what is wrong with the address or the TLS files. The site
  // and the log outlive the server.
  Server(ServerOptions options, Site& site, Log& log);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  unsigned short port() const { return port_; }

  // Serves until Stop. Then no connection is left and answers that still come are dropped.
  void Run();
  // Accepts no more, lets the requests under way be answered and ends Run, after Limits::stop at the latest. From any
  // thread, also from a signal handler.
  void Stop();

  // For connections, on the I/O thread:
  const Limits& limits() const { return options_.limits; }
  const TrustedProxies& trusted_proxies() const { return options_.trusted_proxies; }
  const HostNames& host_names() const { return *host_names_; }
  Log& log() { return log_; }
  bool stopping() const { return stopping_; }
  std::string_view date();
  // Hands the request to the site; the connection gets exactly one Answer, or none if it is gone by then.
  void Handle(HttpRequest request, const std::shared_ptr<Connection>& connection);
  // A call for any thread, also after the server's end, that wakes the connection: more of a streamed body is there.
  std::function<void()> Resumption(const std::shared_ptr<Connection>& connection);
  // Sees to it that a sweep comes soon after the deadline.
  void Watch(SteadyTime deadline);
  void Remove(Connection& connection);

 private:
  using Executor = boost::asio::io_context::executor_type;
  using Tcp = boost::asio::ip::tcp;
  using Timer = boost::asio::basic_waitable_timer<std::chrono::steady_clock,
                                                  boost::asio::wait_traits<std::chrono::steady_clock>, Executor>;
  struct Listener {
    explicit Listener(const Executor& executor) : acceptor(executor), pause(executor) {}
    boost::asio::basic_socket_acceptor<Tcp, Executor> acceptor;
    Timer pause;
    Tcp::endpoint peer;
  };
  class AnswerQueue;
  class Ticket;

  void Listen();
  void LoadTls();
  void Accept(Listener& listener);
  void OnAccept(Listener& listener, boost::system::error_code error, Socket socket);
  void Welcome(Socket socket, const boost::asio::ip::address& address);
  void Sweep();
  void DeliverAnswers();
  void Deliver(const std::weak_ptr<Connection>& receiver, HttpResponse response);
  void AwaitStop();
  void Drain();

  ServerOptions options_;
  Site& site_;
  Log& log_;
  boost::asio::io_context io_{1};
  std::optional<boost::asio::ssl::context> tls_;
  std::deque<Listener> listeners_;
  std::optional<HostNames> host_names_;
  unsigned short port_ = 0;

  std::vector<std::shared_ptr<Connection>> connections_;
  std::unordered_map<std::string, std::size_t> connections_of_;  // by the bytes of the address or network
  std::shared_ptr<AnswerQueue> answers_;

  Timer sweep_timer_;
  SteadyTime next_sweep_ = SteadyTime::max();
  Timer stop_timer_;
  int stop_descriptor_;
  boost::asio::posix::basic_stream_descriptor<Executor> stop_event_;
  std::uint64_t stop_count_ = 0;
  bool stopping_ = false;

  std::time_t date_time_ = 0;
  std::string date_;
  SteadyTime last_accept_complaint_{};
};

}  // namespace surva::wire
