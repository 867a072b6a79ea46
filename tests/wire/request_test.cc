// What is read out of a request: its target, its host, what a proxy says of it.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/wire/loopback.h"
#include "wire/proxy.h"
#include "wire/request_target.h"

namespace surva::wire {
namespace {

TEST(RequestTarget, IsTakenInOneFormOnly) {
  struct Case {
    std::string_view target, path, query, authority;
  };
  const Case cases[] = {
      {"/", "/", "", ""},
      {"/a/b.asp?x=%zz&y=../%2e//\\", "/a/b.asp", "x=%zz&y=../%2e//\\", ""},
      {"/a%20c%e9..", "/a c\xe9..", "", ""},
      {"http://Host:80/a?b", "/a", "b", "Host:80"},
      {"HTTPS://host", "/", "", "host"},
      {"http://host?b", "/", "b", "host"},
  };
  for (const Case& tried : cases) {
    SCOPED_TRACE(tried.target);
    const auto target = ReadTarget(tried.target);
    ASSERT_TRUE(target);
    EXPECT_EQ(target->path, tried.path);
    EXPECT_EQ(target->query, tried.query);
    EXPECT_EQ(target->authority, tried.authority);
  }
  for (const std::string_view refused : {"", "/\t", "/?a\x01"}) EXPECT_FALSE(ReadTarget(refused)) << refused;
  std::istringstream more(
      "* a /% /%4 /%4g /%-1 /%00 /%0a /%7f ftp://host/ http:// http:///a host:80 /.. /a/../b /a/./b /.well // "
      "//admin/default.asp /a//b /a\\b /#/../admin/default.asp /a#b /a?b#c /%2e%2E/admin /admin%2fdefault.asp "
      "/admin%5Cdefault.asp /%61dmin/default.asp /admin/default%2easp http://host//a http://host/#/../admin");
  for (std::string refused; more >> refused;) EXPECT_FALSE(ReadTarget(refused)) << refused;
}

TEST(RequestHost, IsCheckedAndLosesItsPort) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"Example.ORG", "example.org"},     {"a_b-c:8080", "a_b-c"}, {"127.0.0.1:", "127.0.0.1"}, {"[::1]:80", "[::1]"},
      {"[2001:DB8::1]", "[2001:db8::1]"},
  };
  for (const auto& [host, name] : cases) EXPECT_EQ(ReadHost(host).value_or(""), name) << host;
  const std::string long_name(256, 'a');
  for (const std::string_view refused : {"", ":80", "a:b", "a:1:2", "a/b", "a b", "a@b", "a,b", ".a", "[::1", "[x]",
                                         "[::1]x", "[fe80::1%eth0]", "a:123456", "\xe9", long_name.c_str()}) {
    EXPECT_FALSE(ReadHost(refused)) << refused;
  }
}

TEST(TrustedProxies, KnowAddressesAndRanges) {
  const TrustedProxies proxies({"10.2.0.0/15", "192.0.2.7", "fd00::/8", "2001:db8::5"});
  const std::pair<const char*, bool> cases[] = {
      {"10.3.2.3", true},     {"10.1.255.255", false},   {"10.4.0.0", false}, {"192.0.2.7", true},
      {"192.0.2.8", false},   {"fdff::1", true},         {"fe00::1", false},  {"2001:db8::5", true},
      {"2001:db8::6", false}, {"::ffff:10.2.2.3", true},
  };
  for (const auto& [address, trusted] : cases) {
    EXPECT_EQ(proxies.Contains(boost::asio::ip::make_address(address)), trusted) << address;
  }
  for (const char* refused : {"", "proxy", "10.0.0.0/33", "10.0.0.0/", "10.0.0.0/x", "::/129", "10.0.0"}) {
    EXPECT_THROW(TrustedProxies({refused}), std::invalid_argument) << refused;
  }
}

TEST(TrustedProxies, TheirWordCounts) {
  struct Case {
    std::string_view forwarded_for, proto, host;
    std::string_view remote_addr, host_told;
    bool https;
  };
  const Case cases[] = {
      {"", "", "", "10.0.0.1", "inner", false},
      {"203.0.113.9", "https", "Outer.example:443", "203.0.113.9", "Outer.example:443", true},
      {"203.0.113.9:1234", "HTTPS", "", "203.0.113.9", "inner", true},
      {"\"x\", [2001:db8::9]:80", "http", "", "2001:db8::9", "inner", false},
      // What stands left of the first stranger may be made up by him.
      {"1.1.1.1, 203.0.113.9, 10.0.0.2", "", "", "203.0.113.9", "inner", false},
      {"10.0.0.3 ,10.0.0.2", "", "", "10.0.0.3", "inner", false},
      {"1.1.1.1, unknown", "gopher", "a b", "10.0.0.1", "inner", false},
      {"1.1.1.1,", "", "", "10.0.0.1", "inner", false},
      {"<script>", "", "evil, good", "10.0.0.1", "good", false},
  };
  const TrustedProxies proxies({"10.0.0.0/8"});
  for (const Case& tried : cases) {
    SCOPED_TRACE(tried.forwarded_for);
    Visitor visitor{boost::asio::ip::make_address("10.0.0.1"), "inner", false};
    proxies.Correct(visitor, tried.forwarded_for, tried.proto, tried.host);
    EXPECT_EQ(AddressText(visitor.address), tried.remote_addr);
    EXPECT_EQ(visitor.host, tried.host_told);
    EXPECT_EQ(visitor.https, tried.https);
  }
}

