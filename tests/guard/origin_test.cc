// Where requests come from, and what acts.
#include "guard/origin.h"

#include <gtest/gtest.h>

#include "guard/acts.h"
#include "tests/support/fixture.h"
#include "tests/support/node.h"
#include "tests/support/recorded.h"

namespace surva::guard {
namespace {

using Method = wire::HttpRequest::Method;

std::string Told(Verdict verdict) {
  return verdict == Verdict::kPass ? "pass" : verdict == Verdict::kRefuse ? "refuse" : "ask again";
}

// A request of what a browser says: Sec-Fetch-Site, -Mode, -Dest and -User, Referer, Sec-Purpose and Origin, none of
// which need be there ("-"). OWN is the address of the site.
wire::HttpRequest Said(const std::string& text, Method method) {
  constexpr std::array kNames{"Sec-Fetch-Site", "Sec-Fetch-Mode", "Sec-Fetch-Dest", "Sec-Fetch-User",
                              "Referer",        "Sec-Purpose",    "Origin"};
  wire::HttpRequest request = test::RequestFor("");
  request.method = method;
  const std::vector<test::Word> words = test::WordsOf(text);
  for (std::size_t i = 0; i < words.size(); ++i) {
    std::string value = words[i].text;
    if (value.starts_with("OWN")) value.replace(0, 3, "https://surva.example");
    if (value != "-") request.headers.emplace_back(kNames.at(i), value);
  }
  return request;
}

TEST(Origin, Cases) {
  const auto changes = [](const std::string& address) {
    const std::size_t question = address.find('?');
    const auto may = [&](Method method) {
      return MayChange(address.substr(0, question), method, address.substr(question + 1)) ? "acts" : "reads";
    };
    return std::string("GET ") + may(Method::kGet) + ", POST " + may(Method::kPost);
  };
  const auto judge = [](const std::string& path) {
    return [path](const std::string& said) {
      const auto verdict = [&](Method method, bool acts, Source source) {
        return Told(Judge(Said(said, method), path, acts, source));
      };
      return "GET " + verdict(Method::kGet, true, Source::kItself) + ", POST " +
             verdict(Method::kPost, true, Source::kItself) + ", to a page of our own " +
             verdict(Method::kPost, true, Source::kOurPages) + ", reading " +
             verdict(Method::kGet, false, Source::kItself) + ", a respondent's answers " +
             (IsFromOwnPage(Said(said, Method::kPost)) ? "pass" : "refuse");
    };
  };
  test::PlayCases("tests/guard/origin.cases",
                  {.each = {{"changes", changes},
                            {"safe", [](const auto& address) { return SafeAddress(address); }},
                            {"designer", judge("/admin/createform.asp")},
                            {"statistics", judge("/admin/stat.asp")}}});
}

}  // namespace
}  // namespace surva::guard
