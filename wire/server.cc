#include "wire/server.h"

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
#include <cerrno>
#include <stdexcept>
#include <thread>
#include <utility>

#include "frame/values/ascii.h"
#include "wire/response_head.h"
#include "wire/status_page.h"
#include "wire/tls.h"

namespace surva::wire {

namespace {

namespace asio = boost::asio;
using boost::system::error_code;

constexpr std::chrono::seconds kRetryAfter{5};
constexpr std::chrono::milliseconds kAcceptPause{200};
constexpr std::chrono::milliseconds kFailurePause{10};
constexpr std::chrono::minutes kComplaintPause{1};

void RaiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == limit.rlim_max) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

bool IsOutOfResources(error_code error) {
  return error == asio::error::no_descriptors || error == asio::error::no_buffer_space ||
         error == asio::error::no_memory || error.value() == ENFILE;
}

// A name may stand for an address of a kind that this machine does not have.
bool IsAbsent(error_code error) {
  return error == asio::error::address_family_not_supported || error.value() == EADDRNOTAVAIL;
}

// What the TLS library keeps for a connection, used or not.
constexpr std::size_t kTlsCost = 96 * 1024;

// With TLS idle connections cost memory too: four times what may be on its way, and a quarter of it for one address.
ServerOptions Bounded(ServerOptions options) {
  if (options.tls_certificate.empty()) return options;
  Limits& limits = options.limits;
  limits.connections = std::min(limits.connections, 4 * limits.bytes_in_flight / kTlsCost);
  limits.connections_per_address = std::clamp<std::size_t>(limits.connections / 4, 1, limits.connections_per_address);
  return options;
}

}  // namespace

// The right to answer one request. If it is dropped unused, the visitor gets a 500 instead of silence.
class Server::Ticket {
 public:
  Ticket(Server& server, const std::shared_ptr<Connection>& connection, ByteCharge charge)
      : server_(server),
        io_thread_(std::this_thread::get_id()),
        answers_(server.answers_),
        charge_(std::move(charge)),
        slot_(1, {connection, HttpResponse{.status = 500}}) {}
  ~Ticket() {
    try {
      if (!used_) Answer(StatusPage(500));
    } catch (...) {  // no memory for a page
      answers_->Push(slot_);
    }
  }
  Ticket(const Ticket&) = delete;
  Ticket& operator=(const Ticket&) = delete;

  void Answer(HttpResponse response) noexcept {
    if (used_.exchange(true)) return;
    if (std::this_thread::get_id() == io_thread_) {
      if (const auto connection = slot_.front().connection.lock()) server_.Deliver(connection, std::move(response));
    } else {
      slot_.front().response = std::move(response);
      answers_->Push(slot_);
    }
  }

 private:
  Server& server_;  // for the I/O thread alone, which it outlives
  std::thread::id io_thread_;
  std::shared_ptr<AnswerQueue> answers_;
  ByteCharge charge_;
  AnswerQueue::Slot slot_;
  std::atomic<bool> used_ = false;
};

Server::Server(asio::io_context& io, ServerOptions options, Site& site, Log& log)
    : io_(io),
      options_(Bounded(std::move(options))),
      site_(site),
      log_(log),
      connections_(options_.limits),
      budget_(std::make_shared<ByteBudget>(limits().bytes_in_flight, limits().share())),
      answers_(std::make_shared<AnswerQueue>([this] { asio::post(io_, [this] { DeliverAnswers(); }); })),
      tick_timer_(io_.get_executor()),
      stop_timer_(io_.get_executor()),
      request_ids_(std::random_device()() ^ static_cast<std::uint64_t>(std::time(nullptr)) << 32) {
  RaiseDescriptorLimit();
  if (!options_.tls_certificate.empty()) ReloadTls();
  Listen();
  const bool only_loopback = std::all_of(listeners_.begin(), listeners_.end(), [](const Listener& listener) {
    return IsLoopback(listener.acceptor.local_endpoint().address());
  });
  host_names_.emplace(options_.host_names, only_loopback);
}

Server::~Server() {
  answers_->Close();
  connections_.Clear();
}

void Server::ReloadTls() {
  if (!options_.tls_certificate.empty()) tls_ = MakeTlsContext(options_.tls_certificate, options_.tls_key);
}