TEST(TrustedProxies, OthersAreNotHeard) {
  const std::string request =
      "GET http://127.0.0.2:80/ HTTP/1.1\r\nHost: other\r\nX-Forwarded-For: 1.1.1.1\r\nX-Forwarded-For: 203.0.113.9\r\n"
      "X-Forwarded-Proto: https\r\nX-Forwarded-Host: outer\r\n\r\n";
  Loopback direct;
  EXPECT_EQ(Client(direct.port()).Ask(request).body, "/|||127.0.0.1|127.0.0.2|off");
  Loopback proxied({.trusted_proxies = TrustedProxies({"127.0.0.1"}), .host_names = {"outer"}});
  EXPECT_EQ(Client(proxied.port()).Ask(request).body, "/|||203.0.113.9|outer|on");
}

TEST(HostNames, KeepOutWhoComesUnderAnotherName) {
  const auto status = [](const Loopback& loopback, const std::string& host, const std::string& fields = "") {
    return Client(loopback.port()).Ask("GET / HTTP/1.1\r\nHost: " + host + "\r\n" + fields + "\r\n").status;
  };
  Loopback own;
  for (const char* name : {"localhost", "LOCALHOST:81", "127.0.0.1", "127.9.9.9:1", "[::1]", "[::1]:8080"}) {
    EXPECT_EQ(status(own, name), 200U) << name;
  }
  for (const char* name :
       {"rebound.example", "localhost.evil.example", "127.0.0.1.evil.example", "192.168.0.1", "[::2]", "0.0.0.0"}) {
    EXPECT_EQ(status(own, name), 421U) << name;
  }
  EXPECT_EQ(Client(own.port()).Ask("GET http://evil.example/ HTTP/1.1\r\nHost: localhost\r\n\r\n").status, 421U);
  EXPECT_EQ(Client(own.port()).Ask("GET / HTTP/1.0\r\n\r\n").status, 200U);

  Loopback named({.trusted_proxies = TrustedProxies({"127.0.0.1"}), .host_names = {"Survey.example", "127.0.0.1"}});
  EXPECT_EQ(status(named, "survey.example:443"), 200U);
  EXPECT_EQ(status(named, "127.0.0.1"), 200U);
  EXPECT_EQ(status(named, "localhost"), 421U);
  EXPECT_EQ(status(named, "backend", "X-Forwarded-Host: survey.example\r\n"), 200U);
  EXPECT_EQ(status(named, "127.0.0.1", "X-Forwarded-Host: evil.example\r\n"), 421U);
  EXPECT_TRUE(HostNames({}, false).Contain("whatever.example"));
  for (const char* no_name : {"", "a:80", "a/b", "*"}) {
    EXPECT_THROW(Loopback({.host_names = {no_name}}), std::invalid_argument) << no_name;
  }
}

TEST(RequestHeaders, TellWhoAsksAndHow) {
  Loopback loopback;
  Client client(loopback.port());
  const auto facts = [&client](const std::string& fields) {
    return client.Ask("GET /facts HTTP/1.1\r\nHost: LocalHost:81\r\n" + fields + "\r\n").body;
  };
  EXPECT_EQ(facts("X-Test: a\r\n"), "LocalHost:81|a|direct|own");
  // One that a proxy or a forger has doubled is neither.
  EXPECT_EQ(facts("x-test: a\r\nX-TEST: b\r\n"), "LocalHost:81|a, b|direct|own");
  for (const char* proxy :
       {"x-forwarded-for: 127.0.0.1", "X-Forwarded-Whatever: y", "Forwarded: for=x", "VIA: 1.1 p"}) {
    EXPECT_EQ(facts(std::string(proxy) + "\r\n"), "LocalHost:81||forwarded|other") << proxy;
  }
  std::string many;
  for (int i = 0; i < 201; ++i) many += "a" + std::to_string(i) + ":\r\n";
  EXPECT_EQ(client.Ask("GET / HTTP/1.1\r\nHost: localhost\r\n" + many + "\r\n").status, 431U);

  const auto network = [](const char* address) { return NetworkOf(boost::asio::ip::make_address(address)); };
  EXPECT_EQ(network("2001:db8:1:2::5"), network("2001:db8:1:2:ffff::"));
  EXPECT_NE(network("2001:db8:1:2::5"), network("2001:db8:1:3::5"));
  EXPECT_EQ(network("::ffff:10.0.0.1"), network("10.0.0.1"));
  EXPECT_NE(network("10.0.0.2"), network("10.0.0.1"));
}

}  // namespace
}  // namespace surva::wire
