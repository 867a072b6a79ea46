// Policies: what a browser may do with a page of ours. Values stand in the eleven pages as they are, markup included;
// the policy lets the page's own scripts, pictures and styles through, and nothing that came in with a value.
#pragma once

#include <string>
#include <string_view>

#include "frame/request.h"
#include "frame/response.h"
#include "wire/http_message.h"

namespace surva::host {

// The Content-Security-Policy of one of the eleven pages. `path` is in small letters.
std::string PagePolicy(const wire::HttpRequest& http, std::string_view path, const Request& request,
                       const Response& response);

}  // namespace surva::host
