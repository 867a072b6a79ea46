// Form decoding: from a query string or a posted body to names and values. Bytes are windows-1252, as browsers send
// them for our pages.
#pragma once

#include <string_view>

#include "frame/request.h"

namespace surva::host {

struct DecodedForm {
  NameValues values;     // in the order in which they came; empty if refused
  unsigned refusal = 0;  // the HTTP status that refuses the request: 400, 413 or 415; 0 if all is well
};

constexpr std::size_t kMostFields = 10'000;

// Reads "name=value&name=value". A plus is a blank, an escape that is none stays as it is; a NUL is refused with 400,
// more than kMostFields with 413.
DecodedForm DecodeUrlEncoded(std::string_view text);

// Reads a posted body by its content type: application/x-www-form-urlencoded or multipart/form-data. Files and other
// types are refused with 415, a broken multipart body with 400. No body needs no type.
DecodedForm DecodeBody(std::string_view content_type, std::string_view body);

}  // namespace surva::host
