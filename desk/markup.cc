#include "desk/markup.h"

#include <array>

#include "frame/values/ascii.h"
#include "frame/values/text.h"

namespace surva::desk {
namespace {

void AppendEscaped(std::string& page, std::string_view text) {
  for (const char c : text) {
    switch (c) {
      case '&':
        page += "&amp;";
        break;
      case '<':
        page += "&lt;";
        break;
      case '>':
        page += "&gt;";
        break;
      case '"':
        page += "&quot;";
        break;
      case '\'':
        page += "&#39;";
        break;
      default:
        page += c;
    }
  }
}

}  // namespace

Piece Url(const Field& value) {
  Piece piece(value);
  piece.kind_ = Piece::Kind::kUrl;
  return piece;
}

void Markup::Write(std::initializer_list<Piece> pieces) {
  for (const Piece& piece : pieces) {
    if (piece.kind_ == Piece::Kind::kLiteral) {
      text_ += piece.literal_;
      continue;
    }
    const auto* const seen = std::get_if<std::string_view>(&piece.value_.content());
    const std::string printed = seen == nullptr ? piece.value_.Text() : std::string();
    const std::string_view text = seen == nullptr ? std::string_view(printed) : *seen;
    if (piece.kind_ == Piece::Kind::kUrl) {
      text_ += PercentEncoded(WithLetters(text));
    } else if (text.find("&#") == std::string_view::npos) {
      AppendEscaped(text_, text);
    } else {
      AppendEscaped(text_, WithLetters(text));
    }
  }
}

std::string JsonText(std::string_view text) {
  std::string json = "\"";
  for (const char c : WithLetters(text)) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || c == '"' || c == '\\' || c == '<' || c == '>' || c == '&' || c == '\'' || byte == 0x7f) {
      json += "\\u00";
      json += {kHexDigits[byte / 16], kHexDigits[byte % 16]};
    } else {
      json += c;
    }
  }
  json += '"';
  return json;
}

}  // namespace surva::desk
