// What is read out of a request, what is answered to it, and whether its connection goes on, as files of cases.
#include "tests/support/recorded.h"
#include "tests/wire/loopback.h"
#include "wire/host_names.h"
#include "wire/proxy.h"
#include "wire/request_target.h"

namespace surva::wire {
namespace {

const std::string kEnd = "\r\n\r\n";

boost::asio::ip::address Address(const std::string& text) {
  return boost::asio::ip::make_address(text);
}

TEST(Requests, Cases) {
  const auto target = [](const std::string& text) {
    const auto read = ReadTarget(text);
    return read ? read->path + " query " + std::string(read->query) + " host " + std::string(read->authority) : "none";
  };
  const auto network = [](const std::string& address) {
    std::string hex;
    for (const unsigned char byte : NetworkOf(Address(address))) hex += std::to_string(byte) + ".";
    return hex;
  };
  const TrustedProxies known({"10.2.0.0/15", "192.0.2.7", "fd00::/8", "2001:db8::5"});
  const TrustedProxies tens({"10.0.0.0/8"});
  const auto forwarded = [&](const std::vector<std::string>& words) {
    Visitor visitor{Address("10.0.0.1"), "inner", false};
    tens.Correct(visitor, words.at(0), words.at(1), words.at(2));
    return AddressText(visitor.address) + " to " + visitor.host + (visitor.https ? " over TLS" : "");
  };
  const auto made = [](const auto&) { return std::string("taken"); };
  test::PlayCases(
      "tests/wire/requests.cases",
      {.each = {{"target", target},
                {"host", [](const auto& text) { return ReadHost(text).value_or("none"); }},
                {"network", network},
                {"trusted", [&](const auto& text) { return known.Contains(Address(text)) ? "yes" : "no"; }},
                {"range", [&](const auto& text) { return made(TrustedProxies({text})); }},
                {"name-of-any", [](const auto& text) { return HostNames({}, false).Contain(text) ? "yes" : "no"; }},
                {"name", [&](const auto& text) { return made(HostNames({text}, false)); }}},
       .lines = {{"forwarded", forwarded}}});
}

// Sends bytes and tells what comes, and whether the connection serves another request.
std::string Exchange(const Loopback& loopback, const std::string& bytes) {
  Client client(loopback.port());
  const Answer answer = client.Ask(bytes);
  std::string told = std::to_string(answer.status);
  if (answer.status == 200) told += " " + answer.body.substr(0, 60) + (answer.body.size() > 60 ? "..." : "");
  if (answer.Says("Allow: GET, HEAD, POST")) told += ", GET, HEAD and POST are allowed";
  if (answer.Says("Connection: keep-alive")) told += ", keeps the connection";
  if (!answer.Says("Connection: close")) return told + (client.Get("/next").status == 200 ? "" : ", and no more");
  client.EndSending();
  return told + (client.IsClosed() ? ", closes" : ", should close");
}

// The whole head of an answer in one line, without what changes from one to the next.
std::string Head(const Loopback& loopback, const std::string& bytes) {
  std::string head = Client(loopback.port()).Ask(bytes).head;
  for (const char* field : {"\r\nDate: ", "\r\nContent-Length: ", "\r\nX-Request-ID: "}) {
    const std::size_t at = head.find(field);
    if (at != std::string::npos) head.erase(at + std::strlen(field), head.find('\r', at + 2) - at - std::strlen(field));
  }
  for (std::size_t at = 0; (at = head.find("\r\n")) != std::string::npos;) head.replace(at, 2, "; ");
  return head;
}

TEST(Exchanges, Cases) {
  const Loopback own({.limits = {.body_bytes = 10'000}});
  const Loopback named(
      {.trusted_proxies = TrustedProxies({"127.0.0.1"}), .host_names = {"Survey.example", "localhost"}});
  const std::string post = "POST /p HTTP/1.1\r\n" + kHost;
  const auto asked = [](const std::string& what) { return what + " HTTP/1.1\r\n" + kHost; };
  const auto host = [](const Loopback& loopback) {
    return
        [&loopback](const std::string& name) { return Exchange(loopback, "GET / HTTP/1.1\r\nHost: " + name + kEnd); };
  };
  const auto takes_id = [&](const Loopback& loopback) {
    return [&](const std::string& id) {
      const Answer answer = Client(loopback.port()).Ask(asked("GET /") + "X-Request-ID: " + id + kEnd);
      return answer.Says("X-Request-ID: " + id) ? "taken" : "another";
    };
  };
  test::PlayCases(
      "tests/wire/exchanges.cases",
      {.each = {{"raw", [&](const auto& bytes) { return Exchange(own, bytes); }},
                {"ask", [&](const auto& what) { return Exchange(own, asked(what) + "\r\n"); }},
                {"get", [&](const auto& fields) { return Exchange(own, "GET /facts HTTP/1.1\r\n" + fields + kEnd); }},
                {"post", [&](const auto& rest) { return Exchange(own, post + rest); }},
                {"chunked",
                 [&](const auto& rest) { return Exchange(own, post + "Transfer-Encoding: chunked" + kEnd + rest); }},
                {"host", host(own)},
                {"named-host", host(named)},
                {"head", [&](const auto& what) { return Head(own, asked(what) + "\r\n"); }},
                {"head-over-tls",
                 [&](const auto& what) {
                   return Head(named,
                               "GET " + what + " HTTP/1.1\r\nHost: survey.example\r\nX-Forwarded-Proto: https" + kEnd);
                 }},
                {"id", takes_id(named)},
                {"strangers-id", takes_id(own)}}});
  Client client(own.port());
  const auto id = [&] {
    const std::string head = client.Get("/").head;
    return head.substr(head.find("X-Request-ID: "), 20);
  };
  EXPECT_NE(id(), id());
}

}  // namespace
}  // namespace surva::wire
