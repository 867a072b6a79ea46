// What a site's files give, and what is read out of forms.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "host/form_decoder.h"
#include "host/site_files.h"
#include "host/static_site.h"
#include "tests/support/node.h"
#include "tests/support/recorded.h"

namespace surva::host {
namespace {

namespace fs = std::filesystem;

// The fields as "name=value;" in their order, or the refusal.
std::string Show(const DecodedForm& form) {
  std::string text = form.refusal == 0 ? "" : std::to_string(form.refusal);
  for (const auto& [name, value] : form.values) text += name + "=" + value + ";";
  return text;
}
std::string Show(const DecodedForm& form, const DecodedForm& same) {
  return Show(form) == Show(same) ? Show(form) : Show(form) + " but " + Show(same);
}

TEST(Forms, Cases) {
  const auto url_encoded = [](const std::string& text) {
    return Show(DecodeUrlEncoded(text), DecodeBody("Application/x-www-form-urlencoded; charset=windows-1252", text));
  };
  const auto multipart = [](const std::string& text) {
    return Show(DecodeBody("multipart/form-data; boundary=X", text),
                DecodeBody("multipart/form-data; charset=a; boundary=\"X\"", text));
  };
  const auto count = [](const DecodedForm& form) {
    return std::to_string(form.refusal) + "; " + std::to_string(form.values.size()) + " fields and " +
           std::to_string(form.files.size()) + " files";
  };
  const auto files = [&](const std::string& text) {
    return count(DecodeBody("multipart/form-data; boundary=X", text, {.files = true}));
  };
  // A page of our own gives the same texts, and files.
  const auto own = [](const std::string& type, const std::string& text) {
    const DecodedForm form = DecodeBody(type, text, {.letters = FormRules::Letters::kUtf8, .files = true});
    return Show(form) + (form.files.empty() ? "" : form.files[0].file_name);
  };
  test::PlayCases(
      "tests/host/forms.cases",
      {.each = {{"url-encoded", url_encoded},
                {"own", [&](const auto& text) { return own("application/x-www-form-urlencoded", text); }},
                {"own-file", [&](const auto& text) { return own("multipart/form-data; boundary=X", text); }},
                {"fields", [&](const auto& text) { return count(DecodeUrlEncoded(text)); }},
                {"multipart", multipart},
                {"field",
                 [&](const auto& rest) { return multipart("--X\r\nContent-Disposition: form-data; name=" + rest); }},
                {"files", files}},
       .lines = {{"body", [](const auto& words) { return Show(DecodeBody(words.at(0), words.at(1))); }}}});
}

TEST(Files, Cases) {
  const std::string root = ::testing::TempDir() + "site" + std::to_string(::getpid());
  const std::string command =
      "rm -rf " + root + " && mkdir " + root + " && cd " + root +
      " && mkdir help greetings art && printf 'all topics' >help/index.html" +
      " && printf companies >help/company.html && printf welcome >greetings/default0.asp && printf picture >Logo.GIF" +
      " && touch empty.css && echo drawing >art/source.svg && echo secret >.hidden && ln -s /etc/passwd escape.txt" +
      " && ln -s /etc etc && ln -s nowhere broken.txt && ln -s Logo.GIF alias.gif";
  ASSERT_EQ(std::system(command.c_str()), 0);
  const StaticSite site(root);
  fs::remove_all(root);
  EXPECT_TRUE(site.Lacks().ends_with("more style sheets and scripts") && StaticSite().Lacks().empty()) << site.Lacks();
  const auto ask = [&](wire::HttpRequest request) {
    const auto answer = site.Answer(request);
    if (!answer) return std::string("none");
    std::string text = std::to_string(answer->status) + " " + std::string(answer->static_body);
    for (const auto& [name, value] : answer->headers) text += "; " + name + ": " + value;
    return text + "; " + answer->content_type;
  };
  test::PlayCases(
      "tests/host/files.cases",
      {.each = {{"get", [&](const auto& path) { return ask(test::RequestFor(path)); }},
                {"help", [&](const auto& query) { return ask(test::RequestFor("/Admin/help.asp", query)); }},
                {"post", [&](const auto& path) { return ask(test::RequestFor(path, "", "a")); }},
                {"get-unless", [&](const auto& match) {
                   wire::HttpRequest request = test::RequestFor("/logo.gif");
                   request.headers = {{"if-none-match", match}};
                   return ask(request);
                 }}}});
}

TEST(Files, OfTheProgramAreAllThere) {
  const StaticSite site;
  ASSERT_FALSE(SiteFiles().empty());
  for (const SiteFile& file : SiteFiles()) {
    const std::string name = file.name;
    const auto answer = site.Answer(test::RequestFor("/" + name));
    ASSERT_TRUE(answer) << name;
    // Tests run in the folder of the sources.
    EXPECT_EQ(answer->static_body.size(), fs::file_size(fs::path("site") / name)) << name;
    EXPECT_NE(answer->content_type, "application/octet-stream") << name;
  }
  EXPECT_THROW(StaticSite("/nonexistent"), std::runtime_error);
}

}  // namespace
}  // namespace surva::host
