#include "program/logging.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

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
    log.Access({.request_id = "id7",
                .remote_addr = "::1",
                .method = "GET",
                .target = "/a\r\n1.2.3.4 \"GET /b\x1b[2J{}%s~ \x7f\xff",
                .status = 404,
                .bytes = 7,
                .milliseconds = 1.25});
    log.Access({.remote_addr = "::1", .method = "", .target = std::string(5000, 'a'), .status = 400});
    log.Info("not told");
    log.Warning("told {} %n\n twice");
  }
  const std::string access = Content(access_);
  EXPECT_NE(access.find(" ::1 \"GET /a\\x0d\\x0a1.2.3.4 \\x22GET /b\\x1b[2J{}%s~ \\x7f\\xff\" 404 7 1.2ms id7\n"),
            std::string::npos)
      << access;
  EXPECT_EQ(std::count(access.begin(), access.end(), '\n'), 2);
  EXPECT_LT(access.size(), 700U);
  const std::string error = Content(error_);
  EXPECT_EQ(error.find("not told"), std::string::npos);
  EXPECT_NE(error.find(" warning told {} %n\\x0a twice\n"), std::string::npos) << error;
  EXPECT_THROW(FileLog({.access = "/nonexistent/log"}), std::system_error);
}

TEST_F(LogFiles, MayBeJson) {
  {
    FileLog log({.access = access_, .error = error_, .format = "json"});
    log.Access({.request_id = "id7", .remote_addr = "::1", .method = "GET", .target = "/\"\\\n?PIN=1", .status = 200});
    log.Error("a \"quoted\" line\n");
  }
  EXPECT_TRUE(Content(access_).ends_with(
      "\"level\":\"info\",\"request\":\"id7\",\"client\":\"::1\",\"method\":\"GET\","
      "\"target\":\"/\\\\x22\\\\x5c\\\\x0a?PIN=...\",\"status\":200,\"bytes\":0,\"milliseconds\":0.0}\n"))
      << Content(access_);
  EXPECT_TRUE(Content(error_).ends_with("\"level\":\"error\",\"text\":\"a \\\\x22quoted\\\\x22 line\\\\x0a\"}\n"))
      << Content(error_);
}

// As under a service manager, whose journal takes the streams.
TEST_F(LogFiles, TellTheJournalHowMuchALineMatters) {
  const int kept = ::dup(STDERR_FILENO);
  const int journal = ::open(error_.c_str(), O_WRONLY | O_CREAT, 0600);
  struct stat status {};
  ::fstat(journal, &status);
  ::setenv("JOURNAL_STREAM", (std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino)).c_str(), 1);
  ::dup2(journal, STDERR_FILENO);
  {
    FileLog log({.access = access_, .level = "debug"});
    log.Debug("four");
    log.Info("three");
    log.Warning("two");
    log.Error("one");
    log.Access({.remote_addr = "::1", .method = "GET", .target = "/", .status = 200});
  }
  ::dup2(kept, STDERR_FILENO);
  ::unsetenv("JOURNAL_STREAM");
  ::close(journal);
  ::close(kept);
  std::string priorities;
  std::istringstream lines(Content(error_));
  for (std::string line; std::getline(lines, line);) priorities += line.substr(0, 3);
  EXPECT_EQ(priorities, "<7><6><4><3>");
  EXPECT_NE(Content(access_).front(), '<') << "a file is no journal";
}

// A pipe whose reader reads when it is told to.
class Pipe {
 public:
  explicit Pipe(std::string path) : path_(std::move(path)) {
    ::mkfifo(path_.c_str(), 0600);
    descriptor_ = ::open(path_.c_str(), O_RDONLY | O_NONBLOCK);
  }
  ~Pipe() {
    ::close(descriptor_);
    std::filesystem::remove(path_);
  }
  const std::string& path() const { return path_; }
  // All that comes until its writer closes it.
  std::string ReadToEnd() {
    std::string text;
    std::vector<char> bytes(65536);
    pollfd ready{descriptor_, POLLIN, 0};
    while (::poll(&ready, 1, 5000) > 0) {
      const ssize_t count = ::read(descriptor_, bytes.data(), bytes.size());
      if (count <= 0) break;
      text.append(bytes.data(), static_cast<std::size_t>(count));
    }
    return text;
  }

 private:
  std::string path_;
  int descriptor_;
};

TEST_F(LogFiles, NobodyWaitsForTheirReader) {
  LogFile kept(error_, STDERR_FILENO);
  kept.Append(std::string(LogFile::kMostBuffered - 1, 'a'));
  kept.Append("bc");
  kept.Append("d");
  EXPECT_EQ(kept.TakeDropped(), 1U);
  Pipe pipe(access_);
  const auto begin = std::chrono::steady_clock::now();
  auto log = std::make_unique<FileLog>(LogOptions{.access = pipe.path(), .error = error_});
  const std::string target(200, 'a');
  for (int i = 0; i < 20'000; ++i) log->Access({.remote_addr = "::1", .method = "GET", .target = target});
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60));
  // What the buffer holds comes when the reader reads again, and how much was lost is told.
  std::string access;
  std::thread reader([&] { access = pipe.ReadToEnd(); });
  for (int i = 0; i < 500 && Content(error_).empty(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  log->Access({.remote_addr = "::1", .method = "GET", .target = "/last"});
  log.reset();
  reader.join();
  EXPECT_NE(access.find("/last"), std::string::npos);
  const auto lines = std::count(access.begin(), access.end(), '\n');
  EXPECT_GT(lines, 1000);
  EXPECT_NE(Content(error_).find(" " + std::to_string(20'001 - lines) + " lines of the access log were dropped"),
            std::string::npos)
      << lines << Content(error_);
  // Nor does the end of the program wait for long.
  log = std::make_unique<FileLog>(LogOptions{.access = pipe.path(), .error = error_});
  for (int i = 0; i < 20'000; ++i) log->Access({.remote_addr = "::1", .method = "GET", .target = target});
  const auto end = std::chrono::steady_clock::now();
  log.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - end, std::chrono::seconds(60));
}

TEST_F(LogFiles, HideThePin) {
  EXPECT_EQ(WithoutPin("/surva.asp?PIN=12345&x=1&pin=9"), "/surva.asp?PIN=...&x=1&pin=...");
  EXPECT_EQ(WithoutPin("/surva.asp?PI%4e=12345&%50%69N=9"), "/surva.asp?PI%4e=...&%50%69N=...");
  EXPECT_EQ(WithoutPin("/a?spin=1&b"), "/a?spin=1&b");
  EXPECT_EQ(WithoutPin("/a?&&PIN&pin=&=1&"), "/a?&&PIN&pin=...&=1&");
  EXPECT_EQ(WithoutPin("/PIN=1"), "/PIN=1");
}

TEST_F(LogFiles, HaveALineForEachRequest) {
  {
    FileLog log({.access = access_, .error = "off"});
    wire::EchoSite site;
    boost::asio::io_context io(1);
    wire::Server server(io, {}, site, log);
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
