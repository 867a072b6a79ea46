// What goes over one connection: requests in all their forms, answers in order, bodies that are made while they are
// sent.
#include <latch>

#include "tests/wire/loopback.h"

namespace surva::wire {
namespace {

const std::string kPost = "POST /p HTTP/1.1\r\n" + kHost;

TEST(Connection, ServesOneRequestAfterTheOther) {
  Loopback loopback;
  Client client(loopback.port());
  EXPECT_EQ(client.Get("/a?b=%20c").body, "/a|b=%20c||127.0.0.1|localhost|off");
  EXPECT_EQ(client.Get("/worker").body, "/worker|||127.0.0.1|localhost|off");
  const Answer answer = client.Get("/static");
  EXPECT_EQ(answer.body, "unmoved");
  EXPECT_TRUE(answer.Says("Content-Length: 7"));
  EXPECT_FALSE(answer.Says("Connection: close"));
  for (const char* failing : {"/throw", "/drop"}) EXPECT_EQ(client.Get(failing).status, 500U);

  // The same head for HEAD, and nothing behind it.
  client.Send("HEAD /static HTTP/1.1\r\n" + kHost + "\r\nGET /after HTTP/1.1\r\n" + kHost + "\r\n");
  EXPECT_TRUE(client.Read(true).Says("Content-Length: 7"));
  EXPECT_TRUE(client.Read().body.starts_with("/after|"));
  EXPECT_TRUE(client.Ask("GET / HTTP/1.1\r\nConnection: close\r\n" + kHost + "\r\n").Says("Connection: close"));
  EXPECT_TRUE(client.IsClosed());

  Client once(loopback.port());
  EXPECT_TRUE(once.Ask("GET /a HTTP/1.0\r\n\r\n").Says("Connection: close"));
  EXPECT_TRUE(once.IsClosed());
  Client twice(loopback.port());
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(twice.Ask("GET /a HTTP/1.0\r\nConnection: keep-alive\r\n\r\n").Says("Connection: keep-alive"));
  }
}

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

TEST(Connection, ReadsBodiesInAllCodings) {
  Loopback loopback;
  Client client(loopback.port());
  const std::string chunked = kPost + "Transfer-Encoding: chunked\r\n\r\n";
  EXPECT_TRUE(client.Ask(chunked + "3\r\nabc\r\n4;x=y\r\ndefg\r\n0\r\nX-Trailer: z\r\nCookie: no\r\n\r\n")
                  .body.starts_with("/p||abcdefg|"));
  const std::string large(300'000, 'x');
  EXPECT_EQ(client.Ask(kPost + "Content-Length: 300000\r\n\r\n" + large).body.substr(4, 300'000), large);
  // A byte at a time.
  for (const char c : chunked + "1;x=\"y\\\"z\"\r\nq\r\n0\r\n\r\n") client.Send({&c, 1});
  EXPECT_TRUE(client.Read().body.starts_with("/p||q|"));

  client.Send(kPost + "Content-Length: 2\r\nExpect: 100-continue\r\n\r\n");
  EXPECT_EQ(client.Read().status, 100U);
  EXPECT_TRUE(client.Ask("ok").body.starts_with("/p||ok|"));
  // Who has sent the body already needs no leave.
  EXPECT_EQ(client.Ask(kPost + "Content-Length: 2\r\nExpect: 100-continue\r\n\r\nok").status, 200U);
  EXPECT_EQ(client.Ask(kPost + "Content-Length: 2\r\nExpect: wonders\r\n\r\nok").status, 417U);
}

TEST(Connection, RefusesWhatIsMalformedOrTooLong) {
  struct Case {
    std::string request;
    unsigned status;
    bool stays;  // the connection goes on
  };
  const std::string get = "GET / HTTP/1.1\r\n";
  const std::string chunked = kPost + "Transfer-Encoding: chunked\r\n\r\n";
  const Case cases[] = {
      {get + "\r\n", 400, true},
      {get + "Host: \r\n\r\n", 400, true},
      {get + "Host: a b\r\n\r\n", 400, true},
      {get + "Host: a\r\nHost: a\r\n\r\n", 400, true},
      {"GET /%zz HTTP/1.1\r\n" + kHost + "\r\n", 400, true},
      {"GET http:/// HTTP/1.1\r\n" + kHost + "\r\n", 400, true},
      {"GET http://h@x/ HTTP/1.1\r\n" + kHost + "\r\n", 400, true},
      {"OPTIONS * HTTP/1.1\r\n" + kHost + "\r\n", 405, true},
      {"PUT / HTTP/1.1\r\n" + kHost + "\r\n", 405, true},
      {"PUT / HTTP/1.1\r\n" + kHost + "Content-Length: 3\r\n\r\nabc", 405, false},
      {"FLY / HTTP/1.1\r\n" + kHost + "\r\n", 501, true},
      {kPost + "Content-Length: 1\r\nContent-Length: 1\r\n\r\na", 400, false},
      {kPost + "Content-Length: 1, 1\r\n\r\na", 400, false},
      {kPost + "Content-Length: -1\r\n\r\na", 400, false},
      {kPost + "Content-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n1\r\na\r\n0\r\n\r\n", 400, false},
      {kPost + "Transfer-Encoding: chunked\r\nContent-Length: 1\r\n\r\n1\r\na\r\n0\r\n\r\n", 400, false},
      {kPost + "Transfer-Encoding: gzip, chunked\r\n\r\n0\r\n\r\n", 400, false},
      {kPost + "Transfer-Encoding: identity\r\n\r\n", 400, false},
      {kPost + "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 400, false},
      {"POST / HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 400, false},
      {chunked + "zz\r\n", 400, false},
      {chunked + "1;" + std::string(30'000, 'x'), 400, false},
      {kPost + "Content-Length : 1\r\n\r\na", 400, false},
      {chunked + "1\na\n0\n\n", 400, false},
      {chunked + "1\r\na\r\n0;x=\"y\\\"\r\n\r\n", 400, false},
      {std::string("GET /\0 HTTP/1.1\r\n", 16) + kHost + "\r\n", 400, false},
      {"GET / HTTP/7.0\r\n" + kHost + "\r\n", 400, false},
      {"\x16\x03\x01\x02\x01\x01\x01", 400, false},
      // What one program reads as a line and another as its continuation or its end.
      {get + kHost + "X: a\r\n b\r\n\r\n", 400, false},
      {get + kHost + "X: a\r\n\tTransfer-Encoding: chunked\r\n\r\n", 400, false},
      {get + " X: a\r\n" + kHost + "\r\n", 400, false},
      {get + "Host: localhost\n\n", 400, false},
      // Limits of size.
      {get + kHost + "Cookie: a=" + std::string(15'000, 'c') + "\r\n\r\n", 200, true},
      {get + kHost + "Cookie: a=" + std::string(16'400, 'c') + "\r\n\r\n", 431, false},
      {get + kHost + "Cookie: a=" + std::string(16'400, 'c'), 431, false},
      {"GET /" + std::string(16'400, 'a') + " HTTP/1.1\r\n" + kHost + "\r\n", 431, false},
      {kPost + "Content-Length: 10000\r\n\r\n" + std::string(10'000, 'b'), 200, true},
      {kPost + "Content-Length: 10001\r\n\r\n", 413, false},
      // Told at once, not after leave to send it.
      {kPost + "Content-Length: 10001\r\nExpect: 100-continue\r\n\r\n", 413, false},
      {kPost + "Content-Length: 99999999999999999999999\r\n\r\n", 400, false},
      {chunked + "1388\r\n" + std::string(5000, 'b') + "\r\n1389\r\n" + std::string(5001, 'b') + "\r\n0\r\n\r\n", 413,
       false},
  };
  Loopback loopback({.limits = {.body_bytes = 10'000}});
  for (const Case& tried : cases) {
    SCOPED_TRACE(tried.request.substr(0, 120));
    Client client(loopback.port());
    const Answer answer = client.Ask(tried.request);
    EXPECT_EQ(answer.status, tried.status);
    EXPECT_EQ(answer.Says("Connection: close"), !tried.stays);
    EXPECT_EQ(answer.Says("Allow: GET, HEAD, POST"), tried.status == 405);
    if (tried.stays) {
      EXPECT_EQ(client.Get("/next").status, 200U);
    } else {
      client.EndSending();
      EXPECT_TRUE(client.IsClosed());
    }
  }
}

TEST(Connection, ProtectsEveryAnswer) {
  Loopback loopback({.trusted_proxies = TrustedProxies({"127.0.0.1"})});
  for (const std::string& request :
       {"GET /static HTTP/1.1\r\n" + kHost, "GET /throw HTTP/1.1\r\n" + kHost, "GET /stream HTTP/1.1\r\n" + kHost,
        kPost, "PUT / HTTP/1.1\r\n" + kHost, std::string("GET / HTTP/1.1\r\nHost: evil\r\n"),
        std::string("GET //x HTTP/1.1\r\n X: y\r\n")}) {
    SCOPED_TRACE(request);
    const Answer answer = Client(loopback.port()).Ask(request + "X-Forwarded-Proto: https\r\n\r\n");
    for (const char* line : {"X-Content-Type-Options: nosniff", "Cross-Origin-Opener-Policy: same-origin",
                             "Cross-Origin-Resource-Policy: same-origin", "Referrer-Policy: same-origin"}) {
      EXPECT_TRUE(answer.Says(line)) << line;
    }
    EXPECT_NE(answer.head.find("\r\nContent-Security-Policy: default-src 'none';"), std::string::npos);
    EXPECT_NE(answer.head.find("\r\nX-Request-ID: "), std::string::npos);
    const bool read = request.find("\r\n X") == std::string::npos;
    EXPECT_EQ(answer.Says("Strict-Transport-Security: max-age=31536000"), read);
  }
  Client client(loopback.port());
  const Answer own = client.Get("/policy");
  EXPECT_TRUE(own.Says("content-security-policy: default-src 'self'"));
  EXPECT_EQ(own.head.find("'none'"), std::string::npos);
  EXPECT_EQ(own.head.find("Strict-Transport"), std::string::npos);
  EXPECT_NE(own.head.substr(own.head.find("X-Request-ID")),
            client.Get("/policy").head.substr(own.head.find("X-Request-ID")));
  const std::string given = "GET / HTTP/1.1\r\n" + kHost + "X-Request-ID: ";
  EXPECT_TRUE(client.Ask(given + "a-1.2\r\n\r\n").Says("X-Request-ID: a-1.2"));
  for (const auto& [id, taken] :
       {std::pair(std::string(100, 'i'), true), {std::string(101, 'i'), false}, {"a b", false}}) {
    EXPECT_EQ(client.Ask(given + id + "\r\n\r\n").Says("X-Request-ID: " + id), taken) << id;
  }
  // Nothing splits a header.
  const Answer split = client.Get("/split?x");
  EXPECT_TRUE(split.Says("Location: xaSet-Cookie: b<html>"));
  EXPECT_EQ(split.head.find("Worse"), std::string::npos);
  EXPECT_TRUE(split.body.starts_with("/split|x|"));
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
    const linger reset{1, 0};
    ::setsockopt(client.socket(), SOL_SOCKET, SO_LINGER, &reset, sizeof(reset));
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
