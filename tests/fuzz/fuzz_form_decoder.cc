// Form and address decoding: no input may crash it, nor bring what it promises to keep out.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "host/form_decoder.h"
#include "wire/request_target.h"

namespace {

void Check(bool holds) {
  if (!holds) std::abort();
}

void CheckForm(const surva::host::DecodedForm& form) {
  Check(form.refusal == 0 || form.refusal == 400 || form.refusal == 413 || form.refusal == 415);
  Check(form.refusal == 0 || form.values.empty());
  Check(form.values.size() <= surva::host::kMostFields);
  for (const auto& [name, value] : form.values) {
    Check(name.find('\0') == std::string::npos && value.find('\0') == std::string::npos);
  }
}

void CheckTarget(std::string_view text) {
  const auto target = surva::wire::ReadTarget(text);
  if (!target) return;
  const std::string& path = target->path;
  Check(path.starts_with('/') && path.find("//") == std::string::npos && path.find("/../") == std::string::npos);
  Check(!path.ends_with("/..") && path.find("/./") == std::string::npos && path.find('\0') == std::string::npos);
  surva::wire::ReadHost(target->authority);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  CheckForm(surva::host::DecodeUrlEncoded(text));
  CheckTarget(text);
  surva::wire::ReadHost(text);
  // The content type is the first line, the rest the body.
  const std::size_t line = text.find('\n');
  if (line != std::string_view::npos) {
    CheckForm(surva::host::DecodeBody(text.substr(0, line), text.substr(line + 1)));
    CheckForm(surva::host::DecodeBody("multipart/form-data; boundary=" + std::string(text.substr(0, line)),
                                      text.substr(line + 1)));
  }
  CheckForm(surva::host::DecodeBody("multipart/form-data; boundary=X", text));
  return 0;
}
