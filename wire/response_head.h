// The bytes before an answer's body: status line and header fields.
#pragma once

#include <cstddef>
#include <ctime>
#include <string>
#include <string_view>

#include "wire/http_message.h"

namespace surva::wire {

// How the peer finds the body's end (RFC 9112, section 6).
enum class Framing { kLength, kChunked, kUntilClosed };
enum class Persistence { kUnsaid, kClose, kKeepAlive };  // what the answer says of the connection

struct Envelope {
  std::string_view date;
  std::string_view request_id;
  Framing framing = Framing::kLength;
  Persistence persistence = Persistence::kUnsaid;
  bool https = false;
};

// Appends the head, with the fields that protect every answer whatever it is. Nothing in the response can end a line
// before its time: control characters are dropped from values, fields whose name is no token are left out.
void AppendHead(std::string& head, const HttpResponse& response, const Envelope& envelope);

void AppendChunkHead(std::string& text, std::size_t size);

// The bytes of the body that go with the head, also in answer to HEAD.
inline std::string_view BodyOf(const HttpResponse& response) {
  return response.static_body.empty() ? std::string_view(response.body) : response.static_body;
}
// Whether answers of this status have no body by their nature (RFC 9110, section 6.4.1).
inline bool IsBodiless(unsigned status) {
  return status == 204 || status == 304;
}

// An HTTP date (RFC 9110, section 5.6.7), such as "Sun, 06 Nov 1994 08:49:37 GMT".
std::string HttpDate(std::time_t time);

}  // namespace surva::wire
