#include "wire/server.h"

#include <openssl/ssl.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>
#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include "wire/response_head.h"
#include "wire/status_page.h"

namespace surva::wire {

namespace {

namespace asio = boost::asio;
using boost::system::error_code;

// Refused connections that may stay for a moment to read why, beyond the limit.
constexpr std::size_t kMostRefused = 64;
constexpr std::chrono::seconds kRetryAfter{5};
constexpr std::chrono::milliseconds kAcceptPause{200};
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

}  // namespace

// The answers and pieces of them on their way from the workers to the I/O thread. The first of a batch wakes it, the
// others ride along.
class Server::AnswerQueue {
 public:
  struct Item {
    std::weak_ptr<Connection> connection;
    std::optional<HttpResponse> response;  // none: more of a streamed body is there
  };

  explicit AnswerQueue(Server& server) : server_(&server) {}

  // From any thread.
  void Push(Item item) {
    std::lock_guard lock(mutex_);
    if (server_ == nullptr) return;
    items_.push_back(std::move(item));
    if (items_.size() == 1) asio::post(server_->io_, [server = server_] { server->DeliverAnswers(); });
  }
  std::vector<Item> TakeAll() {
    std::lock_guard lock(mutex_);
    return std::exchange(items_, {});
  }
  void Close() {
    std::lock_guard lock(mutex_);
    server_ = nullptr;
    items_.clear();
  }

 private:
  std::mutex mutex_;
  Server* server_;
  std::vector<Item> items_;
};

// The right to answer one request. If it is dropped unused, the visitor gets a 500 instead of silence.
class Server::Ticket {
 public:
  Ticket(Server& server, const std::shared_ptr<Connection>& connection)
      : server_(server), io_thread_(std::this_thread::get_id()), answers_(server.answers_), connection_(connection) {}
  ~Ticket() {
    try {
      if (!used_) Answer(StatusPage(500));
    } catch (...) {  // no memory even for that
    }
  }
  Ticket(const Ticket&) = delete;
  Ticket& operator=(const Ticket&) = delete;

  void Answer(HttpResponse response) {
    if (used_.exchange(true)) return;
    if (std::this_thread::get_id() == io_thread_) {
      server_.Deliver(connection_, std::move(response));
    } else {
      answers_->Push({std::move(connection_), std::move(response)});
    }
  }

 private:
  Server& server_;  // for the I/O thread alone, which it outlives
  std::thread::id io_thread_;
  std::shared_ptr<AnswerQueue> answers_;
  std::weak_ptr<Connection> connection_;
  std::atomic<bool> used_ = false;
};

Server::Server(ServerOptions options, Site& site, Log& log)
    : options_(std::move(options)),
      site_(site),
      log_(log),
      answers_(std::make_shared<AnswerQueue>(*this)),
      sweep_timer_(io_.get_executor()),
      stop_timer_(io_.get_executor()),
      stop_descriptor_(::eventfd(0, EFD_CLOEXEC)),
      stop_event_(io_.get_executor(), stop_descriptor_) {
  RaiseDescriptorLimit();
  if (!options_.tls_certificate.empty()) LoadTls();
  Listen();
  const bool only_loopback = std::all_of(listeners_.begin(), listeners_.end(), [](const Listener& listener) {
    return IsLoopback(listener.acceptor.local_endpoint().address());
  });
  host_names_.emplace(options_.host_names, only_loopback);
}

Server::~Server() {
  answers_->Close();
  // The handlers that still wait hold connections, whose sockets need the I/O context.
  connections_.clear();
}

void Server::LoadTls() {
  tls_.emplace(asio::ssl::context::tls_server);
  SSL_CTX* const context = tls_->native_handle();
  SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION);
  SSL_CTX_set_options(context, SSL_OP_NO_RENEGOTIATION | SSL_OP_CIPHER_SERVER_PREFERENCE);
  SSL_CTX_set_mode(context, SSL_MODE_RELEASE_BUFFERS);
  error_code error;
  tls_->use_certificate_chain_file(options_.tls_certificate, error);
  if (error) {
    throw std::runtime_error("cannot read the TLS certificate " + options_.tls_certificate + ": " + error.message());
  }
  tls_->use_private_key_file(options_.tls_key, asio::ssl::context::pem, error);
  if (error) throw std::runtime_error("cannot read the TLS key " + options_.tls_key + ": " + error.message());
}

