// What the web's syntaxes share: control characters, blanks, hexadecimal digits, percent escapes.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace surva {

constexpr bool IsControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 0x20 || byte == 0x7f;
}
constexpr bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}
constexpr bool IsLetterOrDigit(char c) {
  return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Without the spaces and tabs, or other blanks, at both ends.
constexpr std::string_view Trimmed(std::string_view text, std::string_view blanks = " \t") {
  const std::size_t begin = text.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

// The byte that the first two characters write in hexadecimal digits, or -1.
constexpr int HexByte(std::string_view digits) {
  int byte = 0;
  if (digits.size() < 2) return -1;
  for (const char c : digits.substr(0, 2)) {
    if (IsDigit(c)) {
      byte = byte * 16 + (c - '0');
    } else if ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')) {
      byte = byte * 16 + ((c | 0x20) - 'a' + 10);
    } else {
      return -1;
    }
  }
  return byte;
}

inline constexpr std::string_view kHexDigits = "0123456789abcdef";
inline constexpr std::string_view kCapitalHexDigits = "0123456789ABCDEF";

// A form's encoding undone: "+" is a space, "%41" a byte; what is no escape stays as it is.
inline std::string DecodeEscapes(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const int byte = text[i] == '%' ? HexByte(text.substr(i + 1)) : -1;
    if (byte >= 0) {
      bytes.push_back(static_cast<char>(byte));
      i += 2;
    } else {
      bytes.push_back(text[i] == '+' ? ' ' : text[i]);
    }
  }
  return bytes;
}

}  // namespace surva
