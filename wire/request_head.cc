#include "wire/request_head.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "frame/values/ascii.h"
#include "frame/values/text.h"
#include "wire/request_target.h"

namespace surva::wire {

namespace {

namespace http = boost::beast::http;

// More header fields than any browser and its proxies send.
constexpr std::size_t kMostFields = 200;

// The header fields that matter here; views into the parser's.
struct Fields {
  unsigned hosts = 0;
  unsigned lengths = 0;
  unsigned codings = 0;
  std::string_view host;
  std::string_view length;
  std::string_view coding;
};

std::string_view View(boost::beast::string_view text) {
  return {text.data(), text.size()};
}

Fields Gather(const http::request_header<>& header) {
  Fields fields;
  for (const auto& field : header) {
    const std::string_view value = View(field.value());
    switch (field.name()) {
      case http::field::host:
        ++fields.hosts, fields.host = value;
        break;
      case http::field::content_length:
        ++fields.lengths, fields.length = value;
        break;
      case http::field::transfer_encoding:
        ++fields.codings, fields.coding = value;
        break;
      default:
        break;
    }
  }
  return fields;
}

// All fields, each name once; false if there are too many of them.
bool TakeHeaders(const http::request_header<>& header, HeaderFields& headers) {
  std::size_t count = 0;
  for (const auto& field : header) {
    if (++count > kMostFields) return false;
    const std::string_view name = View(field.name_string());
    const auto known = std::find_if(headers.begin(), headers.end(),
                                    [name](const auto& earlier) { return EqualNames(earlier.first, name); });
    if (known == headers.end()) {
      headers.emplace_back(name, View(field.value()));
    } else {
      // HTTP/2 front ends may split the cookies into several fields, proxies add to a list by a line of their own.
      known->second.append(field.name() == http::field::cookie ? "; " : ", ").append(View(field.value()));
    }
  }
  return true;
}

// An id stands in the log and in the answer.
bool IsRequestId(std::string_view text) {
  constexpr std::size_t kLongest = 100;
  return !text.empty() && text.size() <= kLongest && std::all_of(text.begin(), text.end(), [](char c) {
    return IsLetterOrDigit(c) || c == '-' || c == '_' || c == '.';
  });
}

bool IsForwarded(const HeaderFields& headers) {
  static constexpr std::string_view kPrefix = "X-Forwarded-";
  return std::any_of(headers.begin(), headers.end(), [](const auto& field) {
    const std::string_view name = field.first;
    return EqualNames(name.substr(0, kPrefix.size()), kPrefix) || EqualNames(name, "Forwarded") ||
           EqualNames(name, "Via") || EqualNames(name, "X-Real-IP");
  });
}

// Whether peers and proxies could disagree about where the request ends (RFC 9112, section 6.3).
bool IsFramingBroken(const Fields& fields, bool http11) {
  if (fields.lengths > 1 || fields.codings > 1) return true;
  if (fields.codings > 0) return !http11 || fields.lengths > 0 || !EqualNames(fields.coding, "chunked");
  return !std::all_of(fields.length.begin(), fields.length.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::optional<HttpRequest::Method> MethodOf(http::verb verb) {
  switch (verb) {
    case http::verb::get:
      return HttpRequest::Method::kGet;
    case http::verb::head:
      return HttpRequest::Method::kHead;
    case http::verb::post:
      return HttpRequest::Method::kPost;
    default:
      return std::nullopt;
  }
}

}  // namespace

RequestHead ReadHead(const http::request_header<>& header, const Peer& peer, const TrustedProxies& proxies,
                     const HostNames& names) {
  RequestHead head;
  const bool http11 = header.version() >= 11;
  const Fields fields = Gather(header);
  HttpRequest& request = head.request;

  request.remote_addr = peer.address_text;
  if (IsFramingBroken(fields, http11)) {
    head.refusal = 400;
    head.broken_framing = true;
    return head;
  }
  if (!TakeHeaders(header, request.headers)) {
    head.refusal = 431;
    return head;
  }

  const std::optional<RequestTarget> target = ReadTarget(View(header.target()));
  std::string_view host = fields.host;
  const bool host_missing = fields.hosts == 0 && http11;
  const bool host_false = fields.hosts > 1 || (fields.hosts == 1 && !ReadHost(host));
  if (target && !target->authority.empty()) host = target->authority;
  const std::optional<std::string> server_name = ReadHost(host);

  Visitor visitor{peer.address, std::string(server_name ? host : ""), peer.tls};
  if (peer.trusted) {
    if (IsRequestId(request.Header("X-Request-ID"))) request.request_id = request.Header("X-Request-ID");
    proxies.Correct(visitor, request.Header("X-Forwarded-For"), request.Header("X-Forwarded-Proto"),
                    request.Header("X-Forwarded-Host"));
  }
  request.forwarded = IsForwarded(request.headers);
  request.from_this_machine = IsLoopback(peer.address) && !request.forwarded;
  request.remote_addr = AddressText(visitor.address);
  request.network = NetworkOf(visitor.address);
  request.server_name = ReadHost(visitor.host).value_or(names.first());
  request.host = std::move(visitor.host);
  request.https = visitor.https;

  const std::optional<HttpRequest::Method> method = MethodOf(header.method());
  if (!method) {
    head.refusal = header.method() == http::verb::unknown ? 501 : 405;
    return head;
  }
  request.method = *method;
  if (!target || host_missing || host_false || (fields.hosts + target->authority.size() > 0 && !server_name)) {
    head.refusal = 400;
    return head;
  }
  if (!names.Contain(request.server_name)) {
    head.refusal = 421;
    return head;
  }
  request.path = target->path;
  request.query = target->query;

  const std::string_view expect = request.Header("Expect");
  if (!expect.empty() && http11) {
    if (EqualNames(expect, "100-continue")) {
      head.expects_continue = true;
    } else {
      head.refusal = 417;
    }
  }
  return head;
}

}  // namespace surva::wire
