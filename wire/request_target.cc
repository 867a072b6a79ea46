#include "wire/request_target.h"

#include <algorithm>
#include <boost/asio/ip/address_v6.hpp>
#include <charconv>

#include "frame/values/text.h"

namespace surva::wire {

namespace {

constexpr std::size_t kLongestHost = 255;

bool IsControl(unsigned char byte) {
  return byte < 0x20 || byte == 0x7f;
}
bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}
bool IsLetterOrDigit(char c) {
  return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// The decoded path, or nothing.
std::optional<std::string> DecodePath(std::string_view raw) {
  std::string decoded;
  decoded.reserve(raw.size());
  for (std::size_t i = 0; i < raw.size(); ++i) {
    unsigned char byte = static_cast<unsigned char>(raw[i]);
    if (byte == '%') {
      if (i + 2 >= raw.size()) return std::nullopt;
      const char* digits = raw.data() + i + 1;
      const auto [end, error] = std::from_chars(digits, digits + 2, byte, 16);
      if (error != std::errc() || end != digits + 2) return std::nullopt;
      i += 2;
    }
    if (IsControl(byte)) return std::nullopt;
    decoded.push_back(static_cast<char>(byte));
  }
  return decoded;
}

// Resolves dot segments and empty segments in a path that begins with "/"; false if it climbs above its root.
bool ResolveSegments(std::string& path) {
  if (path.find("/.") == std::string::npos && path.find("//") == std::string::npos) return true;
  std::string resolved;
  std::size_t at = 1;
  while (true) {
    const std::size_t end = std::min(path.find('/', at), path.size());
    const std::string_view segment = std::string_view(path).substr(at, end - at);
    const bool last = end == path.size();
    if (segment == "..") {
      if (resolved.empty()) return false;
      resolved.resize(resolved.rfind('/'));
      if (last) resolved.push_back('/');
    } else if (segment == "." || segment.empty()) {
      if (last) resolved.push_back('/');
    } else {
      resolved.append("/").append(segment);
    }
    if (last) break;
    at = end + 1;
  }
  path = std::move(resolved);
  return true;
}

}  // namespace

std::optional<RequestTarget> ReadTarget(std::string_view target) {
  RequestTarget result;
  if (std::any_of(target.begin(), target.end(), [](char c) { return IsControl(static_cast<unsigned char>(c)); })) {
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
  if (!ResolveSegments(*path)) return std::nullopt;
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
