// bench_load: keeps many connections busy with one request each and counts what comes back.
//
//   bench_load HOST PORT SECONDS CONNECTIONS PID < requests
//
// The standard input holds one request for each connection, each preceded by its length in bytes and a line feed; if
// there are fewer, they are dealt out again. Prints one line: requests per second, the processor microseconds that the
// process PID (or several, with commas) and its children spent per request, answers of 200 or 302, other answers.
//
//   bench_load --first HOST PORT CONNECTIONS PID < enrolled
//
// Takes what "bench_pages enrol" has printed, logs on by each PIN, and then measures as above how each of these
// visitors accepts the form for the first time.
//
//   bench_load --idle HOST PORT CONNECTIONS PID < requests
//
// Opens the connections one by one, each with one request, keeps them all open and prints the process's resident
// memory in KiB.
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "bench/client.h"

namespace {

using namespace surva::bench;
using SteadyClock = std::chrono::steady_clock;

std::vector<std::string> ReadRequests() {
  std::vector<std::string> requests;
  std::size_t length = 0;
  while (std::cin >> length) {
    std::cin.get();
    std::string request(length, '\0');
    std::cin.read(request.data(), static_cast<std::streamsize>(length));
    requests.push_back(std::move(request));
  }
  if (requests.empty()) Die("no request on the standard input");
  return requests;
}

// User and system time of a process and its children still alive, in microseconds.
double ProcessorTime(const std::string& pid) {
  if (const std::size_t comma = pid.find(','); comma != std::string::npos) {
    return ProcessorTime(pid.substr(0, comma)) + ProcessorTime(pid.substr(comma + 1));
  }
  std::ifstream file("/proc/" + pid + "/stat");
  std::string text((std::istreambuf_iterator<char>(file)), {});
  const std::size_t at = text.rfind(')');
  if (at == std::string::npos) return 0;
  double user = 0;
  double system = 0;
  std::sscanf(text.c_str() + at + 1, " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lf %lf", &user, &system);
  double sum = (user + system) * 1e6 / static_cast<double>(sysconf(_SC_CLK_TCK));
  std::ifstream children("/proc/" + pid + "/task/" + pid + "/children");
  std::string child;
  while (children >> child) sum += ProcessorTime(child);
  return sum;
}

long ResidentKiB(const std::string& pid) {
  std::ifstream file("/proc/" + pid + "/status");
  std::string line;
  while (std::getline(file, line)) {
    if (line.starts_with("VmRSS:")) return std::strtol(line.c_str() + 6, nullptr, 10);
  }
  return 0;
}

struct Outcome {
  double seconds = 0;
  double processor = 0;  // microseconds
  long good = 0;
  long other = 0;
  std::vector<std::string> cookies;  // in the order of their coming
};

// Sends what `next` gives, on whatever connection has its answer; null ends it.
template <class Next>
Outcome Drive(const char* host, const char* port, std::size_t connections, const std::string& pid, Next next) {
  std::vector<int> handles;
  std::vector<std::string> answers(connections);
  const int poll = ConnectAll(host, port, connections, handles);
  Outcome outcome;
  const double processor = ProcessorTime(pid);
  const auto start = SteadyClock::now();
  std::size_t under_way = 0;
  const auto send = [&](std::size_t at) {
    const std::string* request = next(at);
    if (request == nullptr) return;
    Send(handles[at], *request);
    ++under_way;
  };
  for (std::size_t i = 0; i < connections; ++i) send(i);
  std::vector<epoll_event> events(connections);
  std::vector<char> buffer(1 << 16);
  while (under_way > 0) {
    const int ready = epoll_wait(poll, events.data(), static_cast<int>(events.size()), 10000);
    if (ready <= 0) Die("no answer");
    for (int i = 0; i < ready; ++i) {
      const std::size_t at = events[static_cast<std::size_t>(i)].data.u64;
      std::string& answer = answers[at];
      const ssize_t got = read(handles[at], buffer.data(), buffer.size());
      if (got <= 0) Die("a connection was closed");
      answer.append(buffer.data(), static_cast<std::size_t>(got));
      int status = 0;
      if (!IsWhole(answer, status)) continue;
      ++(status == 200 || status == 302 ? outcome.good : outcome.other);
      if (const std::string cookie = CookieOf(answer); !cookie.empty()) outcome.cookies.push_back(cookie);
      answer.clear();
      --under_way;
      send(at);
    }
  }
  outcome.seconds = std::chrono::duration<double>(SteadyClock::now() - start).count();
  outcome.processor = ProcessorTime(pid) - processor;
  for (const int handle : handles) close(handle);
  close(poll);
  return outcome;
}

int Tell(const Outcome& outcome) {
  const double count = static_cast<double>(outcome.good + outcome.other);
  std::printf("%.0f %.1f %ld %ld\n", count / outcome.seconds, outcome.processor / count, outcome.good, outcome.other);
  return 0;
}

int Load(const char* host, const char* port, double seconds, std::size_t connections, const std::string& pid) {
  const std::vector<std::string> requests = ReadRequests();
  const auto end =
      SteadyClock::now() + std::chrono::duration_cast<SteadyClock::duration>(std::chrono::duration<double>(seconds));
  return Tell(Drive(host, port, connections, pid, [&](std::size_t connection) {
    return SteadyClock::now() < end ? &requests[connection % requests.size()] : nullptr;
  }));
}

int First(const char* host, const char* port, std::size_t connections, const std::string& pid) {
  std::vector<std::string> requests;
  std::size_t sent = 0;
  const auto each_once = [&](std::size_t) { return sent < requests.size() ? &requests[sent++] : nullptr; };
  const auto add = [&requests](const std::string& cookie, const std::string& body) {
    requests.push_back(
        "POST /surva.asp HTTP/1.1\r\nHost: 127.0.0.1\r\n" + (cookie.empty() ? cookie : "Cookie: " + cookie + "\r\n") +
        "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: " + std::to_string(body.size()) +
        "\r\n\r\n" + body);
  };
  std::vector<std::string> lines;
  for (std::string line; std::getline(std::cin, line);) lines.push_back(line);
  if (lines.size() < 3) Die("no PINs");
  for (std::size_t i = 0; i + 2 < lines.size(); ++i) add({}, "PIN=" + lines[i]);
  const std::vector<std::string> cookies = Drive(host, port, connections, pid, each_once).cookies;
  if (cookies.size() != requests.size()) Die("a PIN was refused");
  requests.clear();
  for (const std::string& cookie : cookies) add(cookie, lines.back());
  sent = 0;
  return Tell(Drive(host, port, connections, pid, each_once));
}

int Idle(const char* host, const char* port, std::size_t connections, const std::string& pid) {
  rlimit files{};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
  const std::vector<std::string> requests = ReadRequests();
  std::vector<char> buffer(1 << 16);
  for (std::size_t i = 0; i < connections; ++i) {
    const int handle = Connect(host, port);
    Send(handle, requests[i % requests.size()]);
    std::string answer;
    int status = 0;
    while (!IsWhole(answer, status)) {
      const ssize_t got = read(handle, buffer.data(), buffer.size());
      if (got <= 0) Die("a connection was closed");
      answer.append(buffer.data(), static_cast<std::size_t>(got));
    }
    if (status != 200) Die("an answer of " + std::to_string(status));
  }
  std::printf("%ld\n", ResidentKiB(pid));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 6 && std::string_view(argv[1]) == "--idle") {
    return Idle(argv[2], argv[3], std::strtoul(argv[4], nullptr, 10), argv[5]);
  }
  if (argc == 6 && std::string_view(argv[1]) == "--first") {
    return First(argv[2], argv[3], std::strtoul(argv[4], nullptr, 10), argv[5]);
  }
  if (argc == 6) {
    return Load(argv[1], argv[2], std::strtod(argv[3], nullptr), std::strtoul(argv[4], nullptr, 10), argv[5]);
  }
  std::fprintf(stderr,
               "usage: bench_load HOST PORT SECONDS CONNECTIONS PID, or --first or --idle HOST PORT CONNECTIONS PID\n");
  return 2;
}
