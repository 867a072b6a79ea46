// Origin: where a request comes from, by what browsers say of it, and whether it may act from there.
#pragma once

#include <cstdint>
#include <string_view>

#include "wire/http_message.h"

namespace surva::guard {

// Whether the request comes from a page of the same host, or from no browser of today, which would say from where.
bool IsFromOwnPage(const wire::HttpRequest& request);

enum class Verdict : std::uint8_t {
  kPass,
  kAskAgain,  // a person may have meant it: lead him on from a page of ours, without what would act
  kRefuse,
};

// Which pages a request that acts may come from.
enum class Source : std::uint8_t {
  kItself,     // a page acts on its own words alone; those of the eleven show what strangers wrote
  kOurPages,   // pages of our own, in which no stranger's markup stands
  kStaffPages  // all
};

// Judges a request to a staff page. One that acts must come from a page of the same host that it belongs to, by a
// person's own act; one that only reads may come from anywhere. `path` is in small letters.
Verdict Judge(const wire::HttpRequest& request, std::string_view path, bool acts, Source source);

}  // namespace surva::guard
