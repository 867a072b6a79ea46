#include <openssl/ssl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>

#include "tests/wire/loopback.h"
#include "wire/tls.h"
#include "wire/tls_check.h"

namespace surva::wire {
namespace {

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

// What an administrator is told of the files before a start; nothing if they will do.
TEST(TlsFiles, AreLookedAtBeforeAStart) {
  const std::string at = ::testing::TempDir() + "tlsfiles" + std::to_string(::getpid()) + "/";
  const std::string command =
      "mkdir -p " + at + " && cd " + at +
      " && exec 2>/dev/null && new='openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 90'"
      " && $new -x509 -subj /CN=Issuer -keyout issuer.key -out issuer && $new -subj /CN=site.example -keyout key -out ask"
      " && openssl x509 -req -in ask -CA issuer -CAkey issuer.key -CAcreateserial -days 90 -out own"
      " && cat own issuer >chain && cat issuer own >turned && openssl pkey -in key -aes128 -passout pass:x -out locked";
  ASSERT_EQ(std::system(command.c_str()), 0);
  struct Case {
    const char* chain;
    const char* key;
    int days;
    const char* told;
  };
  for (const Case& given :
       {Case{"chain", "key", 0, ""}, Case{"none", "key", 0, "none cannot be read: No such file"},
        Case{"key", "chain", 0, "key holds no certificate"}, Case{"key", "chain", 0, "chain holds no private key"},
        Case{"chain", "issuer.key", 0, "is not the key of the first"},
        Case{"turned", "key", 0, "is not the key of the first"},
        Case{"turned", "issuer.key", 0, "certificate 2 is not the issuer"},
        Case{"chain", "locked", 0, "locked by a password"}, Case{"chain", "key", 80, "expires within"},
        Case{"chain", "key", 100, "has expired"}, Case{"chain", "key", -5, "does not hold yet"}}) {
    std::string told;
    for (const TlsFinding& finding : CheckTlsFiles(at + given.chain, at + given.key, {"site.example"},
                                                   std::time(nullptr) + std::time_t{given.days} * 86'400)) {
      told += finding.what + "; " + finding.remedy + "\n";
    }
    EXPECT_NE(told.find(given.told), std::string::npos) << given.chain << told;
    EXPECT_EQ(told.empty(), *given.told == '\0') << told;
  }
  EXPECT_EQ(CheckTlsFiles(at + "chain", at + "key", {"other.example"}, std::time(nullptr)).size(), 1U);
  EXPECT_THROW(MakeTlsContext(at + "chain", at + "locked"), std::runtime_error) << "and nobody is asked for a password";
  std::filesystem::remove_all(at);
}

// The TLS side of a client.
class Session {
 public:
  Session(Client& client, int newest, const char* suites = "ALL")
      : context_(SSL_CTX_new(TLS_client_method()), SSL_CTX_free) {
    SSL_set_max_proto_version(ssl_.get(), newest);
    SSL_set_min_proto_version(ssl_.get(), TLS1_VERSION);
    SSL_set_security_level(ssl_.get(), 0);
    SSL_set_cipher_list(ssl_.get(), suites);
    SSL_set_fd(ssl_.get(), client.socket());
    const timeval patience{10, 0};
    ::setsockopt(client.socket(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    connected = SSL_connect(ssl_.get()) == 1;
  }

  void Send(std::string_view bytes) { SSL_write(ssl_.get(), bytes.data(), static_cast<int>(bytes.size())); }
  // All that comes until the server says goodbye.
  std::string ReadToEnd() {
    std::string text;
    std::array<char, 65536> bytes;
    int count = 0;
    while ((count = SSL_read(ssl_.get(), bytes.data(), bytes.size())) > 0) text.append(bytes.data(), count);
    said_goodbye = SSL_get_error(ssl_.get(), count) == SSL_ERROR_ZERO_RETURN;
    return text;
  }

  bool connected = false;
  bool said_goodbye = false;

 private:
  std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context_;
  std::unique_ptr<SSL, decltype(&SSL_free)> ssl_{SSL_new(context_.get()), SSL_free};
};

TEST_F(Tls, ServesAllThatPlainConnectionsDo) {
  Loopback loopback(Options());
  for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
    Client client(loopback.port());
    Session session(client, version);
    ASSERT_TRUE(session.connected);
    const std::string body(100'000, 'b');
    loopback.site.pieces.assign(5, std::string(20'000, 's'));
    session.Send("POST /post HTTP/1.1\r\n" + kHost + "Content-Length: 100000\r\n\r\n" + body);
    for (const std::string target : {"/stream", "/worker", "/large", "/%zz"}) {
      session.Send("GET " + target + " HTTP/1.1\r\n" + kHost +
                   (target == "/%zz" ? "Connection: close\r\n\r\n" : "\r\n"));
    }
    const std::string answers = session.ReadToEnd();
    EXPECT_NE(answers.find("/post||" + body + "|127.0.0.1|localhost|on"), std::string::npos);
    EXPECT_EQ(std::count(answers.begin(), answers.end(), 's') / 10'000, 10);
    EXPECT_NE(answers.find("\r\n0\r\n\r\nHTTP/1.1 200 "), std::string::npos);
    EXPECT_NE(answers.find("/worker|||127.0.0.1|localhost|on"), std::string::npos);
    EXPECT_NE(answers.find(std::string(8 * 1024 * 1024, 'l') + "HTTP/1.1 400 "), std::string::npos);
    EXPECT_TRUE(session.said_goodbye);
  }
  EXPECT_FALSE(Session(*std::make_unique<Client>(loopback.port()), TLS1_1_VERSION).connected);
  // Without forward secrecy, without encryption that is authenticated.
  for (const char* suites :
       {"AES128-GCM-SHA256", "ECDHE-RSA-AES256-SHA384:ECDHE-RSA-AES128-SHA", "DHE-RSA-AES128-GCM-SHA256"}) {
    EXPECT_FALSE(Session(*std::make_unique<Client>(loopback.port()), TLS1_2_VERSION, suites).connected) << suites;
  }
}

TEST_F(Tls, DeadlinesHold) {
  ServerOptions options = Options();
  options.limits = {.handshake = 1s, .header = 1s, .tick = 20ms};
  Loopback loopback(std::move(options));
  EXPECT_TRUE(Client(loopback.port()).IsClosed());
  Client client(loopback.port());
  Session session(client, TLS1_3_VERSION);
  ASSERT_TRUE(session.connected);
  session.Send("GET / HTTP/1.1\r\n");
  EXPECT_TRUE(session.ReadToEnd().starts_with("HTTP/1.1 408 "));
  EXPECT_EQ(Client(loopback.port()).Get("/").status, 0U);
}

TEST_F(Tls, ConnectionsKeepLittleMemory) {
  ServerOptions options = Options();
  options.limits.bytes_in_flight = 2 * 96 * 1024;  // two connections of one address
  options.limits.handshake = options.limits.header = 1h;
  Loopback loopback(std::move(options));
  Client first(loopback.port());
  Session waits(first, TLS1_2_VERSION);
  ASSERT_TRUE(waits.connected);
  Client second(loopback.port());
  EXPECT_TRUE(Session(second, TLS1_2_VERSION).connected);
  Client hello(loopback.port());
  hello.Send({"\x16\x03\x01\x10\x00\x01\x00\x40\x01", 9});
  hello.Send(std::string(1000, 'h'));
  EXPECT_TRUE(first.IsClosed()) << "the one that has waited longest";
  EXPECT_TRUE(hello.IsClosed()) << "long before its deadline";
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
