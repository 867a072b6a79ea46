#include "wire/http_connection.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <boost/asio/error.hpp>
#include <boost/asio/write.hpp>
#include <type_traits>
#include <utility>

#include "frame/values/ascii.h"
#include "wire/status_page.h"

namespace surva::wire {

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;
using Found = RequestReader::Found;

// Bodies up to this size go out in the same TLS record as the head.
constexpr std::size_t kSmallBody = 15 * 1024;
constexpr std::size_t kMostLogged = 300;
constexpr int kHelloHead = 9;                     // of a TLS record and of the first message in it
constexpr std::size_t kLongestHello = 16 * 1024;  // those of browsers have two
using LowWatermark = asio::socket_base::receive_low_watermark;
constexpr std::size_t kFieldCost = 200;          // of a header field, besides its bytes
constexpr std::size_t kStreamCost = 512 * 1024;  // of a streamed body, at most
constexpr std::chrono::seconds kRetryAfter{2};
constexpr std::chrono::seconds kLookForPeer{1};  // while a streamed body is awaited
constexpr std::size_t kMostDiscarded = 16 * 1024 * 1024;

}  // namespace

template <class Stream>
HttpConnection<Stream>::HttpConnection(Reception& reception, Stream stream, Peer peer)
    : Connection(std::move(peer)), reception_(reception), stream_(std::move(stream)), reader_(reception, peer_) {}

template <class Stream>
template <class Handler>
auto HttpConnection<Stream>::Guarded(Handler handler) {
  return [self = self(), handler = std::move(handler)](error_code error, std::size_t bytes = 0) mutable {
    if (self->state_ == State::kClosed) return;
    try {
      handler(error, bytes);
    } catch (const std::exception& failure) {
      self->Close();
      self->reception_.log().Error(std::string("a connection failed: ") + failure.what());
    }
  };
}

template <class Stream>
Socket& HttpConnection<Stream>::socket() {
  if constexpr (kTls) {
    return stream_.next_layer();
  } else {
    return stream_;
  }
}

template <class Stream>
void HttpConnection<Stream>::ArmIn(std::chrono::milliseconds time) {
  deadline_ = std::chrono::steady_clock::now() + time;
}

template <class Stream>
void HttpConnection<Stream>::ArmTransfer(SteadyTime since, std::size_t bytes) {
  const Limits& limits = reception_.limits();
  deadline_ =
      std::min<SteadyTime>(since + limits.transfer + std::chrono::milliseconds(bytes * 1000 / limits.bytes_per_second),
                           std::chrono::steady_clock::now() + limits.stall);
}

template <class Stream>
void HttpConnection<Stream>::Start() {
  if constexpr (kTls) {
    state_ = State::kHandshake;
    reception_.SetWaiting(*this, true);
    ArmIn(reception_.limits().handshake);
    error_code ignored;
    socket().set_option(LowWatermark(kHelloHead), ignored);
    socket().async_wait(Socket::wait_read, Guarded([this](error_code error, std::size_t) {
                          if (error) return Close();
                          ShakeHands();
                        }));
  } else {
    BeginNext();
  }
}

// The library keeps room for as long a hello as one tells, long before it is there.
template <class Stream>
void HttpConnection<Stream>::ShakeHands() {
  if constexpr (kTls) {
    std::array<unsigned char, kHelloHead> head{};
    const ssize_t bytes = recv(socket().native_handle(), head.data(), head.size(), MSG_PEEK | MSG_DONTWAIT);
    const std::size_t told = std::size_t{head[6]} << 16 | std::size_t{head[7]} << 8 | head[8];
    if (bytes != kHelloHead || told > kLongestHello) return Close();
    error_code ignored;
    socket().set_option(LowWatermark(1), ignored);
    stream_.async_handshake(asio::ssl::stream_base::server, Guarded([this](error_code error, std::size_t) {
                              if (error) return Close();
                              BeginNext();
                            }));
  }
}