void Server::Listen() {
  const std::string where = options_.host + ":" + options_.port;
  asio::ip::basic_resolver<Tcp, Executor> resolver(io_.get_executor());
  error_code error;
  const auto found = resolver.resolve(
      options_.host, options_.port, asio::ip::resolver_base::passive | asio::ip::resolver_base::numeric_service, error);
  if (error) throw std::runtime_error("cannot listen on " + where + ": " + error.message());
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
    const bool taken = failure == asio::error::address_in_use;
    throw std::runtime_error("cannot listen on " + where + ": " + failure.message() +
                             (taken ? "; stop the program that has the port, or give another --listen" : ""));
  }
}

void Server::Run() {
  AwaitStop();
  for (Listener& listener : listeners_) Accept(listener);
  while (!io_.stopped()) {
    try {
      io_.run();
    } catch (const std::exception& failure) {
      // The connection whose handler failed is closed by the sweep once its deadline passes.
      log_.Error(std::string("unexpected failure on the I/O thread: ") + failure.what());
    }
  }
  answers_->Close();
}

void Server::Stop() {
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = ::write(stop_descriptor_, &one, sizeof(one));
}

void Server::AwaitStop() {
  stop_event_.async_read_some(asio::buffer(&stop_count_, sizeof(stop_count_)), [this](error_code error, std::size_t) {
    if (!error) Drain();
  });
}

void Server::Drain() {
  stopping_ = true;
  for (Listener& listener : listeners_) {
    error_code ignored;
    listener.acceptor.close(ignored);
    listener.pause.cancel();
  }
  const std::vector<std::shared_ptr<Connection>> connections = connections_;
  for (const auto& connection : connections) connection->Drain();
  if (connections_.empty()) return io_.stop();
  stop_timer_.expires_after(limits().stop);
  stop_timer_.async_wait([this](error_code error) {
    if (error) return;
    log_.Warning("stopping: " + std::to_string(connections_.size()) + " connections are cut");
    const std::vector<std::shared_ptr<Connection>> left = connections_;
    for (const auto& connection : left) connection->Close();
  });
}

void Server::Accept(Listener& listener) {
  listener.acceptor.async_accept(listener.peer, [this, &listener](error_code error, Socket socket) {
    OnAccept(listener, error, std::move(socket));
  });
}

void Server::OnAccept(Listener& listener, error_code error, Socket socket) {
  if (stopping_) return;
  if (!error) {
    Welcome(std::move(socket), listener.peer.address());
  } else if (IsOutOfResources(error)) {
    const SteadyTime now = std::chrono::steady_clock::now();
    if (now - last_accept_complaint_ > kComplaintPause) {
      last_accept_complaint_ = now;
      log_.Error("cannot accept connections: " + error.message() + "; " + std::to_string(connections_.size()) +
                 " are open");
    }
    listener.pause.expires_after(kAcceptPause);
    listener.pause.async_wait([this, &listener](error_code cancelled) {
      if (!cancelled && !stopping_) Accept(listener);
    });
    return;
  }
  Accept(listener);
}

