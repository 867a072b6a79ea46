#include "wire/request_head.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "frame/values/text.h"
#include "wire/request_target.h"

namespace surva::wire {

namespace {

namespace http = boost::beast::http;

// The header fields that matter here; views into the parser's.
struct Fields {
  unsigned hosts = 0;
  unsigned lengths = 0;
  unsigned codings = 0;
  std::string_view host;
  std::string_view length;
  std::string_view coding;
  std::string_view expect;
  // Proxies may add to a list by a line of their own.
  std::string forwarded_for;
  std::string_view forwarded_proto;
  std::string_view forwarded_host;
};

std::string_view View(boost::beast::string_view text) {
  return {text.data(), text.size()};
}

Fields Gather(const http::request_header<>& header, const Peer& peer, HttpRequest& request) {
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
      case http::field::expect:
        fields.expect = value;
        break;
      case http::field::content_type:
        request.content_type = value;
        break;
      case http::field::cookie:
        // HTTP/2 front ends may split the cookies into several fields.
        if (!request.cookie.empty()) request.cookie.append("; ");
        request.cookie.append(value);
        break;
      case http::field::if_none_match:
        request.if_none_match = value;
        break;
      case http::field::unknown: {
        if (!peer.trusted) break;
        const std::string_view name = View(field.name_string());
        if (EqualNames(name, "X-Forwarded-For")) {
          if (!fields.forwarded_for.empty()) fields.forwarded_for.append(",");
          fields.forwarded_for.append(value);
        } else if (EqualNames(name, "X-Forwarded-Proto")) {
          fields.forwarded_proto = value;
        } else if (EqualNames(name, "X-Forwarded-Host")) {
          fields.forwarded_host = value;
        }
        break;
      }
      default:
        break;
    }
  }
  return fields;
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

RequestHead ReadHead(const http::request_header<>& header, const Peer& peer, const TrustedProxies& proxies) {
  RequestHead head;
  const bool http11 = header.version() >= 11;
  const Fields fields = Gather(header, peer, head.request);
  HttpRequest& request = head.request;

  request.remote_addr = peer.address_text;
  if (IsFramingBroken(fields, http11)) {
    head.refusal = 400;
    head.broken_framing = true;
    return head;
  }

  const std::optional<RequestTarget> target = ReadTarget(View(header.target()));
  std::optional<std::string> server_name;
  if (fields.hosts == 1) server_name = ReadHost(fields.host);
  const bool host_missing = fields.hosts == 0 && http11;
  const bool host_false = fields.hosts > 1 || (fields.hosts == 1 && !server_name);
  if (target && !target->authority.empty()) server_name = ReadHost(target->authority);

  Visitor visitor{peer.address_text, server_name.value_or("localhost"), peer.tls};
  if (peer.trusted) {
    proxies.Correct(visitor, fields.forwarded_for, fields.forwarded_proto, fields.forwarded_host);
  }
  request.remote_addr = std::move(visitor.remote_addr);
  request.server_name = std::move(visitor.server_name);
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
  request.path = target->path;
  request.query = target->query;

  if (!fields.expect.empty() && http11) {
    if (EqualNames(fields.expect, "100-continue")) {
      head.expects_continue = true;
    } else {
      head.refusal = 417;
    }
  }
  return head;
}

}  // namespace surva::wire