template <class Stream>
void HttpConnection<Stream>::Refuse(HttpResponse response) {
  if constexpr (kTls) {
    Close();
  } else {
    started_ = std::chrono::steady_clock::now();
    remote_addr_ = peer_.address_text;
    RefuseRequest(std::move(response), true);
  }
}

// Waits for the next request, which may have come already behind the last one.
template <class Stream>
void HttpConnection<Stream>::BeginNext() {
  state_ = State::kIdle;
  const bool nothing_there = reader_.unread().empty();
  if (reception_.stopping() && nothing_there) return Finish();
  reception_.SetWaiting(*this, true);
  // A first request has been on its way since the connection was accepted.
  ArmIn(first_ ? reception_.limits().header : reception_.limits().idle);
  if (nothing_there) {
    reader_.Rest();
    return Read();
  }
  Go();
}

template <class Stream>
void HttpConnection<Stream>::Read() {
  const asio::mutable_buffer room = reader_.Room();
  if (room.size() == 0) return OnOverload();
  stream_.async_read_some(room, Guarded([this](error_code error, std::size_t bytes) { OnRead(error, bytes); }));
}

template <class Stream>
void HttpConnection<Stream>::OnRead(error_code error, std::size_t bytes) {
  reader_.Take(bytes);
  if (expired_) return RefuseRequest(StatusPage(408), true);
  if (error) return Finish();
  if (state_ == State::kBody) {
    transferred_ = reader_.body_came();
    ArmTransfer(transfer_started_, transferred_);
  }
  Go();
}

template <class Stream>
void HttpConnection<Stream>::Go() {
  if (state_ == State::kBody) {
    ReadBody();
  } else {
    ReadHeader();
  }
}

template <class Stream>
void HttpConnection<Stream>::ReadHeader() {
  if (state_ == State::kIdle) {
    if (!reader_.Begins()) return Read();
    state_ = State::kHeader;
    started_ = std::chrono::steady_clock::now();
    if (!first_) ArmIn(reception_.limits().header);
    first_ = false;
  }
  switch (reader_.ReadHeader()) {
    case Found::kTooLittle:
      return Read();
    case Found::kAll:
      return OnHeader();
    default:
      return OnBroken();
  }
}

template <class Stream>
void HttpConnection<Stream>::OnHeader() {
  reception_.SetWaiting(*this, false);
  const RequestReader::Header& header = *reader_.header();
  RequestHead head = reception_.Read(header, peer_);
  method_ = header.method_string();
  target_ = header.target();
  remote_addr_ = head.request.remote_addr;
  if (head.request.request_id.empty()) head.request.request_id = reception_.NewRequestId();
  request_id_ = head.request.request_id;
  network_ = head.request.from_this_machine ? std::string() : head.request.network;
  https_ = head.request.https;
  request_ = std::move(head.request);
  http10_ = header.version() < 11;
  keep_alive_ = reader_.keep_alive();
  if (head.refusal != 0) {
    HttpResponse response = StatusPage(head.refusal);
    if (head.refusal == 405) response.headers.emplace_back("Allow", "GET, HEAD, POST");
    return RefuseRequest(std::move(response), head.broken_framing);
  }
  header_cost_ = 2 * reader_.header_bytes() + kFieldCost * request_.headers.size();
  charge_ = reception_.OpenCharge(network_);
  if (!charge_.GrowTo(header_cost_)) return OnOverload();
  if (!reader_.LacksBody()) return Dispatch();

  state_ = State::kBody;
  reader_.BeginBody();
  transfer_started_ = std::chrono::steady_clock::now();
  transferred_ = reader_.body_came();
  ArmTransfer(transfer_started_, transferred_);
  if (head.expects_continue && transferred_ == 0) return LetBodyCome();
  ReadBody();
}

