#include "guard/origin.h"

#include "frame/values/text.h"

namespace surva::guard {
namespace {

struct Address {
  std::string_view host;  // with its port
  std::string_view path;
};

// Of an Origin or a Referer; empty where there is none, or an opaque one.
Address ReadAddress(std::string_view text) {
  const std::size_t scheme = text.find("://");
  if (scheme == std::string_view::npos) return {};
  text.remove_prefix(scheme + 3);
  const std::size_t slash = std::min(text.find('/'), text.size());
  std::string_view path = text.substr(slash);
  path = path.substr(0, path.find_first_of("?#"));
  return {text.substr(0, slash), path};
}

bool IsOwnHost(const wire::HttpRequest& request, std::string_view address) {
  return !request.host.empty() && EqualNames(ReadAddress(address).host, request.host);
}

bool SaysNothing(const wire::HttpRequest& request) {
  return request.Header("Sec-Fetch-Site").empty() && request.Header("Origin").empty() &&
         request.Header("Referer").empty();
}

bool IsSameOrigin(const wire::HttpRequest& request) {
  const std::string_view site = request.Header("Sec-Fetch-Site");
  if (!site.empty()) return site == "same-origin";
  const std::string_view origin = request.Header("Origin");
  return IsOwnHost(request, origin.empty() ? request.Header("Referer") : origin);
}

// Whether the browser would show the answer as a page: not a picture, a style sheet, a prefetch.
bool IsNavigation(const wire::HttpRequest& request) {
  if (request.Header("Sec-Fetch-Site").empty()) return true;
  if (!request.Header("Sec-Purpose").empty()) return false;
  const std::string_view target = request.Header("Sec-Fetch-Dest");
  return request.Header("Sec-Fetch-Mode") == "navigate" &&
         (target == "document" || target == "frame" || target == "iframe");
}

bool IsByPerson(const wire::HttpRequest& request) {
  return request.Header("Sec-Fetch-Site").empty() || request.Header("Sec-Fetch-User") == "?1";
}

// No markup makes such a request, only a script can: and the site's own scripts alone run.
bool IsByScript(const wire::HttpRequest& request) {
  return request.method == wire::HttpRequest::Method::kPost && request.Header("Sec-Fetch-Dest") == "empty" &&
         request.Header("Sec-Fetch-Mode") != "no-cors";
}

bool Belongs(const wire::HttpRequest& request, std::string_view path, Source source) {
  const std::string from = LowerName(ReadAddress(request.Header("Referer")).path);
  switch (source) {
    case Source::kItself:
      // The month of the statistics is chosen on the list of filled forms as well.
      return from == path || (path == "/admin/stat.asp" && from == "/admin/browse.asp");
    case Source::kOurPages:
      return from.starts_with("/admin/") && !from.ends_with(".asp");
    case Source::kStaffPages:
      break;
  }
  return from.starts_with("/admin/");
}

}  // namespace

bool IsFromOwnPage(const wire::HttpRequest& request) {
  return SaysNothing(request) || IsSameOrigin(request);
}

Verdict Judge(const wire::HttpRequest& request, std::string_view path, bool acts, Source source) {
  if (!acts || SaysNothing(request)) return Verdict::kPass;
  const bool navigation = IsNavigation(request);
  if (IsSameOrigin(request) && Belongs(request, path, source)) {
    if (navigation && IsByPerson(request)) return Verdict::kPass;
    if (source != Source::kItself && IsByScript(request)) return Verdict::kPass;
  }
  return navigation && request.method == wire::HttpRequest::Method::kGet ? Verdict::kAskAgain : Verdict::kRefuse;
}

}  // namespace surva::guard
