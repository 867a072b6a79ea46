#include "frame/request.h"

#include "frame/values/text.h"

namespace surva {

// Gives whether the name came, and its values joined in `text`.
bool Request::Join(const NameValues& values, std::string_view name, std::string_view& text) const {
  const std::string* first = nullptr;
  std::string* joined = nullptr;
  for (const auto& [own, value] : values) {
    if (!EqualNames(own, name)) continue;
    if (first == nullptr) {
      first = &value;
    } else {
      if (joined == nullptr) joined = &joined_.emplace_back(*first);
      *joined += ", ";
      *joined += value;
    }
  }
  if (first == nullptr) return false;
  text = joined != nullptr ? *joined : *first;
  return true;
}

std::string_view Request::operator()(std::string_view name) const {
  std::string_view text;
  if (!Join(query_, name, text)) Join(form_, name, text);
  return text;
}

bool Request::Has(std::string_view name) const {
  std::string_view text;
  return Join(query_, name, text) || Join(form_, name, text);
}

std::string_view Request::QueryString(std::string_view name) const {
  std::string_view text;
  Join(query_, name, text);
  return text;
}

std::vector<std::string_view> Request::Form(std::string_view name) const {
  std::vector<std::string_view> values;
  for (const auto& [own, value] : form_) {
    if (EqualNames(own, name)) values.push_back(value);
  }
  return values;
}

std::string_view Request::ServerVariable(std::string_view name) const {
  if (EqualNames(name, "REMOTE_ADDR")) return variables_.remote_addr;
  if (EqualNames(name, "SCRIPT_NAME") || EqualNames(name, "URL")) return variables_.script_name;
  if (EqualNames(name, "SERVER_NAME")) return variables_.server_name;
  if (EqualNames(name, "HTTPS")) return variables_.https ? "on" : "off";
  return {};
}

}  // namespace surva
