// Acts: which requests to a staff page can change data. The pages change it by links as well as by posted forms.
#pragma once

#include <string>
#include <string_view>

#include "wire/http_message.h"

namespace surva::guard {

// Whether a request can change something: a posted form can, and so can a query string with one of the parameters that
// make its page act. `path` is in small letters.
bool MayChange(std::string_view path, wire::HttpRequest::Method method, std::string_view query);

// An address of the staff pages to which a browser may be led, whoever named it: a path inside the site, with its
// parameters if they only read; the start page for anything else.
std::string SafeAddress(std::string_view address);

}  // namespace surva::guard
