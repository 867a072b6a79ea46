#include "frame/values/text.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>

#include "frame/values/ascii.h"

namespace surva {
namespace {

char LowerLetter(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

// The code points of 0x80 to 0x9F.
constexpr auto kWindows1252 = std::to_array<std::uint16_t>(
    {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
     0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
     0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178});
static_assert(kWindows1252.size() == 32);

// Takes one character off the front of a text that is not empty. A byte that is no UTF-8 counts as one character of
// the code points that Unicode leaves to surrogates, so that different bytes stay different.
std::int32_t TakeCharacter(std::string_view& text) {
  const auto first = static_cast<unsigned char>(text.front());
  if (first < 0x80) {
    text.remove_prefix(1);
    return first;
  }
  utf8proc_int32_t code = 0;
  const utf8proc_ssize_t length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                                   static_cast<utf8proc_ssize_t>(text.size()), &code);
  if (length <= 0) {
    text.remove_prefix(1);
    return 0xDC00 + first;
  }
  text.remove_prefix(static_cast<std::size_t>(length));
  return code;
}

std::int32_t SmallLetter(std::int32_t code) {
  if (code < 0x80) return code >= 'A' && code <= 'Z' ? code + 32 : code;
  return utf8proc_tolower(code);
}

void AppendUtf8(std::string& out, std::int32_t code) {
  std::array<utf8proc_uint8_t, 4> bytes{};
  const utf8proc_ssize_t length = utf8proc_encode_char(code, bytes.data());
  out.append(reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(length));
}

std::size_t AsciiPrefix(std::string_view text) {
  std::size_t at = 0;
  while (at + 8 <= text.size()) {
    std::uint64_t word = 0;
    std::copy_n(text.data() + at, 8, reinterpret_cast<char*>(&word));
    if ((word & 0x8080808080808080U) != 0) break;
    at += 8;
  }
  while (at < text.size() && static_cast<unsigned char>(text[at]) < 0x80) ++at;
  return at;
}

}  // namespace

bool EqualNames(std::string_view a, std::string_view b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return LowerLetter(x) == LowerLetter(y); });
}

std::string LowerName(std::string_view name) {
  std::string lower(name);
  std::transform(lower.begin(), lower.end(), lower.begin(), LowerLetter);
  return lower;
}

int CompareTexts(std::string_view a, std::string_view b) {
  while (!a.empty() && !b.empty()) {
    const std::int32_t x = SmallLetter(TakeCharacter(a));
    const std::int32_t y = SmallLetter(TakeCharacter(b));
    if (x != y) return x < y ? -1 : 1;
  }
  return static_cast<int>(!a.empty()) - static_cast<int>(!b.empty());
}

bool Like(std::string_view text, std::string_view pattern) {
  // The last "%" passed, and the text that it may still take over; the earlier ones need not be tried again.
  bool open = false;
  std::string_view retry_pattern;
  std::string_view retry_text;
  while (true) {
    if (!pattern.empty() && pattern.front() == '%') {
      pattern.remove_prefix(1);
      if (pattern.empty()) return true;
      open = true;
      retry_pattern = pattern;
      retry_text = text;
      continue;
    }
    if (text.empty() && pattern.empty()) return true;
    if (!text.empty() && !pattern.empty()) {
      std::string_view rest_text = text;
      std::string_view rest_pattern = pattern;
      const std::int32_t wanted = TakeCharacter(rest_pattern);
      const std::int32_t found = TakeCharacter(rest_text);
      if (wanted == '_' || SmallLetter(wanted) == SmallLetter(found)) {
        text = rest_text;
        pattern = rest_pattern;
        continue;
      }
    }
    if (!open || retry_text.empty()) return false;
    TakeCharacter(retry_text);
    text = retry_text;
    pattern = retry_pattern;
  }
}

std::size_t CharacterCount(std::string_view text) {
  std::size_t count = 0;
  for (; !text.empty(); ++count) TakeCharacter(text);
  return count;
}

std::string_view FirstCharacters(std::string_view text, std::size_t count) {
  std::string_view rest = text;
  for (; count > 0 && !rest.empty(); --count) TakeCharacter(rest);
  return text.substr(0, text.size() - rest.size());
}

