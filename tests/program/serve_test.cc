// The server as a process: what signals do to it.
#include "program/serve.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/wire/loopback.h"

namespace surva::program {
namespace {

using namespace std::chrono_literals;

std::string Content(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

class Process : public ::testing::Test {
 protected:
  Process() : directory_(::testing::TempDir() + "serve" + std::to_string(::getpid())) {
    std::filesystem::create_directory(directory_);
    MakeCertificate("first");
    Configuration configuration;
    configuration.dsn = "sqlite:" + directory_ + "/surva.db";
    configuration.listen = "127.0.0.1:0";
    configuration.tls_certificate = directory_ + "/certificate.pem";
    configuration.tls_key = directory_ + "/key.pem";
    configuration.access_log = directory_ + "/access.log";
    configuration.error_log = directory_ + "/error.log";
    child_ = ::fork();
    if (child_ != 0) return;
    const int out = ::open((directory_ + "/out").c_str(), O_WRONLY | O_CREAT, 0600);
    ::dup2(out, STDOUT_FILENO);
    ::_exit(Serve(configuration));
  }
  ~Process() override {
    if (child_ > 0) {
      ::kill(child_, SIGKILL);
      ::waitpid(child_, nullptr, 0);
    }
    std::filesystem::remove_all(directory_);
  }

  void MakeCertificate(const std::string& name) const {
    const std::string command =
        "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 -subj /CN=" + name + " -keyout " +
        directory_ + "/key.pem -out " + directory_ + "/certificate.pem 2>/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
  }
  // What a command says on the server's port, which stands for PORT in it.
  std::string Say(std::string command) const {
    command.replace(command.find("PORT"), 4, std::to_string(port_));
    std::string text;
    std::FILE* const pipe = ::popen(("{ " + command + "; } 2>&1 </dev/null").c_str(), "r");
    char bytes[4096];
    while (const std::size_t count = std::fread(bytes, 1, sizeof(bytes), pipe)) text.append(bytes, count);
    ::pclose(pipe);
    return text;
  }
  template <class Condition>
  static bool Comes(Condition condition) {
    for (int i = 0; i < 3000 && !condition(); ++i) std::this_thread::sleep_for(20ms);
    return condition();
  }

  std::string directory_;
  pid_t child_ = 0;
  unsigned port_ = 0;
};

TEST_F(Process, TakesSignalsAsTheyAreMeant) {
  ASSERT_TRUE(Comes([this] {
    const std::string out = Content(directory_ + "/out");
    const std::size_t at = out.find("https://127.0.0.1:");
    return at != std::string::npos && std::sscanf(out.c_str() + at, "https://127.0.0.1:%u/", &port_) == 1;
  }));
  const std::string client = "timeout 60 openssl s_client -connect 127.0.0.1:PORT ";
  EXPECT_NE(Say(client).find("CN = first"), std::string::npos);
  // Only ephemeral elliptic-curve keys and authenticated encryption.
  EXPECT_NE(Say(client + "-tls1_2").find("Cipher is ECDHE-ECDSA-AES"), std::string::npos);
  for (const char* weak : {"-tls1_2 -cipher ECDHE-ECDSA-AES128-SHA256", "-tls1_2 -cipher AES128-GCM-SHA256",
                           "-tls1_2 -cipher DHE-RSA-AES128-GCM-SHA256", "-tls1_3 -groups ffdhe2048", "-tls1_1"}) {
    EXPECT_NE(Say(client + weak).find("Cipher is (NONE)"), std::string::npos) << weak;
  }

  for (const int stray : {SIGUSR1, SIGUSR2, SIGALRM, SIGPIPE, SIGRTMIN + 3}) ::kill(child_, stray);
  std::filesystem::rename(directory_ + "/access.log", directory_ + "/access.log.1");
  MakeCertificate("second");
  ::kill(child_, SIGHUP);
  EXPECT_TRUE(Comes([&] { return Say(client).find("CN = second") != std::string::npos; }));
  const std::string request = "printf 'GET /after HTTP/1.1\\r\\nHost: localhost\\r\\nConnection: close\\r\\n\\r\\n'";
  EXPECT_NE(Say("(" + request + ") | timeout 60 openssl s_client -quiet -connect 127.0.0.1:PORT")
                .find("Strict-Transport-Security: max-age="),
            std::string::npos);
  EXPECT_TRUE(Comes([this] { return Content(directory_ + "/access.log").find("/after") != std::string::npos; }));

  // Files that will not do change nothing.
  std::ofstream(directory_ + "/key.pem") << "no key";
  ::kill(child_, SIGHUP);
  EXPECT_TRUE(Comes([this] { return Content(directory_ + "/error.log").find("TLS key") != std::string::npos; }));
  EXPECT_NE(Say(client).find("CN = second"), std::string::npos);

  ::kill(child_, SIGTERM);
  ::kill(child_, SIGHUP);
  int status = -1;
  EXPECT_EQ(::waitpid(child_, &status, 0), child_);
  child_ = 0;
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST(ServeAtItsStart, NamesASiteThatIsNotThere) {
  Configuration configuration;
  configuration.site = "/nonexistent/site";
  try {
    Serve(configuration);
    FAIL() << "served without a site";
  } catch (const UsageError& error) {
    EXPECT_STREQ(error.what(),
                 "--site: there is no directory \"/nonexistent/site\"; name a copy of the directory site/");
  }
}

}  // namespace
}  // namespace surva::program
