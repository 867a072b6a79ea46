// A request's target and its host, read and checked (RFC 9112, section 3.2; RFC 3986).
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace surva::wire {

struct RequestTarget {
  std::string path;            // percent-decoded; begins with "/"
  std::string_view query;      // as it was sent, without the "?"
  std::string_view authority;  // of an absolute address, else empty
};

// Reads "/path?query" or "http://host/path?query". Nothing if it is malformed, or if its path is not in the one form
// that names it: no "//", "/.", backslash, control character, "#", no escape that is none or that need not be one. The
// views point into `target`.
std::optional<RequestTarget> ReadTarget(std::string_view target);

// The server's name in "host", "host:port" or "[address]:port", in small letters and without the port. Nothing if it is
// no host by form.
std::optional<std::string> ReadHost(std::string_view host);

}  // namespace surva::wire
