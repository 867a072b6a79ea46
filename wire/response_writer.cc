#include "wire/response_writer.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace surva::wire {

namespace {

namespace asio = boost::asio;

constexpr std::string_view kChunkEnd = "\r\n";
constexpr std::string_view kLastChunk = "0\r\n\r\n";
constexpr std::string_view kChunkEndAndLast = "\r\n0\r\n\r\n";
constexpr std::size_t kMostKept = 1024;  // of a head, until the next answer

}  // namespace

void ResponseWriter::Begin(HttpResponse response, const Envelope& envelope, bool with_body, std::size_t joined) {
  response_ = std::move(response);
  chunked_ = envelope.framing == Framing::kChunked;
  head_.clear();
  AppendHead(head_, response_, envelope);
  std::string_view body = response_.stream ? std::string_view() : BodyOf(response_);
  if (!with_body || IsBodiless(response_.status)) {
    body = {};
    response_.stream.reset();
  }
  body_bytes_ = body.size();
  if (body.size() <= joined) {
    head_.append(body);
    body = {};
  }
  due_ = {asio::buffer(head_), asio::buffer(body)};
}

void ResponseWriter::Take(std::size_t bytes) {
  for (asio::const_buffer& part : due_) {
    const std::size_t taken = std::min(bytes, part.size());
    part += taken;
    bytes -= taken;
  }
}

ResponseWriter::Next ResponseWriter::Go(std::function<void()> wake) {
  using State = BodySource::State;
  if (!response_.stream) return Next::kNothing;
  const State state = response_.stream->Take(piece_, std::move(wake));
  if (piece_.empty() && state == State::kGoesOn) return Next::kNotYet;
  if (state == State::kBrokenOff) return Next::kBrokenOff;
  body_bytes_ += piece_.size();
  head_.clear();
  std::string_view end;
  if (chunked_) {
    if (!piece_.empty()) AppendChunkHead(head_, piece_.size());
    end = kChunkEnd;
    if (state == State::kFinished) end = piece_.empty() ? kLastChunk : kChunkEndAndLast;
  }
  if (state == State::kFinished) response_.stream.reset();
  due_ = {asio::buffer(head_), asio::buffer(piece_), asio::buffer(end)};
  return IsDue() ? Next::kMore : Next::kNothing;
}

void ResponseWriter::Rest() {
  if (head_.capacity() > kMostKept) std::string().swap(head_);
  std::string().swap(piece_);
  response_ = {};
}

}  // namespace surva::wire
