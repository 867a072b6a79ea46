#include "wire/request_reader.h"

#include <algorithm>
#include <boost/beast/http/error.hpp>
#include <cstring>
#include <utility>

#include "frame/values/ascii.h"
#include "wire/proxy.h"

namespace surva::wire {

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;

constexpr std::string_view kHeaderEnd = "\r\n\r\n";
constexpr std::string_view kLineEnd = "\r\n";
// A chunked body may bring this many bytes of framing for each byte that it is allowed.
constexpr std::size_t kMostFraming = 8;

bool HasBareLineFeed(std::string_view text, std::size_t from) {
  for (std::size_t at = text.find('\n', from); at != std::string_view::npos; at = text.find('\n', at + 1)) {
    if (at == 0 || text[at - 1] != '\r') return true;
  }
  return false;
}

// A folded line is read as one field by some and as two by others (RFC 9112, section 5.2).
bool HasFoldedLine(std::string_view text) {
  return text.find("\n ") != std::string_view::npos || text.find("\n\t") != std::string_view::npos;
}

// Whether the line of a chunk's size ends inside a quoted text: the parser would wait for the quote's end for ever.
bool IsCutOffInQuotes(std::string_view text) {
  if (text.starts_with(kLineEnd)) text.remove_prefix(kLineEnd.size());  // behind the chunk before
  const std::size_t end = text.find(kLineEnd);
  bool quoted = false;
  for (std::size_t i = 0; end != std::string_view::npos && i < end; ++i) {
    if (text[i] == '"') quoted = !quoted;
    if (text[i] == '\\' && quoted) ++i;
  }
  return quoted;
}

unsigned RefusalOf(error_code error) {
  if (error == http::error::header_limit) return 431;
  if (error == http::error::body_limit) return 413;
  return 400;
}

}  // namespace

std::size_t RequestReader::capacity() const {
  return large_buffer_ ? reception_.limits().header_bytes + kSmallBuffer : kSmallBuffer;
}

// Makes the buffer take at least one more byte; the parser never leaves more than a header's length untaken.
bool RequestReader::MakeRoom() {
  if (begin_ == end_) begin_ = end_ = 0;
  if (end_ < capacity()) return true;
  const std::size_t left = end_ - begin_;
  if (begin_ > 0) {
    std::memmove(buffer(), buffer() + begin_, left);
  } else if (!large_buffer_) {
    const std::size_t size = reception_.limits().header_bytes + kSmallBuffer;
    buffer_charge_ = reception_.OpenCharge(peer_.trusted || IsLoopback(peer_.address) ? "" : peer_.network);
    if (!buffer_charge_.GrowTo(size)) return false;
    std::unique_ptr<char[]> large(new char[size]);
    std::memcpy(large.get(), small_buffer_.data(), left);
    large_buffer_ = std::move(large);
  }
  begin_ = 0;
  end_ = left;
  return true;
}

asio::mutable_buffer RequestReader::Room() {
  if (!MakeRoom()) return {};
  return {buffer() + end_, capacity() - end_};
}

void RequestReader::Take(std::size_t bytes) {
  end_ += bytes;
  body_came_ += bytes;
}

void RequestReader::Rest() {
  begin_ = end_ = 0;
  large_buffer_.reset();
  buffer_charge_.Release();
}

bool RequestReader::Begins() {
  // Some old clients send a line break behind a body (RFC 9112, section 2.2).
  while (begin_ < end_ && (buffer()[begin_] == '\r' || buffer()[begin_] == '\n')) ++begin_;
  searched_ = 0;
  return begin_ < end_;
}

RequestReader::Found RequestReader::Broken(unsigned status) {
  refusal_ = status;
  return Found::kBroken;
}

// A header is parsed once it is there, so that one that never ends costs no more than its bytes.
RequestReader::Found RequestReader::ReadHeader() {
  const std::size_t most = reception_.limits().header_bytes;
  std::string_view text = unread();
  const std::size_t end = text.find(kHeaderEnd, searched_);
  const bool whole = end != std::string_view::npos;
  if (whole) text = text.substr(0, end + kHeaderEnd.size());
  if (text.size() > most) return Broken(431);
  if (!IsLetterOrDigit(text.front()) || HasBareLineFeed(text, searched_)) return Broken(400);
  if (!whole) {
    searched_ = text.size() - std::min(text.size(), kHeaderEnd.size() - 1);
    return Found::kTooLittle;
  }
  parser_.emplace();
  parser_->header_limit(static_cast<std::uint32_t>(most));
  parser_->body_limit(reception_.limits().body_bytes);
  if (HasFoldedLine(text)) return Broken(400);
  error_code error;
  header_bytes_ = text.size();
  begin_ += parser_->put(asio::const_buffer(text.data(), text.size()), error);
  return error ? Broken(RefusalOf(error)) : Found::kAll;
}

void RequestReader::BeginBody() {
  parser_->eager(true);
  body_came_ = end_ - begin_;
}

RequestReader::Found RequestReader::ReadBody(ByteCharge& charge, std::size_t besides) {
  error_code error;
  while (!parser_->is_done()) {
    begin_ += parser_->put(asio::const_buffer(buffer() + begin_, end_ - begin_), error);
    if (error && error != http::error::need_more) return Broken(RefusalOf(error));
    if (!charge.GrowTo(besides + parser_->get().body().capacity())) return Found::kTooCostly;
    if (parser_->is_done()) break;
    if (begin_ == end_ || error == http::error::need_more) {
      // What is left is framing. A chunk's head or trailer that fills the buffer is none, nor is one that cannot end
      // any more, and framing must not be what is mostly sent.
      const std::string_view left = unread();
      if (left.size() > reception_.limits().header_bytes || HasBareLineFeed(left, 0) || IsCutOffInQuotes(left)) {
        return Broken(400);
      }
      return body_came_ > reception_.limits().body_bytes * kMostFraming ? Broken(413) : Found::kTooLittle;
    }
  }
  return Found::kAll;
}

std::string RequestReader::TakeBody() {
  std::string body = std::move(parser_->get().body());
  parser_.reset();
  return body;
}

}  // namespace surva::wire
