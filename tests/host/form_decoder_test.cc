#include "host/form_decoder.h"

#include <gtest/gtest.h>

#include <string>

namespace surva::host {
namespace {

using namespace std::string_literals;

// The fields as "name=value;" in their order, or the refusal.
std::string Show(const DecodedForm& form) {
  if (form.refusal != 0) return std::to_string(form.refusal) + (form.values.empty() ? "" : " with values");
  std::string text;
  for (const auto& [name, value] : form.values) text += name + "=" + value + ";";
  return text;
}

TEST(FormDecoder, ReadsUrlEncodedTexts) {
  const std::pair<std::string, std::string> cases[] = {
      {"", ""},
      {"a=1&b=2&a=3&A=4", "a=1;b=2;a=3;A=4;"},
      {"&&a=1&&b&=c&", "a=1;b=;=c;"},
      {"a=b=c&d==", "a=b=c;d==;"},
      {"a+b=c+d%2Be", "a b=c d+e;"},
      {"%61%3D=%26%3b", "a==&;;"},
      // Escapes that are none stay.
      {"a=100%&b=%zz&c=%4&d=%%41", "a=100%;b=%zz;c=%4;d=%A;"},
      {"a=%80%E9&b=\xe9", "a=\u20ac\u00e9;b=\u00e9;"},
      {"a=&#8364;", "a=;#8364;=;"},
      {"a=%00", "400"},
      {"a%00b=1", "400"},
      {"a=b\0c"s, "400"},
  };
  for (const auto& [text, fields] : cases) {
    EXPECT_EQ(Show(DecodeUrlEncoded(text)), fields) << text;
    EXPECT_EQ(Show(DecodeBody("Application/x-www-form-urlencoded; charset=windows-1252", text)), fields) << text;
  }
  std::string many = "a";
  for (std::size_t i = 1; i < kMostFields; ++i) many += "&a";
  EXPECT_EQ(DecodeUrlEncoded(many).values.size(), kMostFields);
  EXPECT_EQ(Show(DecodeUrlEncoded(many + "&a")), "413");
}

TEST(FormDecoder, ReadsMultipartBodies) {
  const std::string field = "Content-Disposition: form-data; name=";
  const std::pair<std::string, std::string> cases[] = {
      {"--X\r\n" + field + "\"a\"\r\n\r\n1\r\n--X\r\n" + field + "a\r\n\r\n2\r\n--X--\r\n", "a=1;a=2;"},
      {"--X\r\nContent-Type: text/plain\r\ncontent-disposition:form-data;NAME=\"a b\"\r\n\r\n\xe9+%41\r\n--X--",
       "a b=\u00e9+%41;"},
      {"preamble\r\n--X  \r\n" + field + "\"a\\\"b\"\r\n\r\n\r\n--X--\r\nepilogue", "a\"b=;"},
      {"--X\r\n" + field + "\"a\"\r\n\r\nline\r\n--Y\r\n\r\n--X--", "a=line\r\n--Y\r\n;"},
      {"--X--", ""},
      {"--X\r\n" + field + "\"a\"; filename=\"\"\r\n\r\n\r\n--X--", "415"},
      {"--X\r\n" + field + "\"a\"; filename*=x\r\n\r\n\r\n--X--", "415"},
      {"--X\r\n" + field + "\"a\"\r\n\r\n\0\r\n--X--"s, "400"},
      {"--X\r\n" + field + "\"a\"\r\n\r\n1", "400"},
      {"--X\r\n" + field + "\"a\"\r\n\r\n1\r\n--X", "400"},
      {"--X\r\n" + field + "\"a\"\r\n", "400"},
      {"--X\r\nContent-Disposition: form-data\r\n\r\n1\r\n--X--", "400"},
      {"--X\r\nContent-Disposition: attachment; name=a\r\n\r\n1\r\n--X--", "400"},
      {"--X\r\n\r\n1\r\n--X--", "400"},
      {"--Y--", "400"},
      {"", "400"},
  };
  for (const auto& [text, fields] : cases) {
    EXPECT_EQ(Show(DecodeBody("multipart/form-data; boundary=X", text)), fields) << text;
    EXPECT_EQ(Show(DecodeBody("multipart/form-data; charset=a; boundary=\"X\"", text)), fields) << text;
  }
  EXPECT_EQ(Show(DecodeBody("multipart/form-data", "--X--")), "400");
  EXPECT_EQ(Show(DecodeBody("multipart/form-data; boundary=", "--X--")), "400");
  for (const std::size_t length : {200U, 201U}) {
    const std::string boundary(length, 'b');
    EXPECT_EQ(Show(DecodeBody("multipart/form-data; boundary=" + boundary, "--" + boundary + "--")),
              length == 200 ? "" : "400");
  }
}

TEST(FormDecoder, TakesNoMoreFilesThanFields) {
  const std::string file = "--X\r\nContent-Disposition: form-data; name=a; filename=b\r\n\r\n\r\n";
  std::string body;
  for (std::size_t i = 0; i < kMostFields; ++i) body += file;
  const auto refusal = [](const std::string& text) {
    return DecodeBody("multipart/form-data; boundary=X", text + "--X--", {.files = true}).refusal;
  };
  EXPECT_EQ(refusal(body), 0U);
  EXPECT_EQ(refusal(body + file), 413U);
}

TEST(FormDecoder, RefusesOtherTypes) {
  EXPECT_EQ(Show(DecodeBody("", "")), "");
  EXPECT_EQ(Show(DecodeBody("", "a=1")), "415");
  EXPECT_EQ(Show(DecodeBody("text/plain", "a=1")), "415");
  EXPECT_EQ(Show(DecodeBody("application/json", "{}")), "415");
}

}  // namespace
}  // namespace surva::host