std::string_view LastCharacters(std::string_view text, std::size_t count) {
  for (std::size_t all = CharacterCount(text); all > count; --all) TakeCharacter(text);
  return text;
}

std::string CapitalLetters(std::string_view text) {
  constexpr std::int32_t kCapitalSharpS = 0x1E9E;  // in no keyboard's use; "ß" stays
  std::string capitals;
  while (!text.empty()) {
    std::string_view rest = text;
    const std::int32_t code = TakeCharacter(rest);
    const std::int32_t capital = utf8proc_toupper(code);
    if (capital == code || capital == kCapitalSharpS) {
      capitals.append(text.substr(0, text.size() - rest.size()));
    } else {
      AppendUtf8(capitals, capital);
    }
    text = rest;
  }
  return capitals;
}

bool IsAscii(std::string_view text) {
  return AsciiPrefix(text) == text.size();
}

std::string FromWindows1252(std::string_view bytes) {
  std::string text(bytes.substr(0, AsciiPrefix(bytes)));
  for (const char c : bytes.substr(text.size())) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      text += c;
    } else {
      AppendUtf8(text, byte < 0xA0 ? kWindows1252[byte - 0x80U] : byte);
    }
  }
  return text;
}

std::string ToWindows1252(std::string_view text) {
  std::string bytes(text.substr(0, AsciiPrefix(text)));
  text.remove_prefix(bytes.size());
  while (!text.empty()) {
    const std::int32_t code = TakeCharacter(text);
    if (code < 0x80 || (code >= 0xA0 && code <= 0xFF)) {
      bytes += static_cast<char>(code);
      continue;
    }
    const auto* const found = std::find(kWindows1252.begin(), kWindows1252.end(), code);
    if (found != kWindows1252.end()) {
      bytes += static_cast<char>(0x80 + (found - kWindows1252.begin()));
    } else if (code >= 0xDC80 && code <= 0xDCFF) {
      bytes += '?';  // a stray byte that no browser sent
    } else {
      bytes += "&#" + std::to_string(code) + ";";
    }
  }
  return bytes;
}

bool IsUtf8(std::string_view text) {
  text.remove_prefix(AsciiPrefix(text));
  while (!text.empty()) {
    const std::int32_t code = TakeCharacter(text);
    if (code >= 0xDC80 && code <= 0xDCFF) return false;
  }
  return true;
}

std::string WithReferences(std::string_view text) {
  return IsAscii(text) ? std::string(text) : FromWindows1252(ToWindows1252(text));
}

std::string WithLetters(std::string_view text) {
  std::string plain;
  while (!text.empty()) {
    const std::size_t at = std::min(text.find("&#"), text.size());
    plain += text.substr(0, at);
    text.remove_prefix(at);
    if (text.empty()) break;
    std::uint32_t code = 0;
    const auto [end, error] = std::from_chars(text.data() + 2, text.data() + text.size(), code);
    std::array<utf8proc_uint8_t, 4> letter{};
    const bool is_letter = error == std::errc() && end != text.data() + text.size() && *end == ';' && code > 0xFF &&
                           utf8proc_codepoint_valid(static_cast<utf8proc_int32_t>(code));
    if (!is_letter) {
      plain += "&#";
      text.remove_prefix(2);
      continue;
    }
    const auto length = utf8proc_encode_char(static_cast<utf8proc_int32_t>(code), letter.data());
    plain.append(reinterpret_cast<const char*>(letter.data()), static_cast<std::size_t>(length));
    text.remove_prefix(static_cast<std::size_t>(end + 1 - text.data()));
  }
  return plain;
}

std::string PercentEncoded(std::string_view text) {
  std::string encoded;
  for (const char c : text) {
    const bool plain = IsLetterOrDigit(c) || c == '-' || c == '.' || c == '_' || c == '~';
    const auto byte = static_cast<unsigned char>(c);
    if (plain) {
      encoded += c;
    } else {
      encoded += {'%', kCapitalHexDigits[byte / 16], kCapitalHexDigits[byte % 16]};
    }
  }
  return encoded;
}

}  // namespace surva