void Server::Listen() {
  const std::string where = options_.host + ":" + options_.port;
  asio::ip::basic_resolver<Tcp, Executor> resolver(io_.get_executor());
  error_code error;
  const auto found = resolver.resolve(
      options_.host, options_.port, asio::ip::resolver_base::passive | asio::ip::resolver_base::numeric_service, error);
  if (error) throw std::runtime_error("cannot listen on " + where + ": " + error.message() + "; see --listen");
  error_code failure;
  for (const auto& entry : found) {
    Tcp::endpoint endpoint = entry.endpoint();
    // All addresses of a name share one port.
    if (port_ != 0) endpoint.port(port_);
    Listener& listener = listeners_.emplace_back(io_.get_executor());
    listener.acceptor.open(endpoint.protocol(), error);
    if (!error) listener.acceptor.set_option(asio::socket_base::reuse_address(true), error);
    if (!error) listener.acceptor.bind(endpoint, error);
    if (!error) listener.acceptor.listen(asio::socket_base::max_listen_connections, error);
    if (!error) {
      port_ = listener.acceptor.local_endpoint().port();
      continue;
    }
    listeners_.pop_back();
    failure = error;
    if (!IsAbsent(error)) break;
  }
  if (listeners_.empty() || (failure && !IsAbsent(failure))) {
    const char* const remedy = failure == asio::error::address_in_use
                                   ? "; stop the program that has the port, or give another --listen"
                               : failure == asio::error::access_denied
                                   ? "; ports below 1024 want CAP_NET_BIND_SERVICE, or give another --listen"
                                   : "; name an address of this machine with --listen";
    throw std::runtime_error("cannot listen on " + where + ": " + failure.message() + remedy);
  }
}

void Server::Run() {
  while (!io_.stopped()) {
    try {
      Mend();
      io_.run();
    } catch (const std::exception& failure) {
      Complain("unexpected failure on the I/O thread", failure);
      std::this_thread::sleep_for(kFailurePause);
    }
  }
  answers_->Close();
}

void Server::Mend() {
  if (!ticking_) Tick();
  if (stopping_) return;
  // A failure may have ended an accept before its handler was called, so all begin anew.
  for (Listener& listener : listeners_) Accept(listener);
}

void Server::Stop() {
  asio::post(io_, [this] { Drain(); });
}

void Server::Drain() {
  if (stopping_) return;
  stopping_ = true;
  for (Listener& listener : listeners_) {
    error_code ignored;
    listener.acceptor.close(ignored);
    listener.pause.cancel();
  }
  connections_.ForEach([this](Connection& connection) { Try(connection, [&] { connection.Drain(); }); });
  if (connections_.size() == 0) return io_.stop();
  stop_timer_.expires_after(limits().stop);
  stop_timer_.async_wait([this](error_code error) {
    if (error) return;
    log_.Warning("stopping: " + std::to_string(connections_.size()) + " connections are cut");
    connections_.ForEach([](Connection& connection) { connection.Close(); });
  });
}

void Server::Accept(Listener& listener) {
  const unsigned long round = ++listener.round;
  error_code ignored;
  listener.acceptor.cancel(ignored);
  listener.acceptor.async_accept(listener.peer, [this, &listener, round](error_code error, Socket socket) {
    if (round == listener.round) OnAccept(listener, error, std::move(socket));
  });
}

void Server::OnAccept(Listener& listener, error_code error, Socket socket) {
  if (stopping_) return;
  if (IsOutOfResources(error)) {
    Complain("cannot accept connections: " + error.message() + "; " + std::to_string(connections_.size()) +
             " are open");
    listener.pause.expires_after(kAcceptPause);
    listener.pause.async_wait([this, &listener, round = listener.round](error_code cancelled) {
      if (!cancelled && !stopping_ && round == listener.round) Accept(listener);
    });
    return;
  }
  if (!error) {
    try {
      Welcome(std::move(socket), listener.peer.address());
    } catch (const std::exception& failure) {
      Complain("a connection could not be taken", failure);
    }
  }
  Accept(listener);
}

