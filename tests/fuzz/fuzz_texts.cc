// Forms, addresses, dates and numbers as visitors write them: whatever the text, reading ends, what was read is in its
// bounds, and nothing comes through that is promised to be kept out.
#include <cmath>

#include "frame/values/date_time.h"
#include "frame/values/numbers.h"
#include "host/form_decoder.h"
#include "tests/fuzz/fuzz.h"
#include "wire/request_target.h"

namespace surva {
namespace {

void TryForm(const host::DecodedForm& form) {
  Require(form.refusal == 0 || form.refusal == 400 || form.refusal == 413 || form.refusal == 415);
  Require(form.refusal == 0 || form.values.empty());
  Require(form.values.size() <= host::kMostFields);
  for (const auto& [name, value] : form.values) {
    Require(name.find('\0') == std::string::npos && value.find('\0') == std::string::npos);
  }
}

void TryForms(std::string_view text) {
  TryForm(host::DecodeUrlEncoded(text));
  TryForm(host::DecodeBody("multipart/form-data; boundary=X", text));
  // The content type is the first line, the rest the body.
  const std::size_t line = text.find('\n');
  if (line == std::string_view::npos) return;
  const std::string type(text.substr(0, line));
  TryForm(host::DecodeBody(type, text.substr(line + 1)));
  TryForm(host::DecodeBody("multipart/form-data; boundary=" + type, text.substr(line + 1)));
}

void TryTarget(std::string_view text) {
  wire::ReadHost(text);
  const auto target = wire::ReadTarget(text);
  if (!target) return;
  const std::string& path = target->path;
  Require(path.starts_with('/') && path.find("//") == std::string::npos && path.find("/../") == std::string::npos);
  Require(!path.ends_with("/..") && path.find("/./") == std::string::npos && path.find('\0') == std::string::npos);
  wire::ReadHost(target->authority);
}

void TryValues(std::string_view text) {
  if (const auto at = ReadDateText(text)) {
    Require(IsCalendarDay(at->year, at->month, at->day));
    Require(ReadIso(IsoText(*at)) == at);
    Require(Weekday(*at) >= 1 && Weekday(*at) <= 7 && WeekOfYear(*at) >= 1 && WeekOfYear(*at) <= 54);
  }
  if (const auto at = ReadIso(text)) Require(ReadIso(IsoText(*at)) == at);
  const auto number = ReadNumeric(text);
  if (number) Require(!std::isnan(*number));
  MayRefuse([&] {
    const std::int32_t whole = ToInt32(text);
    Require(number.has_value() && std::abs(*number - whole) <= 0.5);
  });
  MayRefuse([&] { ToInt16(text); });
  if (const auto sql = ReadSqlNumber(text)) {
    std::string printed;
    std::visit([&](auto value) { AppendNumber(printed, value); }, *sql);
    Require(!printed.empty());
  }
  // What the wire can carry comes back as it was.
  Require(ToWindows1252(FromWindows1252(text)) == text);
  ToWindows1252(text);
  const std::string_view left = text.substr(0, text.size() / 2);
  const std::string_view right = text.substr(text.size() / 2);
  Require(CompareTexts(left, right) == -CompareTexts(right, left));
  Require(CompareTexts(left, left) == 0);
  Require(Like(left, "%"));
  Like(left, right);
}

}  // namespace

void Try(std::string_view text) {
  TryForms(text);
  TryTarget(text);
  TryValues(text);
}

}  // namespace surva
