// RequestReader: the bytes that have come over one connection, and the requests in them. It knows no socket: who has
// one reads into its room, and asks what there is.
#pragma once

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/beast/core/buffers_range.hpp>
#include <boost/beast/http/parser.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "wire/byte_budget.h"
#include "wire/connection.h"

namespace surva::wire {

// A body that grows as it comes, whatever length was told beforehand.
struct GrowingBody {
  using value_type = std::string;
  class reader {
   public:
    template <bool kRequest, class Fields>
    reader(boost::beast::http::header<kRequest, Fields>&, value_type& body) : body_(body) {}
    void init(const boost::optional<std::uint64_t>&, boost::system::error_code& error) { error = {}; }
    template <class Buffers>
    std::size_t put(const Buffers& buffers, boost::system::error_code& error) {
      error = {};
      for (const boost::asio::const_buffer buffer : boost::beast::buffers_range_ref(buffers)) {
        body_.append(static_cast<const char*>(buffer.data()), buffer.size());
      }
      return boost::asio::buffer_size(buffers);
    }
    void finish(boost::system::error_code& error) { error = {}; }

   private:
    value_type& body_;
  };
};

class RequestReader {
 public:
  using Header = boost::beast::http::request_header<>;

  // What the bytes that are there make up.
  enum class Found : std::uint8_t {
    kTooLittle,  // more must come
    kAll,        // what was looked for
    kBroken,     // what cannot be understood, or is too long: see refusal()
    kTooCostly,  // more than there is memory for
  };

  // Both outlive it.
  RequestReader(Reception& reception, const Peer& peer) : reception_(reception), peer_(peer) {}

  // Where the next bytes go, at least one; nowhere if the server has no memory left for them.
  boost::asio::mutable_buffer Room();
  // So many have come into it.
  void Take(std::size_t bytes);
  // Room for what nobody will look at.
  boost::asio::mutable_buffer Scratch() { return boost::asio::buffer(small_buffer_); }

  // The bytes that were read and not yet taken for a request.
  std::string_view unread() const { return {buffer() + begin_, end_ - begin_}; }

  // ---- a request, in this order

  // Gives back what memory can be spared between two requests.
  void Rest();
  // The connection is closed: nothing is charged any more. A read into the room may still be under way.
  void EndCharge() { buffer_charge_.Release(); }
  // Whether the next one's first byte is there.
  bool Begins();
  Found ReadHeader();
  // Of the request whose header is there, or of as much of it as could be read; null if there is none.
  const Header* header() const { return parser_ ? &parser_->get().base() : nullptr; }
  std::size_t header_bytes() const { return header_bytes_; }
  bool keep_alive() const { return parser_->keep_alive(); }
  // Whether a request's header is there, and its body is not, or not wholly.
  bool LacksBody() const { return parser_ && !parser_->is_done(); }
  void BeginBody();
  // All that is kept of the request is charged: so much besides the body.
  Found ReadBody(ByteCharge& charge, std::size_t besides);
  // Bytes of the body that have come, framing among them.
  std::size_t body_came() const { return body_came_; }
  std::string TakeBody();
  void Forget() { parser_.reset(); }

  // The status for what is broken.
  unsigned refusal() const { return refusal_; }

 private:
  static constexpr std::size_t kSmallBuffer = 4096;  // holds the header of all but rare requests

  char* buffer() { return large_buffer_ ? large_buffer_.get() : small_buffer_.data(); }
  const char* buffer() const { return large_buffer_ ? large_buffer_.get() : small_buffer_.data(); }
  std::size_t capacity() const;
  bool MakeRoom();
  Found Broken(unsigned status);

  Reception& reception_;
  const Peer& peer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::size_t searched_ = 0;  // of what is unread: holds no end of a header
  std::unique_ptr<char[]> large_buffer_;
  ByteCharge buffer_charge_;
  std::optional<boost::beast::http::request_parser<GrowingBody>> parser_;
  std::size_t header_bytes_ = 0;
  std::size_t body_came_ = 0;
  unsigned refusal_ = 400;
  std::array<char, kSmallBuffer> small_buffer_;
};

}  // namespace surva::wire
