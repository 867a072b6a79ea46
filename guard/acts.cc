#include "guard/acts.h"

#include <algorithm>
#include <span>
#include <string>

#include "frame/values/ascii.h"
#include "frame/values/text.h"

namespace surva::guard {
namespace {

// Of the designer only these read; of the other pages all but the ones named act.
constexpr std::string_view kDesignerReads[] = {"view",         "preview", "createnewsurva", "modifyquestion",
                                               "survaversion", "version", "number",         "action"};
constexpr std::string_view kRecordActs[] = {"update", "delete", "save"};
constexpr std::string_view kScheduleActs[] = {"deleteevent", "update", "save", "choose", "delete"};
constexpr std::string_view kStatisticsActs[] = {"erasemessage"};

struct PageActs {
  std::string_view path;
  std::span<const std::string_view> names;
  bool names_read = false;  // the names are those that read; all others act
};
constexpr PageActs kPages[] = {
    {"/admin/createform.asp", kDesignerReads, true},
    {"/admin/schedule.asp", kScheduleActs},
    {"/admin/company.asp", kRecordActs},
    {"/admin/student.asp", kRecordActs},
    {"/admin/trainer.asp", kRecordActs},
    {"/admin/training.asp", kRecordActs},
    {"/admin/stat.asp", kStatisticsActs},
};

// These read, whatever is posted to them: the criteria of a report come from another page.
constexpr std::string_view kReaders[] = {"/admin/browse.asp", "/admin/default.asp", "/admin/list.asp"};

// A name as the form decoder will read it, in small letters.
std::string DecodedName(std::string_view name) {
  return LowerName(DecodeEscapes(name));
}

}  // namespace

bool MayChange(std::string_view path, wire::HttpRequest::Method method, std::string_view query) {
  if (std::ranges::find(kReaders, path) != std::end(kReaders)) return false;
  if (method == wire::HttpRequest::Method::kPost) return true;
  const auto* const page = std::ranges::find(kPages, path, &PageActs::path);
  if (page == std::end(kPages)) return false;
  while (!query.empty()) {
    const std::size_t end = std::min(query.find('&'), query.size());
    const std::string_view pair = query.substr(0, end);
    query.remove_prefix(std::min(end + 1, query.size()));
    if (pair.empty()) continue;
    const std::string name = DecodedName(pair.substr(0, pair.find('=')));
    const bool named = std::ranges::find(page->names, name) != page->names.end();
    if (named != page->names_read) return true;
  }
  return false;
}

std::string SafeAddress(std::string_view address) {
  constexpr std::string_view kStart = "/admin/default.asp";
  const auto is_plain = [](char c) { return c > 0x20 && c < 0x7F && c != '\\' && c != '#' && c != '"' && c != '<'; };
  const std::size_t question = std::min(address.find('?'), address.size());
  const std::string_view path = address.substr(0, question);
  if (!EqualNames(path.substr(0, 7), "/admin/") || !std::ranges::all_of(address, is_plain)) return std::string(kStart);
  if (path.find("//") != std::string_view::npos || path.find("/.") != std::string_view::npos ||
      path.find('%') != std::string_view::npos || address.size() > 1000) {
    return std::string(kStart);
  }
  const std::string_view query = question < address.size() ? address.substr(question + 1) : std::string_view();
  const bool acts = MayChange(LowerName(path), wire::HttpRequest::Method::kGet, query);
  return std::string(acts ? path : address);
}

}  // namespace surva::guard
