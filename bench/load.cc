// bench_load: keeps many connections busy with one request each and counts what comes back.
//
//   bench_load HOST PORT SECONDS CONNECTIONS PID < requests
//
// The standard input holds one request for each connection, each preceded by its length in bytes and a line feed; if
// there are fewer, they are dealt out again. Prints one line: requests per second, the processor microseconds that the
// process PID (or several, with commas) and its children spent per request, answers of 200 or 302, other answers.
//
//   bench_load --idle HOST PORT CONNECTIONS PID < requests
//
// Opens the connections one by one, each with one request, keeps them all open and prints the process's resident
// memory in KiB.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
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

namespace {

using SteadyClock = std::chrono::steady_clock;

[[noreturn]] void Die(const std::string& what) {
  std::perror(what.c_str());
  std::exit(1);
}

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

int Connect(const char* host, const char* port) {
  const int handle = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(std::atoi(port)));
  inet_pton(AF_INET, host, &address.sin_addr);
  if (handle < 0 || connect(handle, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) Die("connect");
  const int on = 1;
  setsockopt(handle, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  return handle;
}

// Whether `answer` holds a whole answer; gives its status.
bool IsWhole(std::string_view answer, int& status) {
  const std::size_t head = answer.find("\r\n\r\n");
  if (head == std::string_view::npos) return false;
  const std::size_t at = answer.find("Content-Length: ");
  const std::size_t length = at < head ? std::strtoul(std::string(answer.substr(at + 16, 12)).c_str(), nullptr, 10) : 0;
  status = std::atoi(std::string(answer.substr(9, 3)).c_str());
  return answer.size() >= head + 4 + length;
}

void Send(int handle, const std::string& request) {
  if (write(handle, request.data(), request.size()) != static_cast<ssize_t>(request.size())) Die("write");
}

int Load(const char* host, const char* port, double seconds, std::size_t connections, const std::string& pid) {
  const std::vector<std::string> requests = ReadRequests();
  struct Connection {
    int handle = -1;
    const std::string* request = nullptr;
    std::string answer;
  };
  std::vector<Connection> all(connections);
  const int poll = epoll_create1(0);
  for (std::size_t i = 0; i < connections; ++i) {
    all[i].handle = Connect(host, port);
    all[i].request = &requests[i % requests.size()];
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = i;
    epoll_ctl(poll, EPOLL_CTL_ADD, all[i].handle, &event);
  }
  const double processor = ProcessorTime(pid);
  const auto start = SteadyClock::now();
  const auto end = start + std::chrono::duration_cast<SteadyClock::duration>(std::chrono::duration<double>(seconds));
  for (Connection& connection : all) Send(connection.handle, *connection.request);
  long good = 0;
  long other = 0;
  std::size_t under_way = connections;
  std::vector<epoll_event> events(connections);
  std::vector<char> buffer(1 << 16);
  while (under_way > 0) {
    const int ready = epoll_wait(poll, events.data(), static_cast<int>(events.size()), 10000);
    if (ready <= 0) Die("no answer");
    for (int i = 0; i < ready; ++i) {
      Connection& connection = all[events[static_cast<std::size_t>(i)].data.u64];
      const ssize_t got = read(connection.handle, buffer.data(), buffer.size());
      if (got <= 0) Die("a connection was closed");
      connection.answer.append(buffer.data(), static_cast<std::size_t>(got));
      int status = 0;
      if (!IsWhole(connection.answer, status)) continue;
      ++(status == 200 || status == 302 ? good : other);
      connection.answer.clear();
      if (SteadyClock::now() < end) {
        Send(connection.handle, *connection.request);
      } else {
        --under_way;
      }
    }
  }
  const double taken = std::chrono::duration<double>(SteadyClock::now() - start).count();
  const double spent = ProcessorTime(pid) - processor;
  const double count = static_cast<double>(good + other);
  std::printf("%.0f %.1f %ld %ld\n", count / taken, spent / count, good, other);
  return 0;
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
  if (argc == 6) {
    return Load(argv[1], argv[2], std::strtod(argv[3], nullptr), std::strtoul(argv[4], nullptr, 10), argv[5]);
  }
  std::fprintf(stderr, "usage: bench_load HOST PORT SECONDS CONNECTIONS PID, or --idle HOST PORT CONNECTIONS PID\n");
  return 2;
}
