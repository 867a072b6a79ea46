#include "program/logging.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/wire/loopback.h"

namespace surva::program {
namespace {

class LogFiles : public ::testing::Test {
 protected:
  ~LogFiles() override {
    std::filesystem::remove(access_);
    std::filesystem::remove(error_);
  }
  static std::string Content(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
  }
  std::string access_ = ::testing::TempDir() + "access" + std::to_string(::getpid());
  std::string error_ = ::testing::TempDir() + "error" + std::to_string(::getpid());
};

TEST_F(LogFiles, NobodyWritesALineOfHisOwn) {
  {
    FileLog log({.access = access_, .error = error_, .level = "warning"});
    log.Access({.remote_addr = "::1",
                .method = "GET",
                .target = "/a\r\n1.2.3.4 \"GET /b\x1b[2J{}%s\xff",
                .status = 404,
                .bytes = 7,
                .milliseconds = 1.25});
    log.Access({.remote_addr = "::1", .method = "", .target = std::string(5000, 'a'), .status = 400});
    log.Info("not told");
    log.Warning("told {} %n\n twice");
  }
  const std::string access = Content(access_);
  EXPECT_NE(access.find(" ::1 \"GET /a\\x0d\\x0a1.2.3.4 \\x22GET /b\\x1b[2J{}%s\\xff\" 404 7 1.2ms\n"),
            std::string::npos)
      << access;
  EXPECT_EQ(std::count(access.begin(), access.end(), '\n'), 2);
  EXPECT_LT(access.size(), 700U);
  const std::string error = Content(error_);
  EXPECT_EQ(error.find("not told"), std::string::npos);
  EXPECT_NE(error.find(" warning told {} %n\\x0a twice\n"), std::string::npos) << error;
  EXPECT_THROW(FileLog({.access = "/nonexistent/log"}), std::system_error);
}

TEST_F(LogFiles, HideThePin) {
  EXPECT_EQ(WithoutPin("/surva.asp?PIN=12345&x=1&pin=9"), "/surva.asp?PIN=...&x=1&pin=...");
  EXPECT_EQ(WithoutPin("/surva.asp?PI%4e=12345&%50%69N=9"), "/surva.asp?PI%4e=...&%50%69N=...");
  EXPECT_EQ(WithoutPin("/a?spin=1&b"), "/a?spin=1&b");
  EXPECT_EQ(WithoutPin("/PIN=1"), "/PIN=1");
}

TEST_F(LogFiles, HaveALineForEachRequest) {
  {
    FileLog log({.access = access_, .error = "off"});
    wire::EchoSite site;
    wire::Server server({}, site, log);
    std::thread thread([&server] { server.Run(); });
    {
      wire::Client client(server.port());
      client.Get("/a?PIN=777");
      client.Send("HEAD /b HTTP/1.1\r\nHost: localhost\r\n\r\n");
      client.Read(true);
      client.Ask("GET /%zz HTTP/1.1\r\nHost: localhost\r\n\r\n");
      client.Ask("rubbish \"x\r\n\r\n");
    }
    server.Stop();
    thread.join();
  }
  const std::string access = Content(access_);
  EXPECT_NE(access.find("127.0.0.1 \"GET /a?PIN=...\" 200 "), std::string::npos) << access;
  EXPECT_NE(access.find("127.0.0.1 \"HEAD /b\" 200 0 "), std::string::npos) << access;
  EXPECT_NE(access.find("127.0.0.1 \"GET /%zz\" 400 "), std::string::npos) << access;
  EXPECT_NE(access.find("rubbish"), std::string::npos) << access;
  EXPECT_EQ(std::count(access.begin(), access.end(), '\n'), 4) << access;
}

}  // namespace
}  // namespace surva::program
