// Tokens: 128 random bits in a visitor's cookie. The database keeps their digests: who reads it learns no cookie.
#pragma once

#include <string>
#include <string_view>

namespace surva::guard {

std::string NewToken();
// Whether a text has the form of a token.
bool IsToken(std::string_view text);
// The digest by which a token, or any other text that gives access, is kept.
std::string DigestOf(std::string_view text);

// The value of a cookie in the header field, or nothing.
std::string_view CookieOf(std::string_view header, std::string_view name);

}  // namespace surva::guard
