#include "host/static_site.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "host/site_files.h"

namespace surva::host {
namespace {

namespace fs = std::filesystem;

wire::HttpResponse Ask(const StaticSite& site, const std::string& path, const std::string& query = "",
                       const std::string& if_none_match = "") {
  wire::HttpRequest request;
  request.path = path;
  request.query = query;
  request.headers = {{"if-none-match", if_none_match}};
  return site.Answer(request).value_or(wire::HttpResponse{.status = 404});
}

std::string Header(const wire::HttpResponse& response, std::string_view name) {
  for (const auto& [known, value] : response.headers) {
    if (known == name) return value;
  }
  return "";
}

class SiteDirectory : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(root_ / "help");
    fs::create_directories(root_ / "art");
    fs::create_directories(root_ / "greetings");
    Write("help/index.html", "all topics");
    Write("help/company.html", "companies");
    Write("greetings/default0.asp", "welcome");
    Write("Logo.GIF", "picture");
    Write("empty.css", "");
    Write("art/source.svg", "drawing");
    Write(".hidden", "secret");
    std::ofstream(root_.string() + ".outside") << "secret";
    fs::create_symlink(root_.string() + ".outside", root_ / "escape.txt");
    fs::create_symlink("/etc", root_ / "etc");
    fs::create_symlink("nowhere", root_ / "broken.txt");
    fs::create_symlink("Logo.GIF", root_ / "alias.gif");
  }
  void TearDown() override {
    fs::remove_all(root_);
    fs::remove(root_.string() + ".outside");
  }
  void Write(const fs::path& name, std::string_view text) { std::ofstream(root_ / name) << text; }

  fs::path root_ = fs::path(::testing::TempDir()) / ("site" + std::to_string(::getpid()));
};

TEST_F(SiteDirectory, IsServedTwiceWithoutRegardToCase) {
  const StaticSite site(root_);
  for (const char* path : {"/logo.gif", "/LOGO.gif", "/admin/Logo.GIF", "/ADMIN/logo.gif", "/alias.gif"}) {
    const wire::HttpResponse response = Ask(site, path);
    EXPECT_EQ(response.static_body, "picture") << path;
    EXPECT_EQ(response.content_type, "image/gif");
    EXPECT_EQ(Header(response, "Cache-Control"), "public, max-age=3600");
  }
  const wire::HttpResponse greeting = Ask(site, "/greetings/default0.asp");
  EXPECT_EQ(greeting.content_type, "text/html; charset=windows-1252");
  EXPECT_EQ(Header(greeting, "Cache-Control"), "no-cache");
  EXPECT_EQ(Ask(site, "/empty.css").status, 200U);
  for (const char* path : {"/escape.txt", "/etc/hostname", "/broken.txt", "/art/source.svg", "/.hidden", "/", "/admin/",
                           "/help", "/admin/admin/logo.gif", "/none.gif", "/help/"}) {
    EXPECT_EQ(Ask(site, path).status, 404U) << path;
  }
  wire::HttpRequest post;
  post.path = "/logo.gif";
  post.method = wire::HttpRequest::Method::kPost;
  EXPECT_EQ(site.Answer(post)->status, 405U);
}

TEST_F(SiteDirectory, IsNotSentAgainToWhoHasIt) {
  const StaticSite site(root_);
  const std::string etag = Header(Ask(site, "/logo.gif"), "ETag");
  EXPECT_NE(etag, Header(Ask(site, "/empty.css"), "ETag"));
  for (const std::string& match :
       {etag, "W/" + etag, "\"x\", " + etag, etag + ",\"y\"", "\"x\"," + etag, etag + " , \"y\"", std::string("*")}) {
    const wire::HttpResponse response = Ask(site, "/logo.gif", "", match);
    EXPECT_EQ(response.status, 304U) << match;
    EXPECT_EQ(Header(response, "ETag"), etag);
    EXPECT_TRUE(response.static_body.empty());
  }
  for (const std::string& match : {std::string("\"x\""), "x" + etag, etag + "x", etag.substr(1), std::string("\"\"")}) {
    EXPECT_EQ(Ask(site, "/logo.gif", "", match).status, 200U) << match;
  }
}

TEST_F(SiteDirectory, HelpFindsItsTopic) {
  const StaticSite site(root_);
  for (const char* query : {"topic=/admin/company.asp", "TOPIC=%2Fadmin%2FCompany.asp", "x=1&topic=company",
                            "topic=/admin/company.asp?mod=1"}) {
    EXPECT_EQ(Ask(site, "/admin/help.asp", query).static_body, "companies") << query;
  }
  for (const char* query : {"", "topic=", "topic=nothing", "topic=../../escape.txt", "topic=/admin/", "topic=%00"}) {
    EXPECT_EQ(Ask(site, "/Help.asp", query).static_body, "all topics") << query;
  }
}

TEST(StaticSite, HoldsTheFilesOfTheProgram) {
  const StaticSite site;
  ASSERT_FALSE(SiteFiles().empty());
  for (const SiteFile& file : SiteFiles()) {
    const std::string name = file.name;
    // Tests run in the folder of the sources.
    EXPECT_EQ(Ask(site, "/" + name).static_body.size(), fs::file_size(fs::path("site") / name)) << name;
    EXPECT_NE(Ask(site, "/" + name).content_type, "application/octet-stream") << name;
  }
  EXPECT_THROW(StaticSite("/nonexistent"), std::runtime_error);
}

}  // namespace
}  // namespace surva::host
