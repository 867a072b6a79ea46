#include "host/form_decoder.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "frame/values/ascii.h"
#include "frame/values/text.h"

namespace surva::host {

namespace {

constexpr std::size_t kLongestBoundary = 200;

DecodedForm Refused(unsigned status) {
  return {.values = {}, .refusal = status};
}

std::string Letters(std::string bytes, FormRules rules) {
  if (IsAscii(bytes)) return bytes;
  // Bytes that are no UTF-8 were written by something older.
  if (rules.letters == FormRules::Letters::kUtf8 && IsUtf8(bytes)) return WithReferences(bytes);
  return FromWindows1252(bytes);
}

// Adds a field; gives the status that refuses it, or 0.
unsigned AddField(NameValues& values, std::string name, std::string value, FormRules rules) {
  if (values.size() >= kMostFields) return 413;
  if (name.find('\0') != std::string::npos || value.find('\0') != std::string::npos) return 400;
  values.emplace_back(Letters(std::move(name), rules), Letters(std::move(value), rules));
  return 0;
}

// A header field's value taken apart: `word; name=value; name="value"`.
class Parameters {
 public:
  explicit Parameters(std::string_view value) {
    std::size_t at = std::min(value.find(';'), value.size());
    word_ = Trimmed(value.substr(0, at));
    while (at < value.size()) {
      const std::size_t equals = value.find('=', ++at);
      if (equals == std::string_view::npos) break;
      const std::string_view name = Trimmed(value.substr(at, equals - at));
      at = value.find_first_not_of(" \t", equals + 1);
      if (at == std::string_view::npos) break;
      std::string text;
      if (value[at] == '"') {
        for (++at; at < value.size() && value[at] != '"'; ++at) {
          if (value[at] == '\\' && at + 1 < value.size() && (value[at + 1] == '"' || value[at + 1] == '\\')) ++at;
          text.push_back(value[at]);
        }
        at = std::min(value.find(';', at), value.size());
      } else {
        const std::size_t end = std::min(value.find(';', at), value.size());
        text = Trimmed(value.substr(at, end - at));
        at = end;
      }
      parameters_.emplace_back(name, std::move(text));
    }
  }

  std::string_view word() const { return word_; }
  const std::string* Find(std::string_view name) const {
    for (const auto& [known, value] : parameters_) {
      if (EqualNames(known, name)) return &value;
    }
    return nullptr;
  }

 private:
  std::string_view word_;
  std::vector<std::pair<std::string_view, std::string>> parameters_;
};

// The part's Content-Disposition among its header lines, or an empty text.
std::string_view Disposition(std::string_view head) {
  while (!head.empty()) {
    const std::size_t end = std::min(head.find("\r\n"), head.size());
    const std::string_view line = head.substr(0, end);
    const std::size_t colon = line.find(':');
    if (colon != std::string_view::npos && EqualNames(Trimmed(line.substr(0, colon)), "Content-Disposition")) {
      return line.substr(colon + 1);
    }
    head.remove_prefix(std::min(end + 2, head.size()));
  }
  return {};
}

// RFC 7578, read as RFC 2046 has it.
DecodedForm DecodeMultipart(std::string_view body, const std::string& boundary, FormRules rules) {
  DecodedForm form;
  const std::string delimiter = "\r\n--" + boundary;
  std::string_view rest = body;
  // The first delimiter has no line before it unless there is a preamble.
  if (rest.starts_with(std::string_view(delimiter).substr(2))) {
    rest.remove_prefix(delimiter.size() - 2);
  } else {
    const std::size_t first = rest.find(delimiter);
    if (first == std::string_view::npos) return Refused(400);
    rest.remove_prefix(first + delimiter.size());
  }
  while (!rest.starts_with("--")) {
    const std::size_t line = rest.find_first_not_of(" \t");
    if (line == std::string_view::npos || !rest.substr(line).starts_with("\r\n")) return Refused(400);
    rest.remove_prefix(line);  // to the line break, which may itself begin the empty line
    const std::size_t head_end = rest.find("\r\n\r\n");
    if (head_end == std::string_view::npos) return Refused(400);
    const Parameters disposition(Disposition(rest.substr(0, head_end)));
    rest.remove_prefix(head_end + 4);
    const std::size_t end = rest.find(delimiter);
    if (end == std::string_view::npos) return Refused(400);
    const std::string_view content = rest.substr(0, end);
    rest.remove_prefix(end + delimiter.size());

    const std::string* name = disposition.Find("name");
    if (!EqualNames(disposition.word(), "form-data") || name == nullptr) return Refused(400);
    const std::string* file_name = disposition.Find("filename");
    if (file_name != nullptr && rules.files) {
      if (form.files.size() >= kMostFields) return Refused(413);
      form.files.push_back({Letters(*name, rules), Letters(*file_name, rules), std::string(content)});
      continue;
    }
    if (file_name != nullptr || disposition.Find("filename*") != nullptr) return Refused(415);
    if (const unsigned refusal = AddField(form.values, *name, std::string(content), rules)) return Refused(refusal);
  }
  return form;
}

}  // namespace

DecodedForm DecodeUrlEncoded(std::string_view text, FormRules rules) {
  DecodedForm form;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('&'), text.size());
    const std::string_view pair = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (pair.empty()) continue;
    const std::size_t equals = std::min(pair.find('='), pair.size());
    const std::string_view value = pair.substr(std::min(equals + 1, pair.size()));
    if (const unsigned refusal =
            AddField(form.values, DecodeEscapes(pair.substr(0, equals)), DecodeEscapes(value), rules)) {
      return Refused(refusal);
    }
  }
  return form;
}

DecodedForm DecodeBody(std::string_view content_type, std::string_view body, FormRules rules) {
  const Parameters type(content_type);
  if (body.empty() && content_type.empty()) return {};
  if (EqualNames(type.word(), "application/x-www-form-urlencoded")) return DecodeUrlEncoded(body, rules);
  if (EqualNames(type.word(), "multipart/form-data")) {
    const std::string* boundary = type.Find("boundary");
    if (boundary == nullptr || boundary->empty() || boundary->size() > kLongestBoundary) return Refused(400);
    return DecodeMultipart(body, *boundary, rules);
  }
  return Refused(415);
}

}  // namespace surva::host
