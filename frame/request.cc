#include "frame/request.h"

#include <algorithm>

#include "frame/values/text.h"

namespace surva {

Request::Collection::Collection(NameValues values) : values_(std::move(values)) {
  places_.reserve(values_.size());
  for (const auto& [name, value] : values_) places_.emplace_back(LowerName(name), places_.size());
  std::sort(places_.begin(), places_.end());
}

std::vector<std::string_view> Request::Collection::Find(std::string_view name) const {
  std::vector<std::string_view> found;
  const std::string wanted = LowerName(name);
  const auto first = std::lower_bound(places_.begin(), places_.end(), wanted,
                                      [](const auto& place, const std::string& text) { return place.first < text; });
  for (auto at = first; at != places_.end() && at->first == wanted; ++at) found.push_back(values_[at->second].second);
  return found;
}

// Gives whether the name came, and its values joined in `text`.
bool Request::Join(const Collection& values, std::string_view name, std::string_view& text) const {
  const std::vector<std::string_view> found = values.Find(name);
  if (found.empty()) return false;
  text = found.front();
  if (found.size() > 1) {
    std::string& joined = joined_.emplace_back(found.front());
    for (std::size_t i = 1; i < found.size(); ++i) joined.append(", ").append(found[i]);
    text = joined;
  }
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
  return form_.Find(name);
}

std::string_view Request::ServerVariable(std::string_view name) const {
  if (EqualNames(name, "REMOTE_ADDR")) return variables_.remote_addr;
  if (EqualNames(name, "SCRIPT_NAME") || EqualNames(name, "URL")) return variables_.script_name;
  if (EqualNames(name, "SERVER_NAME")) return variables_.server_name;
  if (EqualNames(name, "HTTPS")) return variables_.https ? "on" : "off";
  return {};
}

}  // namespace surva
