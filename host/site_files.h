// The files of the site that are compiled into the binary.
#pragma once

#include <string_view>
#include <vector>

namespace surva::host {

struct SiteFile {
  const char* name;  // below the site's root, such as "css/layout.css"
  const char* begin;
  const char* end;
};

const std::vector<SiteFile>& SiteFiles();

}  // namespace surva::host
