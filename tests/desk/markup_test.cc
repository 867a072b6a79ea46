#include "desk/markup.h"

#include <gtest/gtest.h>

#include "host/form_decoder.h"

namespace surva::desk {
namespace {

constexpr std::string_view kHostile = "\"'><script>&lt;</textarea>&#60;b&#x3c;&amp;";

std::string Written(std::initializer_list<Piece> pieces) {
  Markup page;
  page.Write(pieces);
  return page.text();
}

TEST(Markup, LetsNoValueBecomeMarkup) {
  const std::string page = Written({"<p title=\"", kHostile, "\">", Value(kHostile), std::string(kHostile), "</p>"});
  std::string inside = page.substr(3, page.size() - 7);
  EXPECT_EQ(inside.find_first_of("<'"), std::string::npos) << page;
  EXPECT_EQ(std::count(inside.begin(), inside.end(), '>'), 1) << page;
  EXPECT_EQ(std::count(inside.begin(), inside.end(), '"'), 2) << page;
  const std::string address = Written({Url(kHostile)});
  EXPECT_EQ(address.find_first_of("\"'<>&#;= "), std::string::npos) << address;
  const std::string json = JsonText(std::string(kHostile) + "\n\\\x7f");
  EXPECT_EQ(json.substr(1, json.size() - 2).find_first_of("\"'<>&\n\x7f"), std::string::npos) << json;
}

TEST(Markup, ShowsLettersThatBrowsersPostAsReferences) {
  EXPECT_EQ(Written({"<b>", std::string_view("Gda&#324;sk &#38;&#60; &#99999999; &#324"), "</b>"}),
            "<b>Gda\u0144sk &amp;#38;&amp;#60; &amp;#99999999; &amp;#324</b>");
  EXPECT_EQ(Written({Url("&#324;")}), "%C5%84");
}

TEST(Markup, PrintsNumbersAndNullsAsThePagesDo) {
  EXPECT_EQ(Written({7, "|", Field(2.5), "|", Field(), "|", Url(12)}), "7|2.5||12");
}

// What a page of our own reads is what a browser would have posted to one of the eleven, letter for letter.
TEST(FormDecoder, GivesTheSameTextsForUtf8) {
  constexpr host::FormRules kUtf8{.letters = host::FormRules::Letters::kUtf8};
  const auto value = [&](std::string_view text) { return host::DecodeUrlEncoded(text, kUtf8).values.at(0).second; };
  EXPECT_EQ(value("a=%C3%A9%C5%84"), "\u00e9&#324;");
  EXPECT_EQ(value("a=%E9"), "\u00e9");
  EXPECT_EQ(host::DecodeUrlEncoded("a=%E9%26%23324%3B").values.at(0).second, "\u00e9&#324;");
  const std::string body =
      "--x\r\nContent-Disposition: form-data; name=\"f\"; filename=\"\xc5\x84.csv\"\r\n\r\na,b\r\n--x--\r\n";
  const auto form = host::DecodeBody("multipart/form-data; boundary=x", body,
                                     {.letters = host::FormRules::Letters::kUtf8, .files = true});
  ASSERT_EQ(form.files.size(), 1U);
  EXPECT_EQ(form.files[0].file_name, "&#324;.csv");
  EXPECT_EQ(host::DecodeBody("multipart/form-data; boundary=x", body).refusal, 415U);
}

}  // namespace
}  // namespace surva::desk
