// Form decoding: from a query string or a posted body to names and values. Bytes are windows-1252, as browsers send
// them for the eleven pages, or UTF-8, as they do for pages of today; the values are the same either way.
#pragma once

#include <string_view>

#include "desk/desk_page.h"
#include "frame/request.h"

namespace surva::host {

struct DecodedForm {
  NameValues values;  // in the order in which they came; empty if refused
  std::vector<desk::Upload> files = {};
  unsigned refusal = 0;  // the HTTP status that refuses the request: 400, 413 or 415; 0 if all is well
};

constexpr std::size_t kMostFields = 10'000;

struct FormRules {
  enum class Letters { kWindows1252, kUtf8 };

  Letters letters = Letters::kWindows1252;
  bool files = false;  // whether a posted form may bring some
};

// Reads "name=value&name=value". A plus is a blank, an escape that is none stays as it is; a NUL is refused with 400,
// more than kMostFields with 413.
DecodedForm DecodeUrlEncoded(std::string_view text, FormRules rules = {});

// Reads a posted body by its content type: application/x-www-form-urlencoded or multipart/form-data. Files where
// there may be none, and other types, are refused with 415, a broken multipart body with 400. No body needs no type.
DecodedForm DecodeBody(std::string_view content_type, std::string_view body, FormRules rules = {});

}  // namespace surva::host
