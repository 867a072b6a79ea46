// A log whose reader is slow. What the lines hold is seen in tests/commands/serving.t.
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
#include <thread>
#include <vector>

namespace surva::program {
namespace {

std::string Content(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
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

TEST(LogFiles, NobodyWaitsForTheirReader) {
  const std::string error = ::testing::TempDir() + "error" + std::to_string(::getpid());
  LogFile kept(error, STDERR_FILENO);
  kept.Append(std::string(LogFile::kMostBuffered - 1, 'a'));
  kept.Append("bc");
  kept.Append("d");
  EXPECT_EQ(kept.TakeDropped(), 1U);
  Pipe pipe(error + ".pipe");
  const auto begin = std::chrono::steady_clock::now();
  auto log = std::make_unique<FileLog>(LogOptions{.access = pipe.path(), .error = error});
  const std::string target(200, 'a');
  for (int i = 0; i < 20'000; ++i) log->Access({.remote_addr = "::1", .method = "GET", .target = target});
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60));
  // What the buffer holds comes when the reader reads again, and how much was lost is told.
  std::string access;
  std::thread reader([&] { access = pipe.ReadToEnd(); });
  for (int i = 0; i < 500 && Content(error).empty(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  log->Access({.remote_addr = "::1", .method = "GET", .target = "/last"});
  log.reset();
  reader.join();
  EXPECT_NE(access.find("/last"), std::string::npos);
  const auto lines = std::count(access.begin(), access.end(), '\n');
  EXPECT_GT(lines, 1000);
  EXPECT_NE(Content(error).find(" " + std::to_string(20'001 - lines) + " lines of the access log were dropped"),
            std::string::npos)
      << lines << Content(error);
  // Nor does the end of the program wait for long.
  log = std::make_unique<FileLog>(LogOptions{.access = pipe.path(), .error = error});
  for (int i = 0; i < 20'000; ++i) log->Access({.remote_addr = "::1", .method = "GET", .target = target});
  const auto end = std::chrono::steady_clock::now();
  log.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - end, std::chrono::seconds(60));
  std::filesystem::remove(error);
}

}  // namespace
}  // namespace surva::program
