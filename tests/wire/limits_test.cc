// What a visitor may take of the server's time, sockets and memory, each limit with its answer.
#include <sys/resource.h>

#include <ctime>
#include <deque>
#include <latch>

#include "tests/wire/loopback.h"

namespace surva::wire {
namespace {

// Deadlines short enough to wait for, long enough for a busy machine.
Limits ShortLimits() {
  return {
      .body_bytes = 10'000, .header = 1s, .transfer = 500ms, .stall = 30s, .idle = 30s, .linger = 300ms, .tick = 20ms};
}

TEST(Limits, OneDeadlineForTheWholeHeader) {
  Loopback loopback({.limits = ShortLimits()});
  Client client(loopback.port());
  client.Send("GET / HTTP/1.1\r\n");
  // Going on with it wins no time.
  while (client.stream().socket().available() == 0) {
    client.Send("X: y\r\n");
    std::this_thread::sleep_for(20ms);
  }
  const Answer answer = client.Read();
  EXPECT_EQ(answer.status, 408U);
  EXPECT_TRUE(answer.Says("Connection: close"));

  // The second header has its own, which does not begin before its first byte.
  Client second(loopback.port());
  EXPECT_EQ(second.Get("/").status, 200U);
  std::this_thread::sleep_for(1100ms);
  second.Send("GET / HT");
  std::this_thread::sleep_for(50ms);
  EXPECT_EQ(second.Ask("TP/1.1\r\n" + kHost + "\r\n").status, 200U);
}

TEST(Limits, ABodyMustComeAtARate) {
  Limits limits = ShortLimits();
  limits.bytes_per_second = 200;
  Loopback loopback({.limits = limits});
  const std::string head = "POST / HTTP/1.1\r\n" + kHost + "Content-Length: 10000\r\n\r\n";
  EXPECT_EQ(Client(loopback.port()).Ask(head + "b").status, 408U);
  // Three times the head start in all, but at far more than the rate.
  Client steady(loopback.port());
  steady.Send(head + std::string(1000, 'b'));
  for (int i = 0; i < 15; ++i) {
    std::this_thread::sleep_for(100ms);
    steady.Send(std::string(600, 'b'));
  }
  EXPECT_EQ(steady.Read().status, 200U);
}

TEST(Limits, AnAnswerMustBeTaken) {
  Limits limits = ShortLimits();
  limits.stall = 2s;
  Loopback loopback({.limits = limits});
  loopback.site.pieces.assign(64, std::string(1024 * 1024, 's'));
  const std::pair<const char*, std::size_t> answers[] = {{"/large", 8U * 1024 * 1024}, {"/stream", 64U * 1024 * 1024}};
  for (const auto& [target, size] : answers) {
    Client steady(loopback.port());
    steady.Begin(target);
    std::this_thread::sleep_for(300ms);
    // Of a stream what the sockets' buffers hold is made, and little more.
    EXPECT_LT(loopback.site.written.exchange(0), 16U * 1024 * 1024);
    EXPECT_EQ(steady.Read().body.size(), size);
  }
  loopback.site.written = 0;
  // What the sockets' buffers took at once does not buy a long pause; a stream's writer is let go.
  std::deque<Client> late;
  for (const auto& [target, size] : answers) late.emplace_back(loopback.port()).Begin(target);
  std::this_thread::sleep_for(4s);
  for (Client& client : late) EXPECT_FALSE(client.Read().whole);
  EXPECT_LT(loopback.site.written, 16U * 1024 * 1024);
}

TEST(Limits, IdleConnectionsAreClosedInSilence) {
  Loopback loopback({.limits = {.header = 2s, .idle = 1s, .tick = 20ms}});
  Client unused(loopback.port());
  Client used(loopback.port());
  EXPECT_EQ(used.Get("/").status, 200U);
  EXPECT_TRUE(used.IsClosed());
  EXPECT_TRUE(unused.IsClosed());
}

TEST(Limits, ConnectionsInAllAndPerAddress) {
  for (const auto& [in_all, per_address, status] : {std::tuple(2U, 100U, 503U), std::tuple(100U, 2U, 429U)}) {
    Loopback loopback({.limits = {.connections = in_all, .connections_per_address = per_address}});
    std::latch release(1);
    loopback.site.wait = [&] { release.wait(); };
    Client first(loopback.port());
    EXPECT_EQ(first.Get("/").status, 200U);
    Client busy(loopback.port());
    busy.Begin("/worker");
    loopback.AwaitAsked(1);
    // Whoever waits for nothing goes, also one who has begun a header that he does not end.
    Client second(loopback.port());
    EXPECT_EQ(second.Get("/").status, 200U);
    EXPECT_TRUE(first.IsClosed());
    second.Send("GET / HT");
    Client third(loopback.port());
    EXPECT_EQ(third.Get("/").status, 200U);
    EXPECT_TRUE(second.IsClosed());
    third.Begin("/worker");
    loopback.AwaitAsked(2);
    Client refused(loopback.port());
    const Answer answer = refused.Get("/");
    EXPECT_EQ(answer.status, status);
    EXPECT_TRUE(answer.Says("Retry-After: 5"));
    EXPECT_TRUE(refused.IsClosed());
    release.count_down();
    EXPECT_EQ(busy.Read().status, 200U);
    EXPECT_EQ(third.Read().status, 200U);
    EXPECT_EQ(Client(loopback.port()).Get("/").status, 200U);
  }
  // A proxy brings many.
  Loopback proxied({.trusted_proxies = TrustedProxies({"127.0.0.0/8"}), .limits = {.connections_per_address = 1}});
  Client first(proxied.port());
  Client second(proxied.port());
  for (Client* client : {&first, &second, &first}) EXPECT_EQ(client->Get("/").status, 200U);
}

TEST(Limits, BytesInFlightInAllAndPerAddress) {
  Loopback loopback({.trusted_proxies = TrustedProxies({"127.0.0.1"}),
                     .limits = {.body_bytes = 100'000, .bytes_in_flight = 1'000'000}});
  const auto used = [&] { return loopback.server.bytes_in_flight(); };
  std::deque<Client> clients;
  const auto half_a_body = [&](const std::string& address) -> Client& {
    Client& client = clients.emplace_back(loopback.port());
    client.Send("POST / HTTP/1.1\r\n" + kHost + "X-Forwarded-For: " + address + "\r\nContent-Length: 100000\r\n\r\n" +
                std::string(60'000, 'b'));
    return client;
  };
  // A told length alone costs nothing.
  for (int i = 0; i < 20; ++i) {
    clients.emplace_back(loopback.port()).Send("POST / HTTP/1.1\r\n" + kHost + "Content-Length: 99999\r\n\r\n");
  }
  EXPECT_EQ(Client(loopback.port()).Get("/").status, 200U);
  EXPECT_LT(used(), 20'000U);
  clients.clear();
  ASSERT_TRUE(loopback.HoldsNothing());

  // One address has its share and no more; another has still room.
  for (int i = 0; i < 20; ++i) half_a_body("192.0.2.1");
  EXPECT_TRUE(test::Becomes([&] { return used() > 190'000U; }));
  const Answer refused = half_a_body("192.0.2.1").Read();
  EXPECT_EQ(refused.status, 503U);
  EXPECT_TRUE(refused.Says("Retry-After: 2"));
  EXPECT_LE(used(), 250'000U);
  EXPECT_EQ(half_a_body("192.0.2.2").Ask(std::string(40'000, 'b')).status, 200U);
  for (int i = 0; i < 100; ++i) half_a_body("192.0.2." + std::to_string(i));
  EXPECT_TRUE(test::Becomes([&] { return used() > 900'000U; }));
  std::this_thread::sleep_for(100ms);
  EXPECT_LE(used(), 1'050'000U);  // the refusals are sent still
  clients.clear();
  ASSERT_TRUE(loopback.HoldsNothing());

  // Headers that do not end count as well.
  for (int i = 0; i < 60; ++i) {
    clients.emplace_back(loopback.port()).Send("GET / HTTP/1.1\r\nX: " + std::string(8'000, 'x'));
    if (i == 50) {
      EXPECT_TRUE(test::Becomes([&] { return used() > 220'000U; }));
    }
  }
  EXPECT_EQ(clients.back().Read().status, 503U);
  clients.clear();
  ASSERT_TRUE(loopback.HoldsNothing());

  // A request that waits for the site keeps its bytes, though its sender has gone; answers count until they are read.
  std::latch release(1);
  loopback.site.wait = [&] { release.wait(); };
  Client(loopback.port())
      .Send("POST /worker HTTP/1.1\r\n" + kHost + "Content-Length: 50000\r\n\r\n" + std::string(50'000, 'b'));
  Client reader(loopback.port());
  reader.Begin("/large");
  EXPECT_TRUE(test::Becomes([&] { return used() > 8'050'000U; }));
  EXPECT_EQ(Client(loopback.port()).Get("/").status, 503U);
  EXPECT_EQ(reader.Read().body.size(), 8U * 1024 * 1024);
  EXPECT_EQ(Client(loopback.port()).Get("/").status, 200U);
  release.count_down();
  EXPECT_TRUE(loopback.HoldsNothing());
}

TEST(Limits, RunningOutOfDescriptorsPassesBy) {
  Loopback loopback;
  Client client(loopback.port());
  // The sanitizer wants a descriptor where an object is first called: the log, after an answer and with an error.
  for (int i = 0; i < 2; ++i) EXPECT_EQ(client.Get("/").status, 200U);
  loopback.log.Error("");
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  // The next client takes the last descriptor that there is; the server finds none for its end.
  const int next = ::dup(0);
  ::close(next);
  rlimit low = limit;
  low.rlim_cur = static_cast<rlim_t>(next) + 1;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
  Client waiting(loopback.port());
  EXPECT_TRUE(waiting.stream());
  // It does not ask for one all the time.
  const std::clock_t before = std::clock();
  std::this_thread::sleep_for(400ms);
  EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 5);
  EXPECT_EQ(client.Get("/").status, 200U);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_EQ(waiting.Get("/").status, 200U);
}

}  // namespace
}  // namespace surva::wire
