#include "wire/http_connection.h"

#include <algorithm>
#include <boost/asio/error.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/error.hpp>
#include <cstring>
#include <type_traits>
#include <utility>

#include "wire/body_stream.h"
#include "wire/response_head.h"
#include "wire/server.h"
#include "wire/status_page.h"

namespace surva::wire {

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;

// Bodies up to this size go out in the same TLS record as the head.
constexpr std::size_t kSmallBody = 15 * 1024;
// A chunked body may bring this many bytes of framing for each byte that it is allowed.
constexpr std::size_t kMostFraming = 8;
constexpr std::size_t kMostLogged = 300;
constexpr std::string_view kChunkEnd = "\r\n";
constexpr std::string_view kLastChunk = "0\r\n\r\n";
constexpr std::string_view kChunkEndAndLast = "\r\n0\r\n\r\n";
constexpr std::size_t kMostDiscarded = 16 * 1024 * 1024;

}  // namespace

template <class Stream>
HttpConnection<Stream>::HttpConnection(Server& server, Stream stream, Peer peer)
    : Connection(std::move(peer)), server_(server), stream_(std::move(stream)) {}

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
  server_.Watch(deadline_);
}

template <class Stream>
void HttpConnection<Stream>::ArmTransfer(SteadyTime since, std::size_t bytes) {
  const Limits& limits = server_.limits();
  deadline_ =
      std::min<SteadyTime>(since + limits.transfer + std::chrono::milliseconds(bytes * 1000 / limits.bytes_per_second),
                           std::chrono::steady_clock::now() + limits.stall);
  server_.Watch(deadline_);
}

