// What a visitor may take, each limit with its answer.
#include <sys/resource.h>

#include <deque>
#include <latch>

#include "tests/wire/loopback.h"

namespace surva::wire {
namespace {

using namespace std::chrono_literals;

const std::string kHost = "Host: localhost\r\n";

// Deadlines short enough to wait for, long enough for a busy machine.
ServerOptions ShortLimits() {
  ServerOptions options;
  options.limits.header = 300ms;
  options.limits.transfer = 300ms;
  options.limits.stall = 400ms;
  options.limits.idle = 300ms;
  options.limits.linger = 300ms;
  options.limits.tick = 20ms;
  options.limits.body_bytes = 10'000;
  return options;
}

TEST(Limits, RefuseWhatIsTooLong) {
  struct Case {
    std::string request;
    unsigned status;
  };
  const std::string get = "GET / HTTP/1.1\r\n" + kHost;
  const std::string post = "POST / HTTP/1.1\r\n" + kHost;
  const Case cases[] = {
      {get + "Cookie: a=" + std::string(15'000, 'c') + "\r\n\r\n", 200},
      {get + "Cookie: a=" + std::string(16'400, 'c') + "\r\n\r\n", 431},
      {get + "Cookie: a=" + std::string(100'000, 'c'), 431},
      {"GET /" + std::string(20'000, 'a') + " HTTP/1.1\r\n" + kHost + "\r\n", 431},
      {post + "Content-Length: 10000\r\n\r\n" + std::string(10'000, 'b'), 200},
      {post + "Content-Length: 10001\r\n\r\n", 413},
      // Told at once, not after leave to send it.
      {post + "Content-Length: 10001\r\nExpect: 100-continue\r\n\r\n", 413},
      {post + "Content-Length: 99999999999999999999999\r\n\r\n", 400},
      {post + "Transfer-Encoding: chunked\r\n\r\n1388\r\n" + std::string(5000, 'b') + "\r\n1389\r\n" +
           std::string(5001, 'b') + "\r\n0\r\n\r\n",
       413},
      {post + "Transfer-Encoding: chunked\r\n\r\n1;" + std::string(30'000, 'x'), 400},
  };
  ServerOptions options;
  options.limits.body_bytes = 10'000;
  Loopback loopback(std::move(options));
  for (const Case& tried : cases) {
    SCOPED_TRACE(tried.request.substr(0, 120));
    Client client(loopback.port());
    const Answer answer = client.Ask(tried.request);
    EXPECT_EQ(answer.status, tried.status);
    EXPECT_EQ(answer.Says("Connection: close"), tried.status != 200);
  }
}

TEST(Limits, OneDeadlineForTheWholeHeader) {
  ServerOptions options = ShortLimits();
  options.limits.header = 1s;
  options.limits.idle = 30s;
  Loopback loopback(std::move(options));
  Client client(loopback.port());
  client.Send("GET / HTTP/1.1\r\n");
  // Going on with it wins no time.
  Answer answer;
  {
    const std::jthread drip([&](const std::stop_token& stop) {
      while (!stop.stop_requested()) {
        client.Send("X: y\r\n");
        std::this_thread::sleep_for(20ms);
      }
    });
    answer = client.Read();
  }
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
  ServerOptions options = ShortLimits();
  options.limits.bytes_per_second = 200;
  options.limits.stall = 30s;
  Loopback loopback(std::move(options));
  const std::string head = "POST / HTTP/1.1\r\n" + kHost + "Content-Length: 10000\r\n\r\n";
  Client slow(loopback.port());
  slow.Send(head + "b");
  EXPECT_EQ(slow.Read().status, 408U);

  // Five times the head start in all, but at ten times the rate.
  Client steady(loopback.port());
  steady.Send(head);
  for (int i = 0; i < 15; ++i) {
    steady.Send(std::string(200, 'b'));
    std::this_thread::sleep_for(100ms);
  }
  steady.Send(std::string(7000, 'b'));
  EXPECT_EQ(steady.Read().status, 200U);
}

TEST(Limits, AnAnswerMustBeTaken) {
  ServerOptions options = ShortLimits();
  options.limits.stall = 1500ms;
  Loopback loopback(std::move(options));
  Client steady(loopback.port());
  steady.Send("GET /large HTTP/1.1\r\n" + kHost + "\r\n");
  std::this_thread::sleep_for(100ms);
  EXPECT_EQ(steady.Read().body.size(), 8U * 1024 * 1024);
  // What the sockets' buffers took at once does not buy a long pause.
  Client late(loopback.port());
  late.Send("GET /large HTTP/1.1\r\n" + kHost + "\r\n");
  std::this_thread::sleep_for(2500ms);
  EXPECT_LT(late.Read().body.size(), 8U * 1024 * 1024);
}

TEST(Limits, IdleConnectionsAreClosedInSilence) {
  Loopback loopback(ShortLimits());
  Client unused(loopback.port());
  Client used(loopback.port());
  EXPECT_EQ(used.Get("/").status, 200U);
  EXPECT_TRUE(used.IsClosed());
  EXPECT_TRUE(unused.IsClosed());
}

TEST(Limits, ConnectionsInAllAndPerAddress) {
  for (const auto& [in_all, per_address, status] : {std::tuple(2, 100, 503U), std::tuple(100, 2, 429U)}) {
    ServerOptions options;
    options.limits.connections = static_cast<std::size_t>(in_all);
    options.limits.connections_per_address = static_cast<std::size_t>(per_address);
    Loopback loopback(options);
    std::latch release(1);
    loopback.site.wait = [&] { release.wait(); };
    Client first(loopback.port());
    EXPECT_EQ(first.Get("/").status, 200U);
    Client busy(loopback.port());
    busy.Send("GET /worker HTTP/1.1\r\n" + kHost + "\r\n");
    // Whoever waits for nothing goes, also one who has begun a header that he does not end.
    Client second(loopback.port());
    EXPECT_EQ(second.Get("/").status, 200U);
    EXPECT_TRUE(first.IsClosed());
    second.Send("GET / HT");
    Client third(loopback.port());
    EXPECT_EQ(third.Get("/").status, 200U);
    EXPECT_TRUE(second.IsClosed());
    third.Send("GET /worker HTTP/1.1\r\n" + kHost + "\r\n");
    std::this_thread::sleep_for(50ms);
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

  ServerOptions options;
  options.limits.connections_per_address = 1;
  options.trusted_proxies = TrustedProxies({"127.0.0.0/8"});
  Loopback behind_proxy(std::move(options));
  Client first(behind_proxy.port());
  Client second(behind_proxy.port());
  EXPECT_EQ(first.Get("/").status, 200U);
  EXPECT_EQ(second.Get("/").status, 200U);
  EXPECT_EQ(first.Get("/").status, 200U);
}

TEST(Limits, BytesInFlightInAllAndPerAddress) {
  ServerOptions options;
  options.limits.body_bytes = 100'000;
  options.limits.bytes_in_flight = 1'000'000;
  options.trusted_proxies = TrustedProxies({"127.0.0.1"});
  Loopback loopback(std::move(options));
  const auto empty_again = [&loopback] {
    for (int i = 0; i < 100 && loopback.server().bytes_in_flight() > 0; ++i) std::this_thread::sleep_for(10ms);
    return loopback.server().bytes_in_flight() == 0;
  };
  const auto half_a_body = [](Client& client, const std::string& address) {
    client.Send("POST / HTTP/1.1\r\n" + kHost + "X-Forwarded-For: " + address + "\r\nContent-Length: 100000\r\n\r\n" +
                std::string(60'000, 'b'));
  };
  {
    // A told length alone costs nothing.
    std::deque<Client> tellers;
    for (int i = 0; i < 20; ++i) {
      tellers.emplace_back(loopback.port()).Send("POST / HTTP/1.1\r\n" + kHost + "Content-Length: 99999\r\n\r\n");
    }
    std::this_thread::sleep_for(50ms);
    EXPECT_LT(loopback.server().bytes_in_flight(), 20'000U);
    EXPECT_EQ(Client(loopback.port()).Get("/").status, 200U);
  }
  ASSERT_TRUE(empty_again());
  {
    std::deque<Client> clients;
    for (int i = 0; i < 20; ++i) half_a_body(clients.emplace_back(loopback.port()), "192.0.2.1");
    std::this_thread::sleep_for(100ms);
    EXPECT_LE(loopback.server().bytes_in_flight(), 250'000U);
    // One address has its share and no more; another has still room.
    Client same(loopback.port());
    half_a_body(same, "192.0.2.1");
    const Answer refused = same.Read();
    EXPECT_EQ(refused.status, 503U);
    EXPECT_TRUE(refused.Says("Retry-After: 2"));
    Client other(loopback.port());
    half_a_body(other, "192.0.2.2");
    EXPECT_EQ(other.Ask(std::string(40'000, 'b')).status, 200U);
    for (int i = 0; i < 100; ++i) half_a_body(clients.emplace_back(loopback.port()), "192.0.2." + std::to_string(i));
    std::this_thread::sleep_for(100ms);
    EXPECT_LE(loopback.server().bytes_in_flight(), 1'050'000U);  // the refusals are sent still
    EXPECT_GT(loopback.server().bytes_in_flight(), 700'000U);
  }
  EXPECT_TRUE(empty_again());
  {
    // Headers that do not end count as well.
    std::deque<Client> clients;
    for (int i = 0; i < 60; ++i) {
      clients.emplace_back(loopback.port()).Send("GET / HTTP/1.1\r\nX: " + std::string(8'000, 'x'));
    }
    EXPECT_EQ(clients.back().Read().status, 503U);
    EXPECT_LE(loopback.server().bytes_in_flight(), 1'050'000U);
  }
  EXPECT_TRUE(empty_again());
  {
    // A request that waits for the site keeps its bytes, though its sender has gone; answers count until they are read.
    std::latch release(1);
    loopback.site.wait = [&] { release.wait(); };
    Client(loopback.port())
        .Send("POST /worker HTTP/1.1\r\n" + kHost + "Content-Length: 50000\r\n\r\n" + std::string(50'000, 'b'));
    Client reader(loopback.port());
    reader.Send("GET /large HTTP/1.1\r\n" + kHost + "\r\n");
    std::this_thread::sleep_for(100ms);
    EXPECT_GT(loopback.server().bytes_in_flight(), 8'050'000U);
    EXPECT_EQ(Client(loopback.port()).Get("/").status, 503U);
    EXPECT_EQ(reader.Read().body.size(), 8U * 1024 * 1024);
    EXPECT_EQ(Client(loopback.port()).Get("/").status, 200U);
    release.count_down();
  }
  EXPECT_TRUE(empty_again());
}

TEST(Limits, RunningOutOfDescriptorsPassesBy) {
  Loopback loopback;
  Client client(loopback.port());
  EXPECT_EQ(client.Get("/").status, 200U);
  // The sanitizer wants a descriptor where an object is first called: the log, after an answer.
  EXPECT_EQ(client.Get("/").status, 200U);
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  // The next client takes the last descriptor that there is; the server finds none for its end.
  const int next = ::dup(0);
  ::close(next);
  rlimit low = limit;
  low.rlim_cur = static_cast<rlim_t>(next) + 1;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
  Client waiting(loopback.port());
  EXPECT_TRUE(waiting.connected());
  std::this_thread::sleep_for(100ms);
  EXPECT_EQ(client.Get("/").status, 200U);
  rusage before{};
  getrusage(RUSAGE_SELF, &before);
  std::this_thread::sleep_for(300ms);
  rusage after{};
  getrusage(RUSAGE_SELF, &after);
  EXPECT_LT(after.ru_utime.tv_usec + after.ru_stime.tv_usec +
                1'000'000 * (after.ru_utime.tv_sec + after.ru_stime.tv_sec) - before.ru_utime.tv_usec -
                before.ru_stime.tv_usec - 1'000'000 * (before.ru_utime.tv_sec + before.ru_stime.tv_sec),
            150'000);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_EQ(waiting.Get("/").status, 200U);
}

}  // namespace
}  // namespace surva::wire
