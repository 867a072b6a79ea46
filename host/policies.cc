#include "host/policies.h"

#include <sodium.h>

#include <algorithm>
#include <array>

namespace surva::host {
namespace {

// The site itself as policies name it, so that paths can follow; without a Host nothing but all of it can be named.
std::string OriginOf(const wire::HttpRequest& http) {
  return http.host.empty() ? std::string() : (http.https ? "https://" : "http://") + http.host;
}

// Where the page stands, as it was asked for: its own addresses are relative, and policies know letter case.
std::string FolderOf(const wire::HttpRequest& http) {
  return http.path.substr(0, http.path.rfind('/') + 1);
}

// Folders or addresses of the site alone: every other address of it is a page, and might act.
std::string Places(const std::string& origin, std::initializer_list<std::string> paths) {
  if (origin.empty()) return " 'self'";
  std::string places;
  for (const std::string& path : paths) places.append(" ").append(origin).append(path);
  return places;
}

std::string DigestOf(std::string script) {
  // Browsers read a carriage return as a line feed.
  std::replace(script.begin(), script.end(), '\r', '\n');
  std::array<unsigned char, crypto_hash_sha256_BYTES> digest{};
  crypto_hash_sha256(digest.data(), reinterpret_cast<const unsigned char*>(script.data()), script.size());
  std::array<char, sodium_base64_ENCODED_LEN(crypto_hash_sha256_BYTES, sodium_base64_VARIANT_ORIGINAL)> text{};
  sodium_bin2base64(text.data(), text.size(), digest.data(), digest.size(), sodium_base64_VARIANT_ORIGINAL);
  return text.data();
}

// The origin of an address of another site, if it is one that a policy can name.
std::string ForeignOrigin(std::string_view address) {
  const std::size_t scheme = address.find("://");
  if (scheme == std::string_view::npos) return {};
  const std::string_view name = address.substr(0, scheme);
  if (name != "http" && name != "https") return {};
  const std::size_t end = std::min(address.find_first_of("/?#", scheme + 3), address.size());
  const std::string_view origin = address.substr(0, end);
  const bool well_formed = std::ranges::all_of(origin.substr(scheme + 3), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '-' ||
           c == ':';
  });
  return well_formed ? std::string(origin) : std::string();
}

bool IsPreview(std::string_view path, const Request& request) {
  return (path == "/admin/createform.asp" && request.Filled("Preview")) ||
         (path == "/admin/browse.asp" && (request.Filled("PreviewForm") || request.Filled("PreviewFormA")));
}

}  // namespace

std::string PagePolicy(const wire::HttpRequest& http, std::string_view path, const Request& request,
                       const Response& response) {
  const std::string origin = OriginOf(http);
  const std::string folder = FolderOf(http);
  const bool staff = path.starts_with("/admin/");
  std::string policy = "default-src 'none'; base-uri 'none'; frame-ancestors 'self'; img-src data:";
  // Firefox asks for the site's picture under the page's policy.
  policy += Places(origin, {"/images/", folder + "images/", "/favicon.ico"}) + "; style-src 'unsafe-inline'" +
            Places(origin, {"/css/", folder + "css/"}) + "; script-src" + Places(origin, {"/Java/", folder + "Java/"});
  // The digests hold for the handlers of elements too.
  if (!response.scripts().empty()) policy += " 'unsafe-hashes'";
  for (const std::string& script : response.scripts()) policy += " 'sha256-" + DigestOf(script) + "'";
  policy += "; form-action 'self'";
  if (const std::string thanks = ForeignOrigin(response.form_leads_to()); !thanks.empty()) policy += " " + thanks;
  if (staff) policy += "; connect-src" + Places(origin, {folder + "pages.json", folder + "answered.json"});
  // An event's page and its participants stand in two frames, also when it has just been saved.
  const bool of_event = request.Filled("ModSch0") || request.Filled("Save") || request.Filled("Update");
  if (path == "/admin/schedule.asp" && of_event) policy += "; frame-src" + Places(origin, {folder + "schedule.asp"});
  // Nothing is sent from a preview; its scripts are the menu's and the alert.
  if (staff && IsPreview(path, request)) {
    policy += "; sandbox allow-same-origin allow-scripts allow-modals allow-popups allow-popups-to-escape-sandbox";
  }
  return policy;
}

}  // namespace surva::host
