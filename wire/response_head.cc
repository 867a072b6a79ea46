#include "wire/response_head.h"

#include <algorithm>
#include <array>
#include <boost/beast/http/status.hpp>
#include <charconv>
#include <cstdio>
#include <iterator>
#include <ostream>

#include "frame/values/ascii.h"

namespace surva::wire {

namespace {

namespace http = boost::beast::http;

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

void AppendHead(std::string& head, const HttpResponse& response, std::string_view date, Framing framing,
                Persistence persistence) {
  head.append("HTTP/1.1 ");
  AppendNumber(head, response.status);
  const auto reason = http::obsolete_reason(http::int_to_status(response.status));
  head.append(" ").append(reason.data(), reason.size());
  head.append("\r\nServer: surva\r\nDate: ").append(date);
  if (!IsBodiless(response.status)) {
    head.append("\r\nContent-Type: ");
    AppendValue(head, response.content_type);
    if (framing == Framing::kLength) {
      head.append("\r\nContent-Length: ");
      AppendNumber(head, BodyOf(response).size());
    } else if (framing == Framing::kChunked) {
      head.append("\r\nTransfer-Encoding: chunked");
    }
  }
  head.append("\r\nX-Content-Type-Options: nosniff\r\nX-Frame-Options: SAMEORIGIN\r\nReferrer-Policy: same-origin\r\n");
  for (const auto& [name, value] : response.headers) {
    if (!IsToken(name)) continue;
    head.append(name).append(": ");
    AppendValue(head, value);
    head.append("\r\n");
  }
  if (persistence == Persistence::kClose) head.append("Connection: close\r\n");
  if (persistence == Persistence::kKeepAlive) head.append("Connection: keep-alive\r\n");
  head.append("\r\n");
}

void AppendChunkHead(std::string& text, std::size_t size) {
  AppendNumber(text, size, 16);
  text.append("\r\n");
}

std::string HttpDate(std::time_t time) {
  constexpr std::array kDays{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  constexpr std::array kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::tm utc{};
  gmtime_r(&time, &utc);
  std::array<char, 64> text;
  const int length = std::snprintf(text.data(), text.size(), "%s, %02d %s %d %02d:%02d:%02d GMT",
                                   kDays[static_cast<std::size_t>(utc.tm_wday)], utc.tm_mday,
                                   kMonths[static_cast<std::size_t>(utc.tm_mon)], utc.tm_year + 1900, utc.tm_hour,
                                   utc.tm_min, utc.tm_sec);
  return {text.data(), static_cast<std::size_t>(length)};
}

}  // namespace surva::wire
