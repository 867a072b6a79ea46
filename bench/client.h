// What the load programs share: connections to a server on this machine, and answers as they come in.
#pragma once

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace surva::bench {

[[noreturn]] inline void Die(const std::string& what) {
  std::perror(what.c_str());
  std::exit(1);
}

inline int Connect(const char* host, const char* port) {
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

// Connections that the returned epoll tells of by their numbers in `handles`.
inline int ConnectAll(const char* host, const char* port, std::size_t count, std::vector<int>& handles) {
  const int poll = epoll_create1(0);
  for (std::size_t i = 0; i < count; ++i) {
    handles.push_back(Connect(host, port));
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = i;
    epoll_ctl(poll, EPOLL_CTL_ADD, handles.back(), &event);
  }
  return poll;
}

inline void Send(int handle, const std::string& request) {
  if (write(handle, request.data(), request.size()) != static_cast<ssize_t>(request.size())) Die("write");
}

// Whether `answer` holds a whole answer; gives its status.
inline bool IsWhole(std::string_view answer, int& status) {
  const std::size_t head = answer.find("\r\n\r\n");
  if (head == std::string_view::npos) return false;
  const std::size_t at = answer.find("Content-Length: ");
  const std::size_t length = at < head ? std::strtoul(std::string(answer.substr(at + 16, 12)).c_str(), nullptr, 10) : 0;
  status = std::atoi(std::string(answer.substr(9, 3)).c_str());
  return answer.size() >= head + 4 + length;
}

// The cookie that an answer sets, without its attributes; empty if there is none.
inline std::string CookieOf(const std::string& answer) {
  constexpr std::string_view kHeader = "Set-Cookie: ";
  const std::size_t at = answer.find(kHeader);
  if (at == std::string::npos) return {};
  const std::size_t begin = at + kHeader.size();
  return answer.substr(begin, answer.find(';', begin) - begin);
}

}  // namespace surva::bench
