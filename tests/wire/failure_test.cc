// Every allocation of the I/O thread fails once: what it was for is lost, and the server goes on.
#include <cstdlib>
#include <deque>
#include <new>

#include "tests/wire/loopback.h"

namespace {

// Allocations of this thread until one fails; none fails at 0.
thread_local int until_failure = 0;

}  // namespace

// Not inlined: GCC 12 takes one that is for a mismatched pair.
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (until_failure > 0 && --until_failure == 0) throw std::bad_alloc();
  if (void* const memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace surva::wire {
namespace {

TEST(Failure, OfAnyAllocationPassesBy) {
  Loopback loopback({.limits = {.header = 200ms, .tick = 10ms}});
  // On the thread that handles requests.
  loopback.site.behind = [](const HttpRequest& request) {
    if (request.path == "/fail") until_failure = std::atoi(request.query.c_str());
  };
  loopback.site.pieces.assign(20, std::string(10'000, 'x'));
  int failed = 0;
  // Kept open, so that none takes the place, and the memory, of one before it.
  std::deque<Client> clients;
  for (int n = 1; n <= 120; ++n) {
    SCOPED_TRACE(n);
    clients.emplace_back(loopback.port()).Get("/fail?" + std::to_string(n));
    // Some of these fail, and none leaves its visitor waiting.
    for (const char* target : {"/a", "/worker", "/stream", "/throw", "/drop", "//"}) {
      Client& client = clients.emplace_back(loopback.port());
      const Answer answer = client.Get(target);
      if (answer.status == 0 || !answer.whole) ++failed;
      ASSERT_TRUE(answer.whole || client.error() != boost::asio::error::timed_out) << target;
    }
    Client(loopback.port()).Get("/fail?0");
  }
  EXPECT_GT(failed, 20);
  // The listener hears, deadlines are kept, and nothing is left behind.
  EXPECT_TRUE(Client(loopback.port()).IsClosed());
  EXPECT_EQ(Client(loopback.port()).Get("/worker").status, 200U);
  EXPECT_TRUE(loopback.HoldsNothing());
}

}  // namespace
}  // namespace surva::wire
