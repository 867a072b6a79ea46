// TLS in front of all the rest. Which versions and suites are spoken, and which files will do, is seen on the program:
// tests/commands/serving.t and certificates.t.
#include <unistd.h>

#include <algorithm>
#include <boost/asio/read.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/write.hpp>
#include <cstdlib>
#include <filesystem>
#include <latch>

#include "tests/wire/loopback.h"

namespace surva::wire {
namespace {

namespace asio = boost::asio;

// A certificate and its key, until the tests are over.
struct Files {
  Files() {
    const std::string command =
        "mkdir -p " + at + " && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 -subj " +
        "/CN=localhost -keyout " + at + "key -out " + at + "certificate 2>/dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0);
  }
  ~Files() { std::filesystem::remove_all(at); }
  const std::string at = ::testing::TempDir() + "tls" + std::to_string(::getpid()) + "/";
};

Loopback Protected(Limits limits = {}) {
  static const Files files;
  return Loopback({.tls_certificate = files.at + "certificate", .tls_key = files.at + "key", .limits = limits});
}

class Session {
 public:
  Session(const Loopback& loopback, int newest) {
    SSL_set_max_proto_version(stream_.native_handle(), newest);
    stream_.next_layer().connect({asio::ip::address_v4::loopback(), loopback.port()});
    stream_.handshake(asio::ssl::stream_base::client);
  }
  void Send(const std::string& bytes) { asio::write(stream_, asio::buffer(bytes)); }
  // All that comes until the end.
  std::string ReadToEnd() {
    std::string text;
    boost::system::error_code end;
    asio::read(stream_, asio::dynamic_buffer(text), end);
    said_goodbye = end == asio::error::eof;
    return text;
  }
  bool said_goodbye = false;

 private:
  asio::io_context io_;
  asio::ssl::context context_{asio::ssl::context::tls_client};
  asio::ssl::stream<asio::ip::tcp::socket> stream_{io_, context_};
};

TEST(Tls, ServesAllThatPlainConnectionsDo) {
  Loopback loopback = Protected();
  for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
    Session session(loopback, version);
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
}

TEST(Tls, DeadlinesHold) {
  Loopback loopback = Protected({.handshake = 1s, .header = 1s, .tick = 20ms});
  EXPECT_TRUE(Client(loopback.port()).IsClosed());
  Session session(loopback, TLS1_3_VERSION);
  session.Send("GET / HTTP/1.1\r\n");
  EXPECT_TRUE(session.ReadToEnd().starts_with("HTTP/1.1 408 "));
  EXPECT_EQ(Client(loopback.port()).Get("/").status, 0U);
}

TEST(Tls, OneTooManyIsTurnedAway) {
  Loopback loopback = Protected({.connections = 1});
  std::latch release(1);
  loopback.site.wait = [&] { release.wait(); };
  Session busy(loopback, TLS1_3_VERSION);
  busy.Send("GET /worker HTTP/1.1\r\n" + kHost + "Connection: close\r\n\r\n");
  loopback.AwaitAsked(1);
  EXPECT_TRUE(Client(loopback.port()).IsClosed());
  release.count_down();
  EXPECT_TRUE(busy.ReadToEnd().starts_with("HTTP/1.1 200 "));
}

TEST(Tls, ConnectionsKeepLittleMemory) {
  // Two connections of one address.
  Loopback loopback = Protected({.bytes_in_flight = 2 * 96 * 1024, .handshake = 1h, .header = 1h});
  Session first(loopback, TLS1_2_VERSION);
  const Session second(loopback, TLS1_2_VERSION);
  Client hello(loopback.port());
  hello.Send({"\x16\x03\x01\x10\x00\x01\x00\x40\x01", 9});
  hello.Send(std::string(1000, 'h'));
  EXPECT_EQ(first.ReadToEnd(), "") << "the one that has waited longest is closed";
  EXPECT_TRUE(hello.IsClosed()) << "long before its deadline";
}

}  // namespace
}  // namespace surva::wire