void Server::Welcome(Socket socket, const asio::ip::address& address) {
  Peer peer{address, AddressText(address), options_.trusted_proxies.Contains(address), tls_.has_value()};
  const std::size_t open = connections_.size();
  if (open >= limits().connections + kMostRefused) return;
  std::size_t& of_address = connections_of_[NetworkOf(address)];
  unsigned refusal = 0;
  if (!peer.trusted && of_address >= limits().connections_per_address) refusal = 429;
  if (open >= limits().connections) refusal = 503;
  if (refusal == 429 && of_address >= limits().connections_per_address + kMostRefused) return;

  error_code ignored;
  socket.set_option(Tcp::no_delay(true), ignored);
  std::shared_ptr<Connection> connection;
  if (tls_) {
    connection =
        std::make_shared<HttpConnection<TlsSocket>>(*this, TlsSocket(std::move(socket), *tls_), std::move(peer));
  } else {
    connection = std::make_shared<HttpConnection<Socket>>(*this, std::move(socket), std::move(peer));
  }
  ++of_address;
  connection->place = connections_.size();
  connections_.push_back(connection);
  if (refusal != 0) {
    connection->Refuse(StatusPage(refusal, {}, kRetryAfter));
  } else {
    connection->Start();
  }
}

void Server::Remove(Connection& connection) {
  const auto count = connections_of_.find(NetworkOf(connection.peer().address));
  if (--count->second == 0) connections_of_.erase(count);
  const std::size_t place = connection.place;
  // Whoever called still needs the connection.
  const std::shared_ptr<Connection> kept = std::move(connections_[place]);
  if (place + 1 < connections_.size()) {
    connections_[place] = std::move(connections_.back());
    connections_[place]->place = place;
  }
  connections_.pop_back();
  if (stopping_ && connections_.empty()) io_.stop();
}

void Server::Watch(SteadyTime deadline) {
  if (deadline >= next_sweep_) return;
  next_sweep_ = deadline;
  sweep_timer_.expires_at(deadline);
  sweep_timer_.async_wait([this](error_code error) {
    if (!error) Sweep();
  });
}

void Server::Sweep() {
  const SteadyTime now = std::chrono::steady_clock::now();
  std::vector<std::shared_ptr<Connection>> expired;
  SteadyTime earliest = SteadyTime::max();
  for (const auto& connection : connections_) {
    if (connection->deadline() <= now) {
      expired.push_back(connection);
    } else {
      earliest = std::min(earliest, connection->deadline());
    }
  }
  next_sweep_ = SteadyTime::max();
  // Not before the next tick, so that many deadlines in a row cost one sweep.
  if (earliest != SteadyTime::max()) Watch(std::max(earliest, now + limits().sweep));
  for (const auto& connection : expired) connection->Expire();
}

std::string_view Server::date() {
  const std::time_t now = std::time(nullptr);
  if (now != date_time_) {
    date_time_ = now;
    date_ = HttpDate(now);
  }
  return date_;
}

void Server::Handle(HttpRequest request, const std::shared_ptr<Connection>& connection) {
  const auto ticket = std::make_shared<Ticket>(*this, connection);
  try {
    site_.Handle(std::move(request), [ticket](HttpResponse response) { ticket->Answer(std::move(response)); });
  } catch (const std::exception& failure) {
    log_.Error(std::string("a request failed: ") + failure.what());
    ticket->Answer(StatusPage(500));
  }
}

std::function<void()> Server::Resumption(const std::shared_ptr<Connection>& connection) {
  return [answers = answers_, connection = std::weak_ptr<Connection>(connection)] {
    answers->Push({connection, std::nullopt});
  };
}

void Server::DeliverAnswers() {
  for (AnswerQueue::Item& item : answers_->TakeAll()) {
    if (item.response) {
      Deliver(item.connection, std::move(*item.response));
    } else if (const auto connection = item.connection.lock()) {
      connection->Resume();
    }
  }
}

void Server::Deliver(const std::weak_ptr<Connection>& receiver, HttpResponse response) {
  const auto connection = receiver.lock();
  if (!connection) return;
  try {
    connection->Answer(std::move(response));
  } catch (const std::exception& failure) {
    log_.Error(std::string("an answer failed: ") + failure.what());
    connection->Close();
  }
}

}  // namespace surva::wire
