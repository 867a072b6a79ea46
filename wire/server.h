// Server: listens, reads requests, hands them to the site and writes its answers. One thread, the one that calls Run,
// does all of it; the site does the work of pages elsewhere.
#pragma once

#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <chrono>
#include <ctime>
#include <deque>
#include <exception>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "wire/answer_queue.h"
#include "wire/byte_budget.h"
#include "wire/connection.h"
#include "wire/connection_table.h"
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

class Server final : private Reception {
 public:
  // Listens at once. Throws a std::runtime_error that tells what is wrong with the address or the TLS files, and a
  // std::invalid_argument for a host name that is none. The context, the site and the log outlive the server.
  Server(boost::asio::io_context& io, ServerOptions options, Site& site, Log& log);
  ~Server() override;
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  unsigned short port() const { return port_; }
  bool answers_to_any_name() const { return host_names_->any(); }
  std::size_t bytes_in_flight() const { return budget_->used(); }

  // Runs the context until Stop, whatever its handlers throw. Then no connection is left and answers that still come
  // are dropped.
  void Run();
  // Accepts no more, lets the requests under way be answered and ends Run, after Limits::stop at the latest. From any
  // thread.
  void Stop();
  // Reads certificate and key anew, for the connections to come. Throws a std::runtime_error, and keeps the old ones,
  // if they will not do. On the I/O thread.
  void ReloadTls();

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
    unsigned long round = 0;  // of accepting: what an earlier one still brings does not count
  };
  class Ticket;

  const Limits& limits() const override { return options_.limits; }
  Log& log() override { return log_; }
  bool stopping() const override { return stopping_; }
  std::string_view date() override;
  RequestHead Read(const boost::beast::http::request_header<>& header, const Peer& peer) override;
  std::string NewRequestId() override;
  ByteCharge OpenCharge(std::string network) override { return {budget_, std::move(network)}; }
  void Handle(HttpRequest request, ByteCharge charge, const std::shared_ptr<Connection>& connection) override;
  std::function<void()> Resumption(const std::shared_ptr<Connection>& connection) override;
  void SetWaiting(Connection& connection, bool waiting) noexcept override;
  void Remove(Connection& connection) noexcept override;

  void Listen();
  // Sets going again what a failure has ended.
  void Mend();
  void Accept(Listener& listener);
  void OnAccept(Listener& listener, boost::system::error_code error, Socket socket);
  void Welcome(Socket socket, const boost::asio::ip::address& address);
  void Tick();
  void DeliverAnswers();
  void Deliver(const std::shared_ptr<Connection>& connection, HttpResponse response);
  void Drain();
  // Calls a method of the connection, which is closed if that fails.
  template <class Call>
  void Try(Connection& connection, Call call) noexcept;
  void Complain(const char* what, const std::exception& failure) noexcept;
  // Tells at most once a minute.
  void Complain(const std::string& text);

  boost::asio::io_context& io_;
  ServerOptions options_;
  Site& site_;
  Log& log_;
  std::optional<boost::asio::ssl::context> tls_;
  std::deque<Listener> listeners_;
  std::optional<HostNames> host_names_;
  unsigned short port_ = 0;

  ConnectionTable connections_;
  std::shared_ptr<ByteBudget> budget_;
  std::shared_ptr<AnswerQueue> answers_;

  Timer tick_timer_;
  bool ticking_ = false;
  Timer stop_timer_;
  bool stopping_ = false;

  std::time_t date_time_ = 0;
  std::string date_;
  std::mt19937_64 request_ids_;
  SteadyTime last_complaint_{};
};

}  // namespace surva::wire
