// What goes over one connection: requests in all their forms, answers in order, bodies that are made while they are
// sent.
#include <latch>

#include "tests/wire/loopback.h"

namespace surva::wire {
namespace {

TEST(Connection, KeepsTheOrderOfPipelinedRequests) {
  Loopback loopback;
  Client client(loopback.port());
  std::string requests;
  for (int i = 0; i < 50; ++i) {
    // Every other one is answered by another thread; bodies and stray line breaks stand between.
    requests += i % 2 == 0
                    ? "GET /worker?" + std::to_string(i) + " HTTP/1.1\r\n" + kHost + "\r\n"
                    : "POST /p?" + std::to_string(i) + " HTTP/1.1\r\n" + kHost + "Content-Length: 4\r\n\r\nbody\r\n";
  }
  client.Send(requests);
  client.EndSending();
  for (int i = 0; i < 50; ++i) {
    const std::string number = std::to_string(i);
    ASSERT_TRUE(client.Read().body.starts_with(i % 2 == 0 ? "/worker|" + number + "||" : "/p|" + number + "|body|"));
  }
  EXPECT_TRUE(client.IsClosed());
}

TEST(Connection, ReadsAndWritesInPieces) {
  Loopback loopback;
  Client client(loopback.port());
  // The same head for HEAD, and nothing behind it.
  client.Send("HEAD /static HTTP/1.1\r\n" + kHost + "\r\n");
  EXPECT_TRUE(client.Read(true).Says("Content-Length: 7"));
  const std::string post = "POST /p HTTP/1.1\r\n" + kHost;
  const std::string large(300'000, 'x');
  EXPECT_EQ(client.Ask(post + "Content-Length: 300000\r\n\r\n" + large).body.substr(4, 300'000), large);
  for (const char c : post + "Transfer-Encoding: chunked\r\n\r\n1;x=\"y\\\"z\"\r\nq\r\n0\r\n\r\n") client.Send({&c, 1});
  EXPECT_TRUE(client.Read().body.starts_with("/p||q|"));
  client.Send(post + "Content-Length: 2\r\nExpect: 100-continue\r\n\r\n");
  EXPECT_EQ(client.Read().status, 100U);
  EXPECT_TRUE(client.Ask("ok").body.starts_with("/p||ok|"));
}

TEST(Connection, SurvivesAPeerThatDisappears) {
  std::latch gone(1);
  std::latch answered(1);
  Loopback loopback;
  loopback.site.wait = [&] {
    gone.wait();
    answered.count_down();
  };
  {
    Client client(loopback.port());
    client.Begin("/worker");
    loopback.AwaitAsked(1);
    // Reset rather than closed in peace.
    client.stream().socket().set_option(boost::asio::socket_base::linger(true, 0));
  }
  gone.count_down();
  answered.wait();
  // Gone in the middle of a large answer.
  Client(loopback.port()).Begin("/large");
  loopback.site.wait = nullptr;
  Client client(loopback.port());
  EXPECT_EQ(client.Get("/worker").status, 200U);
  EXPECT_EQ(client.Get("/large").body.size(), 8U * 1024 * 1024);
}

TEST(Connection, EndsWithTheServer) {
  for (const bool hangs : {false, true}) {
    std::latch release(1);
    Loopback loopback({.limits = {.stop = hangs ? 200ms : 30'000ms}});
    loopback.site.wait = [&] { release.wait(); };
    loopback.site.dawdles = hangs;
    Client idle(loopback.port());
    EXPECT_EQ(idle.Get("/").status, 200U);
    Client busy(loopback.port());
    busy.Begin("/worker");
    Client fed(loopback.port());
    if (hangs) fed.Begin("/stream");
    loopback.AwaitAsked(hangs ? 2 : 1);
    loopback.server.Stop();
    EXPECT_TRUE(idle.IsClosed());
    EXPECT_EQ(Client(loopback.port()).Get("/").status, 0U);
    if (!hangs) release.count_down();
    const Answer answer = busy.Read();
    EXPECT_EQ(answer.status, hangs ? 0U : 200U);
    EXPECT_EQ(answer.Says("Connection: close"), !hangs);
    EXPECT_TRUE(busy.IsClosed());
    EXPECT_FALSE(fed.Read().whole);
    EXPECT_LT(loopback.Stop(), 20s);
    if (hangs) release.count_down();  // its answer is dropped
  }
}

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
  EXPECT_NE(client.error(), boost::asio::error::eof);
  // The end of the connection is the end of an HTTP/1.0 answer, so it must be no orderly one.
  Client old(loopback.port());
  old.Send("GET /stream HTTP/1.0\r\n\r\n");
  old.ReadToEnd();
  EXPECT_EQ(old.error(), boost::asio::error::connection_reset);
}

TEST(Stream, LetsGoOfAWriterWithNothingToSay) {
  Loopback loopback;
  loopback.site.pieces = {"a"};
  loopback.site.dawdles = true;
  Client(loopback.port()).Begin("/stream");
  EXPECT_TRUE(test::Becomes([&] { return !loopback.site.dawdles; }));
}

}  // namespace
}  // namespace surva::wire
