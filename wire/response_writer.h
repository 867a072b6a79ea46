// ResponseWriter: an answer as bytes, in the order in which they go out. It knows no socket: who has one writes what is
// due, tells how much has gone, and asks for the next piece of a body that streams.
#pragma once

#include <array>
#include <boost/asio/buffer.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "wire/body_stream.h"
#include "wire/http_message.h"
#include "wire/response_head.h"

namespace surva::wire {

class ResponseWriter {
 public:
  using Buffers = std::array<boost::asio::const_buffer, 3>;

  // What comes behind what has gone.
  enum class Next : std::uint8_t {
    kMore,       // is due
    kNothing,    // that was all
    kNotYet,     // is to come; `wake` is called when it has
    kBrokenOff,  // nothing, though it was not all
  };

  // A body of at most `joined` bytes stands in one buffer with the head; none is sent if there is to be none.
  void Begin(HttpResponse response, const Envelope& envelope, bool with_body, std::size_t joined);
  const Buffers& due() const { return due_; }
  void Take(std::size_t bytes);
  bool IsDue() const { return boost::asio::buffer_size(due_) > 0; }
  Next Go(std::function<void()> wake);

  bool streams() const { return response_.stream != nullptr; }
  void BreakOff() { response_.stream.reset(); }
  unsigned status() const { return response_.status; }
  // Of the body, sent or about to be.
  std::size_t body_bytes() const { return body_bytes_; }
  // Gives back what memory can be spared between two answers.
  void Rest();

 private:
  HttpResponse response_;
  bool chunked_ = false;
  std::string head_;
  std::string piece_;  // of a streamed body
  std::size_t body_bytes_ = 0;
  Buffers due_;
};

}  // namespace surva::wire
