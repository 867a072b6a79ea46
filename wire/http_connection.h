// HttpConnection: one peer's connection, plain or TLS. It reads requests one after the other, hands each to the site,
// and writes the answers in the same order.
#pragma once

#include <array>
#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "wire/http_message.h"
#include "wire/request_head.h"

namespace surva::wire {

class Server;

using SteadyTime = std::chrono::steady_clock::time_point;
using Socket = boost::asio::basic_stream_socket<boost::asio::ip::tcp, boost::asio::io_context::executor_type>;
using TlsSocket = boost::asio::ssl::stream<Socket>;

// A connection as the server sees it. All calls come from the I/O thread. The server keeps it until it is removed.
class Connection : public std::enable_shared_from_this<Connection> {
 public:
  explicit Connection(Peer peer) : peer_(std::move(peer)) {}
  virtual ~Connection() = default;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  virtual void Start() = 0;
  // Answers before any request and closes; over TLS just closes.
  virtual void Refuse(HttpResponse response) = 0;
  // The answer to the request under way; of no effect if there is none.
  virtual void Answer(HttpResponse response) = 0;
  // More of the body that the answer streams is there.
  virtual void Resume() = 0;
  // The deadline has passed.
  virtual void Expire() = 0;
  // The server stops: closes if no request is under way, else after its answer.
  virtual void Drain() = 0;
  virtual void Close() = 0;

  const Peer& peer() const { return peer_; }
  SteadyTime deadline() const { return deadline_; }

  std::size_t place = 0;  // in the server's table

 protected:
  Peer peer_;
  SteadyTime deadline_ = SteadyTime::max();
};

template <class Stream>
class HttpConnection final : public Connection {
 public:
  HttpConnection(Server& server, Stream stream, Peer peer);

  void Start() override;
  void Refuse(HttpResponse response) override;
  void Answer(HttpResponse response) override;
  void Resume() override;
  void Expire() override;
  void Drain() override;
  void Close() override;

 private:
  static constexpr bool kTls = std::is_same_v<Stream, TlsSocket>;
  static constexpr std::size_t kSmallBuffer = 4096;  // holds the header of all but rare requests
  using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;

  enum class State {
    kHandshake,
    kIdle,    // no byte of the next request has come
    kHeader,  // some have
    kBody,
    kWorking,  // the site has the request
    kWriting,
    kAwaitingBody,  // what is there of a streamed answer is written
    kLingering,     // the last answer is written, the peer may still be sending
    kClosed,
  };

  void Read();
  void OnRead(boost::system::error_code error, std::size_t bytes);
  void Parse();
  void ParseHeader();
  void OnHeader();
  void LetBodyCome();
  void ParseBody();
  void Dispatch();
  // Refuses the request that is being read; `last` if what follows it cannot be understood.
  void RefuseRequest(HttpResponse response, bool last);
  void OnParseError(boost::system::error_code error);
  void Write();
  void TakePiece();
  void OnWritten();
  void NoteAccess();
  void BeginNext();
  void Finish();
  void Linger();
  void Discard();
  // Closes so that the peer cannot take what it has got for a whole answer.
  void Abort();

  void ArmIn(std::chrono::milliseconds time);
  // For a transfer under way since `since`: a head start and the time that its bytes may take, but no long pause.
  void ArmTransfer(SteadyTime since, std::size_t bytes);
  void Disarm() { deadline_ = SteadyTime::max(); }
  Socket& socket();
  std::shared_ptr<HttpConnection> self() { return std::static_pointer_cast<HttpConnection>(shared_from_this()); }

  // The bytes that were read and not yet taken.
  char* buffer() { return large_buffer_ ? large_buffer_.get() : small_buffer_.data(); }
  std::size_t capacity() const;
  std::size_t unread() const { return end_ - begin_; }
  void MakeRoom();

  Server& server_;
  Stream stream_;
  State state_ = State::kIdle;
  bool expired_ = false;
  bool first_ = true;
  bool keep_alive_ = false;
  bool http10_ = false;
  bool lingers_ = false;

  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::unique_ptr<char[]> large_buffer_;
  std::optional<Parser> parser_;
  HttpRequest request_;
  SteadyTime started_;  // of the request
  SteadyTime transfer_started_;
  std::size_t transferred_ = 0;

  // What the access log tells of the request; the target outlives the request, which the site takes.
  std::string method_;
  std::string target_;
  std::string remote_addr_;
  HttpResponse response_;
  std::string head_;
  std::string piece_;           // of a streamed body
  std::size_t body_bytes_ = 0;  // sent, or about to be
  SteadyTime waiting_since_;    // for the next piece
  std::array<boost::asio::const_buffer, 3> to_write_;

  std::array<char, kSmallBuffer> small_buffer_;
};

extern template class HttpConnection<Socket>;
extern template class HttpConnection<TlsSocket>;

}  // namespace surva::wire
