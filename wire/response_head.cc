#include "wire/response_head.h"

#include <algorithm>
#include <array>
#include <boost/beast/http/status.hpp>
#include <charconv>
#include <cstdio>
#include <iterator>
#include <ostream>
#include <string>
#include <utility>

#include "frame/values/ascii.h"
#include "frame/values/text.h"

namespace surva::wire {

namespace {

namespace http = boost::beast::http;

constexpr std::string_view kProtection =
    "X-Content-Type-Options: nosniff\r\nX-Frame-Options: SAMEORIGIN\r\nReferrer-Policy: same-origin\r\n"
    "Cross-Origin-Opener-Policy: same-origin\r\nCross-Origin-Resource-Policy: same-origin\r\n";
constexpr std::string_view kOnlyHttps = "Strict-Transport-Security: max-age=31536000\r\n";
// For help, greetings, errors and whatever else knows no better of itself.
constexpr std::string_view kStrictPolicy =
    "Content-Security-Policy: default-src 'none'; style-src 'self' 'unsafe-inline'; img-src 'self'; font-src 'self'; "
    "form-action 'none'; base-uri 'none'; frame-ancestors 'self'\r\n";

bool HasPolicy(const HttpResponse& response) {
  return std::any_of(response.headers.begin(), response.headers.end(),
                     [](const auto& field) { return EqualNames(field.first, "Content-Security-Policy"); });
}

void AppendValue(std::string& head, std::string_view value) {
  if (std::none_of(value.begin(), value.end(), IsControl)) {
    head.append(value);
    return;
  }
  std::copy_if(value.begin(), value.end(), std::back_inserter(head), [](char c) { return !IsControl(c); });
}

bool IsToken(std::string_view name) {
  static constexpr std::string_view kMarks = "!#$%&'*+-.^_`|~";
  return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
    return IsLetterOrDigit(c) || kMarks.find(c) != std::string_view::npos;
  });
}

void AppendNumber(std::string& head, std::size_t number, int base = 10) {
  std::array<char, 24> digits;
  const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), number, base);
  head.append(digits.data(), end);
}

}  // namespace

void AppendHead(std::string& head, const HttpResponse& response, const Envelope& envelope) {
  head.append("HTTP/1.1 ");
  AppendNumber(head, response.status);
  const auto reason = http::obsolete_reason(http::int_to_status(response.status));
  head.append(" ").append(reason.data(), reason.size());
  head.append("\r\nServer: surva\r\nDate: ").append(envelope.date);
  if (!IsBodiless(response.status)) {
    head.append("\r\nContent-Type: ");
    AppendValue(head, response.content_type);
    if (envelope.framing == Framing::kLength) {
      head.append("\r\nContent-Length: ");
      AppendNumber(head, BodyOf(response).size());
    } else if (envelope.framing == Framing::kChunked) {
      head.append("\r\nTransfer-Encoding: chunked");
    }
  }
  head.append("\r\n").append(kProtection);
  if (envelope.https) head.append(kOnlyHttps);
  if (!HasPolicy(response)) head.append(kStrictPolicy);
  for (const auto& [name, value] : response.headers) {
    if (!IsToken(name)) continue;
    head.append(name).append(": ");
    AppendValue(head, value);
    head.append("\r\n");
  }
  head.append("X-Request-ID: ").append(envelope.request_id).append("\r\n");
  if (envelope.persistence == Persistence::kClose) head.append("Connection: close\r\n");
  if (envelope.persistence == Persistence::kKeepAlive) head.append("Connection: keep-alive\r\n");
  head.append("\r\n");
}

void AppendChunkHead(std::string& text, std::size_t size) {
  AppendNumber(text, size, 16);
  text.append("\r\n");
}

std::string HttpDate(std::time_t time) {
  // Many answers tell the same second.
  thread_local std::pair<std::time_t, std::string> last;
  if (last.first == time && !last.second.empty()) return last.second;
  constexpr std::array kDays{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  constexpr std::array kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::tm utc{};
  gmtime_r(&time, &utc);
  std::array<char, 64> text;
  const int length = std::snprintf(text.data(), text.size(), "%s, %02d %s %d %02d:%02d:%02d GMT",
                                   kDays[static_cast<std::size_t>(utc.tm_wday)], utc.tm_mday,
                                   kMonths[static_cast<std::size_t>(utc.tm_mon)], utc.tm_year + 1900, utc.tm_hour,
                                   utc.tm_min, utc.tm_sec);
  last = {time, std::string(text.data(), static_cast<std::size_t>(length))};
  return last.second;
}

}  // namespace surva::wire
