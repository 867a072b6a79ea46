// bench_class: a class that begins at the same moment.
//
//   bench_class HOST PORT SURVA [VISITORS] [SECONDS] [SPREAD]
//
// Every half second 400 of the visitors ask for their next page within SPREAD milliseconds (100): the PIN page, the
// form by the public link of SURVA, its acceptance. Prints for each page how many were asked for, how many were not
// answered well, and how long the answers took from the moment at which each was due; then by how much this program
// itself was late in asking (p99).

#include <algorithm>
#include <array>
#include <chrono>
#include <map>
#include <thread>
#include <vector>

#include "bench/client.h"

namespace {

using namespace surva::bench;
using SteadyClock = std::chrono::steady_clock;
using Time = SteadyClock::time_point;

constexpr int kBurst = 400;
constexpr std::chrono::milliseconds kEvery{500};
constexpr std::array<const char*, 3> kPages = {"PIN page", "form", "acceptance"};

double Milliseconds(SteadyClock::duration time) {
  return std::chrono::duration<double, std::milli>(time).count();
}

struct Figures {
  std::vector<double> times;
  std::map<int, int> bad;  // by status
};

struct Visitor {
  int handle = -1;
  std::size_t step = 0;
  bool busy = false;
  Time due;
  std::string cookie;
  std::string fields;  // of the form, filled in
  std::string answer;
};

class Class {
 public:
  Class(const char* host, const char* port, std::string surva, std::size_t visitors)
      : surva_(std::move(surva)), crowd_(visitors) {
    std::vector<int> handles;
    poll_ = ConnectAll(host, port, visitors, handles);
    for (std::size_t i = 0; i < visitors; ++i) crowd_[i].handle = handles[i];
  }

  void Ask(Visitor& visitor, Time due) {
    std::string body;
    if (visitor.step == 2) body = "FormAccepted=" + surva_ + visitor.fields;
    std::string request = visitor.step == 2 ? "POST" : "GET";
    request += visitor.step == 1 ? " /surva.asp?version=" + surva_ : " /surva.asp";
    request += " HTTP/1.1\r\nHost: 127.0.0.1\r\n";
    if (!visitor.cookie.empty()) request += "Cookie: " + visitor.cookie + "\r\n";
    if (visitor.step == 2) {
      request +=
          "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: " + std::to_string(body.size()) + "\r\n";
    }
    visitor.busy = true;
    visitor.due = due;
    late_.push_back(Milliseconds(SteadyClock::now() - due));
    ++under_way_;
    Send(visitor.handle, request + "\r\n" + body);
  }

  // Takes in what has come until then, or until nothing is under way any more.
  void Read(Time until) {
    std::array<epoll_event, 64> events{};
    std::array<char, 1 << 16> buffer{};
    while (under_way_ > 0) {
      const auto left = std::min<SteadyClock::duration>(until - SteadyClock::now(), std::chrono::seconds(10));
      const auto micro = std::chrono::duration_cast<std::chrono::microseconds>(left).count();
      if (micro <= 0) return;
      const timespec wait{micro / 1'000'000, micro % 1'000'000 * 1000};
      const int ready = epoll_pwait2(poll_, events.data(), events.size(), &wait, nullptr);
      for (int i = 0; i < ready; ++i) {
        Visitor& visitor = crowd_[events[static_cast<std::size_t>(i)].data.u64];
        const ssize_t got = read(visitor.handle, buffer.data(), buffer.size());
        if (got <= 0) Die("a connection was closed");
        visitor.answer.append(buffer.data(), static_cast<std::size_t>(got));
        int status = 0;
        if (IsWhole(visitor.answer, status)) Take(visitor, status);
      }
    }
  }

  void Forget() {
    for (Figures& page : figures_) page = {};
    late_.clear();
  }

  void Tell() {
    const auto at = [](std::vector<double>& times, double share) {
      std::sort(times.begin(), times.end());
      return times.empty() ? 0 : times[static_cast<std::size_t>(static_cast<double>(times.size() - 1) * share)];
    };
    for (std::size_t step = 0; step < kPages.size(); ++step) {
      auto& [times, bad] = figures_[step];
      std::string others;
      for (const auto& [status, count] : bad) others += std::to_string(count) + " x " + std::to_string(status) + " ";
      std::printf("%-10s %5zu asked for, not answered well: %s; ms: half %6.1f, p99 %6.1f, longest %6.1f\n",
                  kPages[step], times.size(), others.empty() ? "none" : others.c_str(), at(times, 0.5), at(times, 0.99),
                  at(times, 1));
    }
    std::printf("asked late by: half %.1f, p99 %.1f ms\n", at(late_, 0.5), at(late_, 0.99));
  }

  std::size_t size() const { return crowd_.size(); }
  Visitor& operator[](std::size_t i) { return crowd_[i]; }

 private:
  void Take(Visitor& visitor, int status) {
    --under_way_;
    visitor.busy = false;
    Figures& page = figures_[visitor.step];
    page.times.push_back(Milliseconds(SteadyClock::now() - visitor.due));
    if (status != 200 && !(visitor.step == 2 && status == 302)) ++page.bad[status];
    if (std::string cookie = CookieOf(visitor.answer); !cookie.empty()) visitor.cookie = std::move(cookie);
    if (visitor.step == 1) Fill(visitor);
    visitor.step = (visitor.step + 1) % kPages.size();
    visitor.answer.clear();
  }

  // A sentence in each field of text.
  static void Fill(Visitor& visitor) {
    visitor.fields.clear();
    constexpr std::string_view kName = " name=\"";
    for (std::size_t at = 0; (at = visitor.answer.find("<textarea", at)) != std::string::npos; ++at) {
      const std::size_t name = visitor.answer.find(kName, at) + kName.size();
      const std::size_t end = visitor.answer.find('"', name);
      visitor.fields += "&" + visitor.answer.substr(name, end - name) + "=fine+fine+fine+fine";
    }
  }

  const std::string surva_;
  int poll_ = -1;
  std::vector<Visitor> crowd_;
  std::size_t under_way_ = 0;
  std::array<Figures, 3> figures_;
  std::vector<double> late_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: bench_class HOST PORT SURVA [VISITORS] [SECONDS] [SPREAD]\n");
    return 2;
  }
  const auto number = [&](int place, int otherwise) { return argc > place ? std::atoi(argv[place]) : otherwise; };
  Class crowd(argv[1], argv[2], argv[3], static_cast<std::size_t>(number(4, 500)));
  const int bursts = number(5, 12) * 2;
  const std::chrono::microseconds spread{number(6, 100) * 1000};
  for (std::size_t i = 0; i < crowd.size(); ++i) {
    crowd.Ask(crowd[i], SteadyClock::now());
    if (i % 25 == 24) crowd.Read(Time::max());
  }
  crowd.Read(Time::max());
  crowd.Forget();
  const Time begin = SteadyClock::now();
  std::size_t next = 0;
  for (int i = 0; i < bursts * kBurst; ++i) {
    const Time due = begin + i / kBurst * kEvery + i % kBurst * spread / kBurst;
    crowd.Read(due);
    std::this_thread::sleep_until(due);
    Visitor& visitor = crowd[next++ % crowd.size()];
    if (!visitor.busy) crowd.Ask(visitor, due);
  }
  crowd.Read(SteadyClock::now() + std::chrono::seconds(10));
  crowd.Tell();
  return 0;
}
