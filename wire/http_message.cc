#include "wire/http_message.h"

#include <algorithm>

#include "frame/values/text.h"

namespace surva::wire {

std::string_view HttpRequest::Header(std::string_view name) const {
  const auto found =
      std::find_if(headers.begin(), headers.end(), [name](const auto& field) { return EqualNames(field.first, name); });
  return found == headers.end() ? std::string_view() : found->second;
}

}  // namespace surva::wire