template <class Stream>
void HttpConnection<Stream>::LetBodyCome() {
  static constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
  asio::async_write(stream_, asio::buffer(kContinue), Guarded([this](error_code error, std::size_t) {
                      if (expired_ || error) return Close();
                      Read();
                    }));
}

template <class Stream>
void HttpConnection<Stream>::ReadBody() {
  switch (reader_.ReadBody(charge_, header_cost_)) {
    case Found::kTooLittle:
      return Read();
    case Found::kAll:
      return Dispatch();
    case Found::kBroken:
      return OnBroken();
    case Found::kTooCostly:
      return OnOverload();
  }
}

template <class Stream>
void HttpConnection<Stream>::OnOverload() {
  RefuseRequest(StatusPage(503, "The server is busy. Please try again in a moment.", kRetryAfter),
                reader_.header() == nullptr);
}

template <class Stream>
void HttpConnection<Stream>::RefuseRequest(HttpResponse response, bool last) {
  // A body that was not read would be taken for the next request.
  if (last || reader_.LacksBody()) {
    keep_alive_ = false;
    lingers_ = true;
  }
  reception_.SetWaiting(*this, false);
  if (remote_addr_.empty()) remote_addr_ = peer_.address_text;
  if (request_id_.empty()) {
    request_id_ = reception_.NewRequestId();
    https_ = peer_.tls;
  }
  if (target_.empty()) {
    // The log tells as much of the request as could be read.
    if (const RequestReader::Header* header = reader_.header()) {
      method_ = header->method_string();
      target_ = header->target();
    }
    const std::string_view rest = reader_.unread();
    if (target_.empty()) target_ = rest.substr(0, std::min<std::size_t>(rest.find_first_of("\r\n"), kMostLogged));
  }
  reader_.Forget();
  state_ = State::kWorking;
  Answer(std::move(response));
}

template <class Stream>
void HttpConnection<Stream>::Dispatch() {
  request_.body = reader_.TakeBody();
  state_ = State::kWorking;
  Disarm();
  reception_.Handle(std::move(request_), std::move(charge_), shared_from_this());
}

template <class Stream>
void HttpConnection<Stream>::Answer(HttpResponse response) {
  if (state_ != State::kWorking) return;
  state_ = State::kWriting;
  if (reception_.stopping()) keep_alive_ = false;
  Framing framing = Framing::kLength;
  if (response.stream) {
    framing = http10_ ? Framing::kUntilClosed : Framing::kChunked;
    if (http10_) keep_alive_ = false;
  }
  Persistence persistence = Persistence::kUnsaid;
  if (!keep_alive_) persistence = Persistence::kClose;
  if (keep_alive_ && http10_) persistence = Persistence::kKeepAlive;
  charge_ = reception_.OpenCharge(network_);
  charge_.Set(response.stream ? kStreamCost : response.body.capacity());
  writer_.Begin(std::move(response), {reception_.date(), request_id_, framing, persistence, https_}, method_ != "HEAD",
                kTls ? kSmallBody : 0);
  transfer_started_ = std::chrono::steady_clock::now();
  transferred_ = 0;
  Write();
}

template <class Stream>
void HttpConnection<Stream>::Write() {
  ArmTransfer(transfer_started_, transferred_);
  stream_.async_write_some(writer_.due(), Guarded([this](error_code error, std::size_t bytes) {
                             transferred_ += bytes;
                             writer_.Take(bytes);
                             if (error) return Close();
                             writer_.IsDue() ? Write() : WriteOn();
                           }));
}

template <class Stream>
void HttpConnection<Stream>::WriteOn() {
  using Next = ResponseWriter::Next;
  switch (writer_.Go(writer_.streams() ? reception_.Resumption(shared_from_this()) : std::function<void()>())) {
    case Next::kMore:
      return Write();
    case Next::kNothing:
      return OnWritten();
    case Next::kNotYet:
      // The time that the maker takes is not the peer's.
      state_ = State::kAwaitingBody;
      waiting_since_ = std::chrono::steady_clock::now();
      return ArmIn(kLookForPeer);
    case Next::kBrokenOff:
      return Close();
  }
}

