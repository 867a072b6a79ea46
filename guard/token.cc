#include "guard/token.h"

#include <sodium.h>

#include <algorithm>
#include <array>

namespace surva::guard {
namespace {

constexpr std::size_t kTokenBytes = 16;

std::string Hex(const unsigned char* bytes, std::size_t count) {
  std::string text(count * 2 + 1, '\0');
  sodium_bin2hex(text.data(), text.size(), bytes, count);
  text.pop_back();
  return text;
}

}  // namespace

std::string NewToken() {
  std::array<unsigned char, kTokenBytes> bytes{};
  randombytes_buf(bytes.data(), bytes.size());
  return Hex(bytes.data(), bytes.size());
}

bool IsToken(std::string_view text) {
  return text.size() == kTokenBytes * 2 && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

std::string DigestOf(std::string_view text) {
  std::array<unsigned char, crypto_generichash_BYTES> digest{};
  crypto_generichash(digest.data(), digest.size(), reinterpret_cast<const unsigned char*>(text.data()), text.size(),
                     nullptr, 0);
  return Hex(digest.data(), digest.size());
}

std::string_view CookieOf(std::string_view header, std::string_view name) {
  while (!header.empty()) {
    const std::size_t end = std::min(header.find(';'), header.size());
    std::string_view pair = header.substr(0, end);
    header.remove_prefix(std::min(end + 1, header.size()));
    while (pair.starts_with(' ')) pair.remove_prefix(1);
    if (pair.starts_with(name) && pair.substr(name.size()).starts_with('=')) return pair.substr(name.size() + 1);
  }
  return {};
}

}  // namespace surva::guard
