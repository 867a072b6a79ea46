// Response: the page as it grows, buffered until the request has ended.
#pragma once

#include <concepts>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "frame/values/numbers.h"
#include "frame/values/value.h"

namespace surva {

class Response {
 public:
  // Appends literals and values to the page; values go out as they are.
  template <class... Pieces>
  void Write(const Pieces&... pieces) {
    (Append(pieces), ...);
  }

  // Throws away all that was written.
  void Clear();
  // Ends the response: the browser is sent to `url`, and what is still written reaches nobody.
  void Redirect(std::string_view url);
  void AddHeader(std::string_view name, std::string_view value) { headers_.emplace_back(name, value); }
  void set_cache_control(std::string_view value) { cache_control_ = value; }
  // Minutes from now; negative has expired already.
  void set_expires(int minutes) { expires_ = minutes; }

  // Names a script that stands inside the page just written, so that the host lets browsers run it and none that
  // came in with a value. `source` is the text between the script tags, or of an element's handler, as it was written.
  void AllowScript(std::string_view source) { scripts_.emplace_back(source); }

  // Says where the form on the page will lead to in the end, if that is another site's address: browsers ask for leave.
  void LeadFormTo(std::string_view address) { form_leads_to_ = address; }
  // Says whether the PIN that the visitor named is somebody's; the host slows guessers down.
  void NotePin(bool found) { pin_found_ = found; }

  const std::string& page() const { return page_; }
  std::string TakePage() && { return std::move(page_); }
  const std::optional<std::string>& redirect() const { return redirect_; }
  const std::vector<std::pair<std::string, std::string>>& headers() const { return headers_; }
  const std::string& cache_control() const { return cache_control_; }
  std::optional<int> expires() const { return expires_; }
  const std::vector<std::string>& scripts() const { return scripts_; }
  const std::string& form_leads_to() const { return form_leads_to_; }
  std::optional<bool> pin_found() const { return pin_found_; }

 private:
  void Append(std::string_view text) { page_.append(text); }
  void Append(const std::string& text) { page_.append(text); }
  template <std::size_t kLength>
  void Append(const char (&literal)[kLength]) {
    page_.append(literal, kLength - 1);
  }
  void Append(const Field& field) { field.AppendTo(page_); }
  void Append(const Value& value) { value.view().AppendTo(page_); }
  void Append(std::integral auto number) { AppendNumber(page_, static_cast<std::int64_t>(number)); }
  void Append(char) = delete;

  std::string page_;
  std::optional<std::string> redirect_;
  std::vector<std::pair<std::string, std::string>> headers_;
  std::string cache_control_;
  std::optional<int> expires_;
  std::vector<std::string> scripts_;
  std::string form_leads_to_;
  std::optional<bool> pin_found_;
};

}  // namespace surva
