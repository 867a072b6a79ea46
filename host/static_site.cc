#include "host/static_site.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "frame/values/ascii.h"
#include "frame/values/text.h"
#include "host/form_decoder.h"
#include "host/site_files.h"
#include "wire/status_page.h"

namespace surva::host {

namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t kLargestSite = 64 * 1024 * 1024;

struct ContentType {
  std::string_view extension;
  std::string_view type;
};

constexpr std::array kContentTypes{
    ContentType{"asp", "text/html; charset=windows-1252"},
    ContentType{"html", "text/html; charset=windows-1252"},
    ContentType{"htm", "text/html; charset=windows-1252"},
    ContentType{"css", "text/css; charset=windows-1252"},
    ContentType{"js", "text/javascript; charset=windows-1252"},
    ContentType{"txt", "text/plain; charset=windows-1252"},
    ContentType{"gif", "image/gif"},
    ContentType{"png", "image/png"},
    ContentType{"jpg", "image/jpeg"},
    ContentType{"jpeg", "image/jpeg"},
    ContentType{"webp", "image/webp"},
    ContentType{"ico", "image/x-icon"},
    ContentType{"svg", "image/svg+xml"},
    ContentType{"pdf", "application/pdf"},
    ContentType{"woff", "font/woff"},
    ContentType{"woff2", "font/woff2"},
};

std::string_view ContentTypeOf(std::string_view name) {
  const std::size_t point = name.rfind('.');
  if (point != std::string_view::npos) {
    for (const ContentType& known : kContentTypes) {
      if (known.extension == name.substr(point + 1)) return known.type;
    }
  }
  return "application/octet-stream";
}

// A strong entity tag: the bytes' length and their FNV-1a hash.
std::string EntityTag(std::string_view bytes) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char c : bytes) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  std::string tag = "\"" + std::to_string(bytes.size()) + "-";
  for (int shift = 60; shift >= 0; shift -= 4) tag.push_back(kHexDigits[(hash >> shift) & 15]);
  return tag + "\"";
}

// If-None-Match compares weakly (RFC 9110, section 13.1.2).
bool NamesTag(std::string_view if_none_match, std::string_view etag) {
  if (if_none_match == "*") return true;
  for (std::size_t at = if_none_match.find(etag); at != std::string_view::npos; at = if_none_match.find(etag, at + 1)) {
    const std::size_t end = at + etag.size();
    const bool begins = at == 0 || if_none_match[at - 1] == ' ' || if_none_match[at - 1] == ',' ||
                        (at >= 2 && if_none_match.substr(at - 2, 2) == "W/");
    if (begins && (end == if_none_match.size() || if_none_match[end] == ',' || if_none_match[end] == ' ')) return true;
  }
  return false;
}

bool IsBelow(const fs::path& file, const fs::path& directory) {
  const auto [end, rest] = std::mismatch(directory.begin(), directory.end(), file.begin(), file.end());
  return end == directory.end();
}

}  // namespace

StaticSite::StaticSite() {
  for (const SiteFile& file : SiteFiles()) {
    Add(file.name, {file.begin, static_cast<std::size_t>(file.end - file.begin)});
  }
}

StaticSite::StaticSite(const fs::path& directory) {
  const fs::path root = fs::canonical(directory);
  std::uintmax_t size = 0;
  for (auto entry = fs::recursive_directory_iterator(root); entry != fs::recursive_directory_iterator(); ++entry) {
    const fs::path& path = entry->path();
    const bool hidden = path.filename().string().starts_with('.');
    const bool art = entry.depth() == 0 && path.filename() == "art";
    if (hidden || art) {
      if (entry->is_directory()) entry.disable_recursion_pending();
      continue;
    }
    std::error_code broken_link;
    if (!entry->is_regular_file(broken_link) || !IsBelow(fs::canonical(path), root)) continue;
    size += entry->file_size();
    if (size > kLargestSite) throw std::runtime_error(directory.string() + " holds more than 64 MiB");
    std::ifstream file(path, std::ios::binary);
    std::string& bytes = contents_.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    if (!file) throw std::runtime_error("cannot read " + path.string());
    Add(path.lexically_relative(root).generic_string(), bytes);
  }
}

void StaticSite::Add(std::string_view name, std::string_view bytes) {
  std::string lower = LowerName(name);
  const std::string_view type = ContentTypeOf(lower);
  // Texts that change with a release are asked for anew, so that nobody reads yesterday's help.
  const bool changing = lower.starts_with("help/") || lower.starts_with("greetings/");
  const std::string_view cache_control = changing ? "no-cache" : "public, max-age=3600";
  files_.insert_or_assign(std::move(lower), File{bytes, type, cache_control, EntityTag(bytes)});
}

std::string StaticSite::Lacks() const {
  std::string first;
  std::size_t missing = 0;
  for (const SiteFile& file : SiteFiles()) {
    const std::string name = LowerName(file.name);
    if ((name.ends_with(".css") || name.ends_with(".js")) && Find(name) == nullptr && missing++ == 0) first = file.name;
  }
  return missing < 2 ? first : first + " and " + std::to_string(missing - 1) + " more style sheets and scripts";
}

const StaticSite::File* StaticSite::Find(const std::string& lower_name) const {
  const auto found = files_.find(lower_name);
  return found == files_.end() ? nullptr : &found->second;
}

const StaticSite::File* StaticSite::FindHelp(std::string_view query) const {
  const DecodedForm form = DecodeUrlEncoded(query);
  for (const auto& [name, topic] : form.values) {
    if (!EqualNames(name, "topic")) continue;
    std::string page = LowerName(topic.substr(topic.find_last_of('/') + 1));
    page = page.substr(0, page.find_first_of(".?"));
    if (const File* file = Find("help/" + page + ".html")) return file;
    break;
  }
  return Find("help/index.html");
}

std::optional<wire::HttpResponse> StaticSite::Answer(const wire::HttpRequest& request) const {
  std::string name = LowerName(std::string_view(request.path).substr(1));
  constexpr std::string_view kAdmin = "admin/";
  if (name.starts_with(kAdmin)) name.erase(0, kAdmin.size());
  const File* file = name == "help.asp" ? FindHelp(request.query) : Find(name);
  if (file == nullptr) return std::nullopt;

  wire::HttpResponse response;
  if (request.method == wire::HttpRequest::Method::kPost) {
    response = wire::StatusPage(405);
    response.headers.emplace_back("Allow", "GET, HEAD");
    return response;
  }
  response.content_type = file->content_type;
  response.headers.emplace_back("ETag", file->etag);
  response.headers.emplace_back("Cache-Control", file->cache_control);
  if (NamesTag(request.Header("If-None-Match"), file->etag)) {
    response.status = 304;
  } else {
    response.static_body = file->bytes;
  }
  return response;
}

}  // namespace surva::host
