// Bodies that are made while they are sent.
#include "tests/wire/loopback.h"

namespace surva::wire {
namespace {

TEST(Stream, ComesWholeInAllVersions) {
  Loopback loopback;
  std::string all;
  for (int i = 0; i < 300; ++i) {
    loopback.site.pieces.push_back(
        std::string(static_cast<std::size_t>(i * 37 % 5000), static_cast<char>('a' + i % 26)));
    all += loopback.site.pieces.back();
  }
  Client client(loopback.port());
  for (int i = 0; i < 3; ++i) {
    const Answer answer = client.Get("/stream");
    EXPECT_TRUE(answer.whole);
    EXPECT_EQ(answer.body, all);
    EXPECT_EQ(answer.head.find("Content-Length"), std::string::npos);
  }
  client.Send("HEAD /stream HTTP/1.1\r\n" + kHost + "\r\n");
  EXPECT_TRUE(client.Read(true).Says("Transfer-Encoding: chunked"));
  EXPECT_EQ(client.Get("/static").body, "unmoved");

  Client old(loopback.port());
  old.Send("GET /stream HTTP/1.0\r\nConnection: keep-alive\r\n\r\n");
  const Answer answer = old.Read();
  EXPECT_TRUE(answer.Says("Connection: close"));
  EXPECT_EQ(answer.head.find("Transfer-Encoding"), std::string::npos);
  EXPECT_EQ(old.ReadToEnd(), all);

  loopback.site.pieces.clear();
  EXPECT_TRUE(client.Get("/stream").whole);
}

TEST(Stream, BrokenOffIsNoWholeAnswer) {
  Loopback loopback;
  loopback.site.pieces = {"some of it"};
  loopback.site.finishes = false;
  Client client(loopback.port());
  EXPECT_FALSE(client.Get("/stream").whole);
  EXPECT_NE(client.last_error(), 0);
  // The end of the connection is the end of an HTTP/1.0 answer, so it must be no orderly one.
  Client old(loopback.port());
  old.Send("GET /stream HTTP/1.0\r\n\r\n");
  old.ReadToEnd();
  EXPECT_EQ(old.last_error(), ECONNRESET);
}

TEST(Stream, LetsGoOfAWriterWithNothingToSay) {
  Loopback loopback;
  loopback.site.pieces = {"a"};
  loopback.site.dawdles = true;
  Client(loopback.port()).Begin("/stream");
  EXPECT_TRUE(Becomes([&] { return !loopback.site.dawdles; }));
}

}  // namespace
}  // namespace surva::wire