template <class Stream>
void HttpConnection<Stream>::Resume() {
  if (state_ != State::kAwaitingBody) return;
  state_ = State::kWriting;
  transfer_started_ += std::chrono::steady_clock::now() - waiting_since_;
  WriteOn();
}

template <class Stream>
void HttpConnection<Stream>::OnWritten() {
  NoteAccess();
  state_ = State::kIdle;
  writer_.Rest();
  charge_.Release();
  method_.clear();
  target_.clear();
  remote_addr_.clear();
  request_id_.clear();
  if (!keep_alive_) return Finish();
  BeginNext();
}

template <class Stream>
void HttpConnection<Stream>::NoteAccess() {
  const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - started_;
  reception_.log().Access({.request_id = request_id_,
                           .remote_addr = remote_addr_,
                           .method = method_,
                           .target = target_,
                           .status = writer_.status(),
                           .bytes = writer_.body_bytes(),
                           .milliseconds = time.count()});
}

// The last answer is written, or the peer has closed: says goodbye.
template <class Stream>
void HttpConnection<Stream>::Finish() {
  state_ = State::kLingering;
  transferred_ = 0;
  if constexpr (kTls) {
    ArmIn(reception_.limits().linger);
    stream_.async_shutdown(Guarded([this](error_code, std::size_t) { Linger(); }));
  } else {
    Linger();
  }
}

// Closing a socket with unread bytes would reset the connection, and the peer might never see the answer.
template <class Stream>
void HttpConnection<Stream>::Linger() {
  if (!lingers_) return Close();
  ArmIn(reception_.limits().linger);
  error_code ignored;
  socket().shutdown(Socket::shutdown_send, ignored);
  Discard();
}

template <class Stream>
void HttpConnection<Stream>::Discard() {
  socket().async_read_some(reader_.Scratch(), Guarded([this](error_code error, std::size_t bytes) {
                             transferred_ += bytes;
                             if (error || transferred_ > kMostDiscarded) return Close();
                             Discard();
                           }));
}

// Nothing is read or written meanwhile that would find out.
template <class Stream>
bool HttpConnection<Stream>::PeerHasGone() {
  pollfd look{.fd = socket().native_handle(), .events = POLLRDHUP, .revents = 0};
  return poll(&look, 1, 0) > 0;
}

template <class Stream>
void HttpConnection<Stream>::Expire() {
  if (state_ == State::kAwaitingBody && !PeerHasGone()) return ArmIn(kLookForPeer);
  Disarm();
  const bool reading = state_ == State::kHeader || state_ == State::kBody;
  if (!reading || expired_) return Close();
  // The read that is under way ends with an error, and its handler tells the peer.
  expired_ = true;
  ArmIn(reception_.limits().linger);
  error_code ignored;
  socket().cancel(ignored);
}

template <class Stream>
void HttpConnection<Stream>::Drain() {
  if (state_ == State::kIdle || state_ == State::kHandshake) Close();
}

template <class Stream>
void HttpConnection<Stream>::Close() noexcept {
  if (state_ == State::kClosed) return;
  const bool answering = state_ == State::kWriting || state_ == State::kAwaitingBody;
  state_ = State::kClosed;
  Disarm();
  error_code ignored;
  if (writer_.streams()) {
    // Nobody may take what he has got of an unfinished body for all there is.
    socket().set_option(asio::socket_base::linger(true, 0), ignored);
    writer_.BreakOff();
  }
  socket().close(ignored);
  charge_.Release();
  reader_.EndCharge();
  try {
    if (answering) NoteAccess();
  } catch (...) {  // a line less in the log
  }
  reception_.Remove(*this);
}

template class HttpConnection<Socket>;
template class HttpConnection<TlsSocket>;

}  // namespace surva::wire
