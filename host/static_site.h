// StaticSite: style sheets, pictures, scripts, greetings and help, from the binary or from a directory. It stands under
// "/" and again under "/admin/", names without regard to letter case.
#pragma once

#include <deque>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "wire/http_message.h"

namespace surva::host {

class StaticSite {
 public:
  // The files compiled into the binary.
  StaticSite();
  // The files of a directory instead, read now. Links that lead out of it, names that begin with a point and a
  // top-level "art" are left out. Throws a std::runtime_error if it cannot be read or is larger than 64 MiB.
  explicit StaticSite(const std::filesystem::path& directory);
  StaticSite(const StaticSite&) = delete;
  StaticSite& operator=(const StaticSite&) = delete;

  // The answer to a request, or nothing if its path names no file here. An answer's bytes are this object's: it must
  // outlive what it answers.
  std::optional<wire::HttpResponse> Answer(const wire::HttpRequest& request) const;

  // What of the binary's style sheets and scripts is not here, in a few words; empty if all is.
  std::string Lacks() const;

 private:
  struct File {
    std::string_view bytes;
    std::string_view content_type;
    std::string_view cache_control;
    std::string etag;
  };

  void Add(std::string_view name, std::string_view bytes);
  const File* Find(const std::string& lower_name) const;
  // The page of help for the address in help.asp's query.
  const File* FindHelp(std::string_view query) const;

  std::deque<std::string> contents_;
  std::unordered_map<std::string, File> files_;  // by their names in small letters
};

}  // namespace surva::host