void Server::Welcome(Socket socket, const asio::ip::address& address) {
  Peer peer{address, AddressText(address), NetworkOf(address), options_.trusted_proxies.Contains(address),
            tls_.has_value()};
  const ConnectionTable::Admission admission = connections_.Admit(peer);
  if (connections_.size() >= limits().connections) {
    Complain(std::to_string(connections_.size()) + " connections are open, more than that are turned away");
  }
  if (admission == ConnectionTable::Admission::kNotEvenRefused) return;

  error_code ignored;
  socket.set_option(Tcp::no_delay(true), ignored);
  std::shared_ptr<Connection> connection;
  Reception& reception = *this;
  if (tls_) {
    TlsSocket tls_socket(std::move(socket), *tls_);
    connection = std::make_shared<HttpConnection<TlsSocket>>(reception, std::move(tls_socket), std::move(peer));
  } else {
    connection = std::make_shared<HttpConnection<Socket>>(reception, std::move(socket), std::move(peer));
  }
  connections_.Add(connection);
  Try(*connection, [&] {
    if (admission == ConnectionTable::Admission::kWelcome) return connection->Start();
    const bool of_network = admission == ConnectionTable::Admission::kTooManyOfNetwork;
    connection->Refuse(StatusPage(of_network ? 429 : 503, {}, kRetryAfter));
  });
}

void Server::SetWaiting(Connection& connection, bool waiting) noexcept {
  connections_.SetWaiting(connection, waiting);
}

void Server::Remove(Connection& connection) noexcept {
  connections_.Remove(connection);
  if (stopping_ && connections_.size() == 0) io_.stop();
}

void Server::Tick() {
  ticking_ = false;
  const SteadyTime now = std::chrono::steady_clock::now();
  connections_.ForEach([this, now](Connection& connection) {
    if (connection.deadline() <= now) Try(connection, [&] { connection.Expire(); });
  });
  // Those for which there was no memory to wake this thread.
  DeliverAnswers();
  tick_timer_.expires_after(limits().tick);
  tick_timer_.async_wait([this](error_code error) {
    ticking_ = false;
    if (!error) Tick();
  });
  ticking_ = true;
}

std::string_view Server::date() {
  const std::time_t now = std::time(nullptr);
  if (now != date_time_) {
    date_ = HttpDate(now);
    date_time_ = now;
  }
  return date_;
}

RequestHead Server::Read(const boost::beast::http::request_header<>& header, const Peer& peer) {
  return ReadHead(header, peer, options_.trusted_proxies, *host_names_);
}

std::string Server::NewRequestId() {
  std::string id;
  std::uint64_t bits = request_ids_();
  for (int digit = 0; digit < 16; ++digit, bits >>= 4) id.push_back(kHexDigits[bits & 15]);
  return id;
}

void Server::Handle(HttpRequest request, ByteCharge charge, const std::shared_ptr<Connection>& connection) {
  const auto ticket = std::make_shared<Ticket>(*this, connection, std::move(charge));
  try {
    site_.Handle(std::move(request), [ticket](HttpResponse response) { ticket->Answer(std::move(response)); });
  } catch (const std::exception& failure) {
    Complain("a request failed", failure);
    ticket->Answer(StatusPage(500));
  }
}

std::function<void()> Server::Resumption(const std::shared_ptr<Connection>& connection) {
  return answers_->Resumption(connection);
}

void Server::DeliverAnswers() {
  for (AnswerQueue::Item& item : answers_->TakeAll()) {
    const auto connection = item.connection.lock();
    if (!connection) continue;
    if (item.response) {
      Deliver(connection, std::move(*item.response));
    } else {
      Try(*connection, [&] { connection->Resume(); });
    }
  }
}

void Server::Deliver(const std::shared_ptr<Connection>& connection, HttpResponse response) {
  Try(*connection, [&] { connection->Answer(std::move(response)); });
}

template <class Call>
void Server::Try(Connection& connection, Call call) noexcept {
  try {
    call();
  } catch (const std::exception& failure) {
    connection.Close();
    Complain("a connection failed", failure);
  }
}

void Server::Complain(const char* what, const std::exception& failure) noexcept {
  try {
    log_.Error(std::string(what) + ": " + failure.what());
  } catch (...) {  // a line less in the log
  }
}

void Server::Complain(const std::string& text) {
  const SteadyTime now = std::chrono::steady_clock::now();
  if (now - last_complaint_ < kComplaintPause) return;
  last_complaint_ = now;
  log_.Error(text);
}

}  // namespace surva::wire