template <class Stream>
void HttpConnection<Stream>::Start() {
  if constexpr (kTls) {
    state_ = State::kHandshake;
    ArmIn(server_.limits().handshake);
    stream_.async_handshake(asio::ssl::stream_base::server, [self = self()](error_code error) {
      if (self->state_ == State::kClosed) return;
      if (error) return self->Close();
      self->BeginNext();
    });
  } else {
    BeginNext();
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
  if (server_.stopping() && unread() == 0) return Finish();
  // A first request has been on its way since the connection was accepted.
  ArmIn(first_ ? server_.limits().header : server_.limits().idle);
  if (unread() == 0) {
    begin_ = end_ = 0;
    large_buffer_.reset();
    return Read();
  }
  Parse();
}

template <class Stream>
std::size_t HttpConnection<Stream>::capacity() const {
  return large_buffer_ ? server_.limits().header_bytes + kSmallBuffer : kSmallBuffer;
}

// Makes the buffer take at least one more byte; the parser never leaves more than a header's length untaken.
template <class Stream>
void HttpConnection<Stream>::MakeRoom() {
  if (begin_ == end_) begin_ = end_ = 0;
  if (end_ < capacity()) return;
  const std::size_t left = unread();
  if (begin_ > 0) {
    std::memmove(buffer(), buffer() + begin_, left);
  } else if (!large_buffer_) {
    std::unique_ptr<char[]> large(new char[server_.limits().header_bytes + kSmallBuffer]);
    std::memcpy(large.get(), small_buffer_.data(), left);
    large_buffer_ = std::move(large);
  }
  begin_ = 0;
  end_ = left;
}

template <class Stream>
void HttpConnection<Stream>::Read() {
  MakeRoom();
  stream_.async_read_some(asio::buffer(buffer() + end_, capacity() - end_),
                          [self = self()](error_code error, std::size_t bytes) { self->OnRead(error, bytes); });
}

template <class Stream>
void HttpConnection<Stream>::OnRead(error_code error, std::size_t bytes) {
  if (state_ == State::kClosed) return;
  end_ += bytes;
  if (expired_) return RefuseRequest(StatusPage(408), true);
  if (error) return Finish();
  if (state_ == State::kBody) {
    transferred_ += bytes;
    ArmTransfer(transfer_started_, transferred_);
  }
  Parse();
}

template <class Stream>
void HttpConnection<Stream>::Parse() {
  if (state_ == State::kBody) {
    ParseBody();
  } else {
    ParseHeader();
  }
}

template <class Stream>
void HttpConnection<Stream>::ParseHeader() {
  if (state_ == State::kIdle) {
    // Some old clients send a line break behind a body (RFC 9112, section 2.2).
    while (unread() > 0 && (buffer()[begin_] == '\r' || buffer()[begin_] == '\n')) ++begin_;
    if (unread() == 0) return Read();
    state_ = State::kHeader;
    started_ = std::chrono::steady_clock::now();
    if (!first_) ArmIn(server_.limits().header);
    first_ = false;
    parser_.emplace();
    parser_->header_limit(static_cast<std::uint32_t>(server_.limits().header_bytes));
    parser_->body_limit(server_.limits().body_bytes);
  }
  error_code error;
  begin_ += parser_->put(asio::const_buffer(buffer() + begin_, unread()), error);
  if (error == http::error::need_more) return Read();
  if (error) return OnParseError(error);
  OnHeader();
}

template <class Stream>
void HttpConnection<Stream>::OnHeader() {
  const auto& header = parser_->get().base();
  RequestHead head = ReadHead(header, peer_, server_.trusted_proxies(), server_.host_names());
  method_ = header.method_string();
  target_ = header.target();
  remote_addr_ = head.request.remote_addr;
  request_ = std::move(head.request);
  http10_ = header.version() < 11;
  keep_alive_ = parser_->keep_alive();
  if (head.refusal != 0) {
    HttpResponse response = StatusPage(head.refusal);
    if (head.refusal == 405) response.headers.emplace_back("Allow", "GET, HEAD, POST");
    return RefuseRequest(std::move(response), head.broken_framing);
  }
  if (parser_->is_done()) return Dispatch();

  state_ = State::kBody;
  parser_->eager(true);
  transfer_started_ = std::chrono::steady_clock::now();
  transferred_ = unread();
  ArmTransfer(transfer_started_, transferred_);
  if (head.expects_continue && unread() == 0) return LetBodyCome();
  ParseBody();
}

template <class Stream>
void HttpConnection<Stream>::LetBodyCome() {
  static constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
  asio::async_write(stream_, asio::buffer(kContinue), [self = self()](error_code error, std::size_t) {
    if (self->state_ == State::kClosed) return;
    if (self->expired_ || error) return self->Close();
    self->Read();
  });
}

template <class Stream>
void HttpConnection<Stream>::ParseBody() {
  error_code error;
  while (!parser_->is_done()) {
    begin_ += parser_->put(asio::const_buffer(buffer() + begin_, unread()), error);
    if (error && error != http::error::need_more) return OnParseError(error);
    if (parser_->is_done()) break;
    if (unread() == 0 || error == http::error::need_more) {
      // A chunk's head or trailer that fills the buffer is none, and framing must not be what is mostly sent.
      if (unread() > server_.limits().header_bytes) return OnParseError(http::error::bad_chunk);
      if (transferred_ > server_.limits().body_bytes * kMostFraming) return OnParseError(http::error::body_limit);
      return Read();
    }
  }
  Dispatch();
}

template <class Stream>
void HttpConnection<Stream>::OnParseError(error_code error) {
  unsigned status = 400;
  if (error == http::error::header_limit) status = 431;
  if (error == http::error::body_limit) status = 413;
  RefuseRequest(StatusPage(status), true);
}

template <class Stream>
void HttpConnection<Stream>::RefuseRequest(HttpResponse response, bool last) {
  // A body that was not read would be taken for the next request.
  if (last || (parser_ && !parser_->is_done())) {
    keep_alive_ = false;
    lingers_ = true;
  }
  if (remote_addr_.empty()) remote_addr_ = peer_.address_text;
  if (parser_ && target_.empty()) {
    // The log tells as much of the request as could be read.
    method_ = parser_->get().method_string();
    target_ = parser_->get().target();
    const std::string_view rest(buffer() + begin_, unread());
    if (target_.empty()) target_ = rest.substr(0, std::min<std::size_t>(rest.find_first_of("\r\n"), kMostLogged));
  }
  parser_.reset();
  state_ = State::kWorking;
  Answer(std::move(response));
}

template <class Stream>
void HttpConnection<Stream>::Dispatch() {
  request_.body = std::move(parser_->get().body());
  parser_.reset();
  state_ = State::kWorking;
  Disarm();
  server_.Handle(std::move(request_), shared_from_this());
}

template <class Stream>
void HttpConnection<Stream>::Answer(HttpResponse response) {
  if (state_ != State::kWorking) return;
  state_ = State::kWriting;
  response_ = std::move(response);
  if (server_.stopping()) keep_alive_ = false;
  const bool bodiless = IsBodiless(response_.status) || method_ == "HEAD";
  Framing framing = Framing::kLength;
  if (response_.stream) {
    framing = http10_ ? Framing::kUntilClosed : Framing::kChunked;
    if (http10_) keep_alive_ = false;
  }
  Persistence persistence = Persistence::kUnsaid;
  if (!keep_alive_) persistence = Persistence::kClose;
  if (keep_alive_ && http10_) persistence = Persistence::kKeepAlive;
  head_.clear();
  AppendHead(head_, response_, server_.date(), framing, persistence);

  std::string_view body = response_.stream ? std::string_view() : BodyOf(response_);
  if (bodiless) {
    body = {};
    response_.stream.reset();
  }
  body_bytes_ = body.size();
  if constexpr (kTls) {
    if (body.size() <= kSmallBody) {
      head_.append(body);
      body = {};
    }
  }
  to_write_ = {asio::buffer(head_), asio::buffer(body)};
  transfer_started_ = std::chrono::steady_clock::now();
  transferred_ = 0;
  Write();
}

template <class Stream>
void HttpConnection<Stream>::Write() {
  ArmTransfer(transfer_started_, transferred_);
  stream_.async_write_some(to_write_, [self = self()](error_code error, std::size_t bytes) {
    if (self->state_ == State::kClosed) return;
    self->transferred_ += bytes;
    for (asio::const_buffer& part : self->to_write_) {
      const std::size_t taken = std::min(bytes, part.size());
      part += taken;
      bytes -= taken;
    }
    if (error) {
      self->NoteAccess();
      return self->Close();
    }
    if (asio::buffer_size(self->to_write_) > 0) return self->Write();
    if (self->response_.stream) return self->TakePiece();
    self->OnWritten();
  });
}

template <class Stream>
void HttpConnection<Stream>::TakePiece() {
  using BodyState = BodySource::State;
  const BodyState state = response_.stream->Take(piece_, server_.Resumption(shared_from_this()));
  if (piece_.empty() && state == BodyState::kGoesOn) {
    // The time that the maker takes is not the peer's.
    state_ = State::kAwaitingBody;
    waiting_since_ = std::chrono::steady_clock::now();
    return Disarm();
  }
  if (state == BodyState::kBrokenOff) {
    NoteAccess();
    return Abort();
  }
  body_bytes_ += piece_.size();
  head_.clear();
  std::string_view end;
  if (!http10_) {
    if (!piece_.empty()) AppendChunkHead(head_, piece_.size());
    end = kChunkEnd;
    if (state == BodyState::kFinished) end = piece_.empty() ? kLastChunk : kChunkEndAndLast;
  }
  if (state == BodyState::kFinished) response_.stream.reset();
  to_write_ = {asio::buffer(head_), asio::buffer(piece_), asio::buffer(end)};
  if (asio::buffer_size(to_write_) == 0) return OnWritten();
  Write();
}

template <class Stream>
void HttpConnection<Stream>::Resume() {
  if (state_ != State::kAwaitingBody) return;
  state_ = State::kWriting;
  transfer_started_ += std::chrono::steady_clock::now() - waiting_since_;
  TakePiece();
}

template <class Stream>
void HttpConnection<Stream>::OnWritten() {
  NoteAccess();
  const bool large = head_.capacity() > 1024;
  if (large) std::string().swap(head_);
  response_ = {};
  std::string().swap(piece_);
  method_.clear();
  target_.clear();
  remote_addr_.clear();
  if (!keep_alive_) return Finish();
  BeginNext();
}

template <class Stream>
void HttpConnection<Stream>::NoteAccess() {
  const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - started_;
  server_.log().Access({.remote_addr = remote_addr_,
                        .method = method_,
                        .target = target_,
                        .status = response_.status,
                        .bytes = body_bytes_,
                        .milliseconds = time.count()});
}

// The last answer is written, or the peer has closed: says goodbye.
template <class Stream>
void HttpConnection<Stream>::Finish() {
  state_ = State::kLingering;
  transferred_ = 0;
  if constexpr (kTls) {
    ArmIn(server_.limits().linger);
    stream_.async_shutdown([self = self()](error_code) {
      if (self->state_ == State::kClosed) return;
      self->Linger();
    });
  } else {
    Linger();
  }
}

// Closing a socket with unread bytes would reset the connection, and the peer might never see the answer.
template <class Stream>
void HttpConnection<Stream>::Linger() {
  if (!lingers_) return Close();
  ArmIn(server_.limits().linger);
  error_code ignored;
  socket().shutdown(Socket::shutdown_send, ignored);
  Discard();
}

template <class Stream>
void HttpConnection<Stream>::Discard() {
  socket().async_read_some(asio::buffer(small_buffer_), [self = self()](error_code error, std::size_t bytes) {
    if (self->state_ == State::kClosed) return;
    self->transferred_ += bytes;
    if (error || self->transferred_ > kMostDiscarded) return self->Close();
    self->Discard();
  });
}

template <class Stream>
void HttpConnection<Stream>::Abort() {
  error_code ignored;
  socket().set_option(asio::socket_base::linger(true, 0), ignored);
  Close();
}

template <class Stream>
void HttpConnection<Stream>::Expire() {
  Disarm();
  const bool reading = state_ == State::kHeader || state_ == State::kBody;
  if (!reading || expired_) return Close();
  // The read that is under way ends with an error, and its handler tells the peer.
  expired_ = true;
  ArmIn(server_.limits().linger);
  error_code ignored;
  socket().cancel(ignored);
}

template <class Stream>
void HttpConnection<Stream>::Drain() {
  if (state_ == State::kIdle || state_ == State::kHandshake) Close();
}

template <class Stream>
void HttpConnection<Stream>::Close() {
  if (state_ == State::kClosed) return;
  state_ = State::kClosed;
  response_.stream.reset();
  Disarm();
  error_code ignored;
  socket().close(ignored);
  server_.Remove(*this);
}

template class HttpConnection<Socket>;
template class HttpConnection<TlsSocket>;

}  // namespace surva::wire
