#include <openssl/ssl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "tests/wire/loopback.h"

namespace surva::wire {
namespace {

using namespace std::chrono_literals;

class Tls : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    directory_ = ::testing::TempDir() + "tls" + std::to_string(::getpid());
    const std::string command = "mkdir -p " + directory_ +
                                " && openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=localhost -keyout " +
                                directory_ + "/key.pem -out " + directory_ + "/certificate.pem 2>/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
  }
  static void TearDownTestSuite() { std::filesystem::remove_all(directory_); }

  static ServerOptions Options() {
    ServerOptions options;
    options.tls_certificate = directory_ + "/certificate.pem";
    options.tls_key = directory_ + "/key.pem";
    return options;
  }

  static std::string directory_;
};
std::string Tls::directory_;

// The TLS side of a client.
class Session {
 public:
  Session(Client& client, int newest) : context_(SSL_CTX_new(TLS_client_method())), ssl_(SSL_new(context_)) {
    SSL_set_max_proto_version(ssl_, newest);
    SSL_set_min_proto_version(ssl_, TLS1_VERSION);
    SSL_set_security_level(ssl_, 0);
    SSL_set_fd(ssl_, client.socket());
    const timeval patience{2, 0};
    ::setsockopt(client.socket(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    connected_ = SSL_connect(ssl_) == 1;
  }
  ~Session() {
    SSL_free(ssl_);
    SSL_CTX_free(context_);
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  bool connected() const { return connected_; }
  void Send(std::string_view bytes) { SSL_write(ssl_, bytes.data(), static_cast<int>(bytes.size())); }
  // All that comes until the server says goodbye.
  std::string ReadToEnd() {
    std::string text;
    char bytes[65536];
    int count = 0;
    while ((count = SSL_read(ssl_, bytes, sizeof(bytes))) > 0) text.append(bytes, static_cast<std::size_t>(count));
    said_goodbye_ = SSL_get_error(ssl_, count) == SSL_ERROR_ZERO_RETURN;
    return text;
  }
  bool said_goodbye() const { return said_goodbye_; }

 private:
  SSL_CTX* context_;
  SSL* ssl_;
  bool connected_ = false;
  bool said_goodbye_ = false;
};

TEST_F(Tls, ServesAllThatPlainConnectionsDo) {
  Loopback loopback(Options());
  for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
    Client client(loopback.port());
    Session session(client, version);
    ASSERT_TRUE(session.connected());
    const std::string body(100'000, 'b');
    session.Send("POST /post HTTP/1.1\r\nHost: localhost\r\nContent-Length: 100000\r\n\r\n");
    session.Send(body);
    loopback.site.pieces.assign(5, std::string(20'000, 's'));
    session.Send("GET /stream HTTP/1.1\r\nHost: localhost\r\n\r\n");
    session.Send("GET /worker HTTP/1.1\r\nHost: localhost\r\n\r\n");
    session.Send(
        "GET /large HTTP/1.1\r\nHost: localhost\r\n\r\nGET /%zz HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    const std::string answers = session.ReadToEnd();
    EXPECT_NE(answers.find("/post||" + body + "|127.0.0.1|localhost|on"), std::string::npos);
    EXPECT_EQ(std::count(answers.begin(), answers.end(), 's') / 10'000, 10);
    EXPECT_NE(answers.find("\r\n0\r\n\r\nHTTP/1.1 200 "), std::string::npos);
    EXPECT_NE(answers.find("/worker|||127.0.0.1|localhost|on"), std::string::npos);
    EXPECT_NE(answers.find(std::string(8 * 1024 * 1024, 'l') + "HTTP/1.1 400 "), std::string::npos);
    EXPECT_TRUE(session.said_goodbye());
  }
  Client old(loopback.port());
  EXPECT_FALSE(Session(old, TLS1_1_VERSION).connected());
}

TEST_F(Tls, DeadlinesHold) {
  ServerOptions options = Options();
  options.limits.handshake = 200ms;
  options.limits.header = 200ms;
  options.limits.tick = 20ms;
  Loopback loopback(std::move(options));
  Client silent(loopback.port());
  EXPECT_TRUE(silent.IsClosed());
  Client client(loopback.port());
  Session session(client, TLS1_3_VERSION);
  ASSERT_TRUE(session.connected());
  session.Send("GET / HTTP/1.1\r\n");
  EXPECT_TRUE(session.ReadToEnd().starts_with("HTTP/1.1 408 "));
  Client plain(loopback.port());
  EXPECT_EQ(plain.Get("/").status, 0U);
}

TEST_F(Tls, ToldWhenItsFilesAreWrong) {
  ServerOptions options = Options();
  options.tls_key = options.tls_certificate;
  EXPECT_THROW(Loopback{options}, std::runtime_error);
  options.tls_certificate = "/nonexistent.pem";
  EXPECT_THROW(Loopback{options}, std::runtime_error);
}

}  // namespace
}  // namespace surva::wire
