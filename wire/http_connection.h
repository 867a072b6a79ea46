// HttpConnection: one peer's connection, plain or TLS. It reads requests one after the other, hands each to the site,
// and writes the answers in the same order.
#pragma once

#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "wire/byte_budget.h"
#include "wire/connection.h"
#include "wire/http_message.h"
#include "wire/request_reader.h"
#include "wire/response_writer.h"
#include "wire/status_page.h"

namespace surva::wire {

using Socket = boost::asio::basic_stream_socket<boost::asio::ip::tcp, boost::asio::io_context::executor_type>;
using TlsSocket = boost::asio::ssl::stream<Socket>;

template <class Stream>
class HttpConnection final : public Connection {
 public:
  HttpConnection(Reception& reception, Stream stream, Peer peer);

  void Start() override;
  void Refuse(HttpResponse response) override;
  void Answer(HttpResponse response) override;
  void Resume() override;
  void Expire() override;
  void Drain() override;
  void Close() noexcept override;

 private:
  static constexpr bool kTls = std::is_same_v<Stream, TlsSocket>;

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

  // A handler that keeps the connection, does nothing once it is closed, and closes it when it fails.
  template <class Handler>
  auto Guarded(Handler handler);
  void Read();
  void OnRead(boost::system::error_code error, std::size_t bytes);
  void Go();
  void ReadHeader();
  void OnHeader();
  void LetBodyCome();
  void ReadBody();
  void Dispatch();
  // Refuses the request that is being read; `last` if what follows it cannot be understood.
  void RefuseRequest(HttpResponse response, bool last);
  void OnBroken() { RefuseRequest(StatusPage(reader_.refusal()), true); }
  void OnOverload();
  void Write();
  void WriteOn();
  void OnWritten();
  void NoteAccess();
  void ShakeHands();
  void BeginNext();
  void Finish();
  void Linger();
  bool PeerHasGone();
  void Discard();

  void ArmIn(std::chrono::milliseconds time);
  // For a transfer under way since `since`: a head start and the time that its bytes may take, but no long pause.
  void ArmTransfer(SteadyTime since, std::size_t bytes);
  void Disarm() { deadline_ = SteadyTime::max(); }
  Socket& socket();
  std::shared_ptr<HttpConnection> self() { return std::static_pointer_cast<HttpConnection>(shared_from_this()); }

  Reception& reception_;
  Stream stream_;
  State state_ = State::kIdle;
  bool expired_ = false;
  bool first_ = true;
  bool keep_alive_ = false;
  bool http10_ = false;
  bool lingers_ = false;

  RequestReader reader_;
  HttpRequest request_;
  ByteCharge charge_;  // of the request or the answer
  std::size_t header_cost_ = 0;
  SteadyTime started_;  // of the request
  SteadyTime transfer_started_;
  std::size_t transferred_ = 0;

  // What the access log tells of the request; the target outlives the request, which the site takes.
  std::string method_;
  std::string target_;
  std::string remote_addr_;
  std::string request_id_;
  std::string network_;  // to be charged; empty for nobody in particular
  bool https_ = false;
  ResponseWriter writer_;
  SteadyTime waiting_since_;  // for the next piece
};

extern template class HttpConnection<Socket>;
extern template class HttpConnection<TlsSocket>;

}  // namespace surva::wire
