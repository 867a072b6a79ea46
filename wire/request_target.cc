#include "wire/request_target.h"

#include <algorithm>
#include <boost/asio/ip/address_v6.hpp>

#include "frame/values/ascii.h"
#include "frame/values/text.h"

namespace surva::wire {

namespace {

constexpr std::size_t kLongestHost = 255;
// Bytes that mean the same with and without an escape, or another thing to every program.
constexpr std::string_view kNeverEscaped = "-._~/\\";

// The path with its escapes undone. Nothing if there is another way to write the same path: whoever guards addresses in
// front of this server may read that one, and let pass what he means to stop.
std::optional<std::string> DecodePath(std::string_view raw) {
  if (raw.find("//") != std::string_view::npos || raw.find("/.") != std::string_view::npos) return std::nullopt;
  std::string decoded;
  decoded.reserve(raw.size());
  for (std::size_t i = 0; i < raw.size(); ++i) {
    char c = raw[i];
    if (c == '\\') return std::nullopt;
    if (c == '%') {
      const int byte = HexByte(raw.substr(i + 1));
      c = static_cast<char>(byte);
      if (byte < 0 || IsLetterOrDigit(c) || kNeverEscaped.find(c) != std::string_view::npos) return std::nullopt;
      i += 2;
    }
    if (IsControl(c)) return std::nullopt;
    decoded.push_back(c);
  }
  return decoded;
}

}  // namespace

std::optional<RequestTarget> ReadTarget(std::string_view target) {
  RequestTarget result;
  if (std::any_of(target.begin(), target.end(), [](char c) { return IsControl(c) || c == '#'; })) {
    return std::nullopt;
  }
  if (!target.starts_with('/')) {
    const std::size_t scheme = target.find("://");
    if (scheme == std::string_view::npos) return std::nullopt;
    if (!EqualNames(target.substr(0, scheme), "http") && !EqualNames(target.substr(0, scheme), "https")) {
      return std::nullopt;
    }
    target.remove_prefix(scheme + 3);
    result.authority = target.substr(0, target.find_first_of("/?"));
    if (result.authority.empty()) return std::nullopt;
    target.remove_prefix(result.authority.size());
  }
  const std::size_t question = target.find('?');
  if (question != std::string_view::npos) result.query = target.substr(question + 1);
  std::optional<std::string> path = DecodePath(target.substr(0, question));
  if (!path) return std::nullopt;
  if (path->empty()) path->push_back('/');
  result.path = std::move(*path);
  return result;
}

std::optional<std::string> ReadHost(std::string_view host) {
  if (host.empty() || host.size() > kLongestHost) return std::nullopt;
  std::size_t end = 0;
  if (host.front() == '[') {
    end = host.find(']');
    if (end == std::string_view::npos) return std::nullopt;
    boost::system::error_code error;
    boost::asio::ip::make_address_v6(std::string(host.substr(1, end - 1)), error);
    if (error || host.substr(0, end).find('%') != std::string_view::npos) return std::nullopt;
    ++end;
  } else {
    end = std::min(host.find(':'), host.size());
    const std::string_view name = host.substr(0, end);
    const bool well_formed = std::all_of(name.begin(), name.end(),
                                         [](char c) { return IsLetterOrDigit(c) || c == '-' || c == '.' || c == '_'; });
    if (name.empty() || name.front() == '.' || !well_formed) return std::nullopt;
  }
  std::string_view port = host.substr(end);
  if (!port.empty()) {
    port.remove_prefix(1);
    if (host[end] != ':' || port.size() > 5 || !std::all_of(port.begin(), port.end(), IsDigit)) return std::nullopt;
  }
  return LowerName(host.substr(0, end));
}

}  // namespace surva::wire
