// Request, Session and Chain.
#include <gtest/gtest.h>

#include "frame/chain.h"
#include "frame/session.h"

namespace surva::test {
namespace {

TEST(Requests, LookUps) {
  const Request request(
      {{"a", "1"}, {"empty", ""}, {"A", "2"}, {"both", "query"}, {"", "nameless"}},
      {{"both", "form"}, {"empty", "form"}, {"Posted", "x"}, {"posted", ""}, {"POSTED", "y, z"}, {"blank", ""}},
      {.remote_addr = "192.0.2.7", .script_name = "/Admin/List.asp", .server_name = "www.example", .https = true});
  struct Case {
    const char* name;
    const char* text;
    bool has;
  };
  for (const Case& one : {Case{"a", "1, 2", true},
                          {"A", "1, 2", true},
                          {"empty", "", true},
                          {"both", "query", true},
                          {"pOsTeD", "x, , y, z", true},
                          {"blank", "", true},
                          {"absent", "", false},
                          {"bot", "", false},
                          {"", "nameless", true}}) {
    EXPECT_EQ(request(one.name), one.text) << one.name;
    EXPECT_EQ(request.Filled(one.name), *one.text != '\0') << one.name;
    EXPECT_EQ(request.Has(one.name), one.has) << one.name;
  }
  const std::string_view first = request("a");
  for (int i = 0; i < 100; ++i) request("posted");
  EXPECT_EQ(first, "1, 2") << "a text lives as long as the request";
  EXPECT_EQ(request.QueryString("both"), "query");
  EXPECT_EQ(request.QueryString("posted"), "");
  EXPECT_EQ(request.Form("posted"), (std::vector<std::string_view>{"x", "", "y, z"}));
  EXPECT_EQ(request.Form("a"), std::vector<std::string_view>{});
  EXPECT_EQ(request.ServerVariable("url"), "/Admin/List.asp");
  EXPECT_EQ(request.ServerVariable("SCRIPT_NAME"), "/Admin/List.asp");
  EXPECT_EQ(request.ServerVariable("HTTPS"), "on");
  EXPECT_EQ(request.ServerVariable("REMOTE_ADDR"), "192.0.2.7");
  EXPECT_EQ(request.ServerVariable("PATH"), "");
}

TEST(Sessions, KeysHaveNoCase) {
  Session session;
  EXPECT_TRUE(session["StudentID"].IsNull());
  EXPECT_FALSE(session.changed());
  session.Set("DisplayMenu", -1);
  EXPECT_TRUE(session["displaymenu"].IsTrue());
  EXPECT_TRUE(session.changed());
  session.MarkSaved();
  session.Set("DISPLAYMENU", -1);
  EXPECT_FALSE(session.changed()) << "the same value again";
  session.Set("displayMenu", Value());
  EXPECT_TRUE(session.changed());
  session.MarkSaved();
  session.Provide("homepage", "/");
  EXPECT_FALSE(session.changed());
  session.set_timeout(360);
  EXPECT_TRUE(session.changed());
}

TEST(Sessions, ComeBackAsTheyWere) {
  Session session;
  const std::pair<const char*, Value> values[] = {{"StudentID", 5},
                                                  {"text", "5"},
                                                  {"empty", ""},
                                                  {"real", 0.1},
                                                  {"negative", std::int64_t{INT64_MIN}},
                                                  {"date", DateTime{2004, 2, 29, 23, 59, 58}},
                                                  {"odd", "4:n\0 \u20ac ': 12:\n"},
                                                  {"a:b", "with a colon"},
                                                  {"", "nameless"},
                                                  {"long", std::string(100'000, ':')},
                                                  {"nul", std::string("a\0b", 3)}};
  for (const auto& [key, value] : values) session.Set(key, value);
  session.Set("null", "x");
  session.Set("null", Value());
  session.Provide("DSN", "sqlite:secret.db");
  session.set_timeout(360);
  const std::string stored = session.Store();
  EXPECT_EQ(stored.find("secret"), std::string::npos) << "what the host provides is not stored";
  const auto restored = Session::Restore(stored);
  ASSERT_TRUE(restored);
  for (const auto& [key, value] : values) EXPECT_EQ((*restored)[key], value) << key;
  EXPECT_TRUE((*restored)["null"].IsNull());
  EXPECT_TRUE((*restored)["DSN"].IsNull());
  EXPECT_EQ(restored->timeout(), 360);
  EXPECT_FALSE(restored->changed());
  EXPECT_EQ(restored->Store(), stored);
  for (std::size_t length = 0; length < stored.size(); length += 1 + length / 50) {
    const auto cut = Session::Restore(stored.substr(0, length));
    if (cut) {
      EXPECT_EQ(stored.compare(0, length, cut->Store()), 0) << "a text cut short gives no key that was not there";
    }
  }
  for (const char* text : {"", "x", "3:360x", "1:0 ", "1:03:abc", "1:01:a1:z", "1:01:a2:ix", "99999999999999999999:0",
                           "1:01:a4294967295:t", "-1:0", "2:9x", "1:01:a5:d2004"}) {
    EXPECT_FALSE(Session::Restore(text)) << text;
  }
}

TEST(Sessions, Blank) {
  Session session;
  EXPECT_TRUE(session.IsBlank());
  session.Set("anonymous", 0);
  session.Set("ErrorMsg", "");
  session.Provide("DSN", "sqlite:x");
  EXPECT_TRUE(session.IsBlank());
  for (const Value& value : {Value(1), Value("0"), Value(" "), Value(0.5), Value(DateTime{})}) {
    Session other = session;
    other.Set("key", value);
    EXPECT_FALSE(other.IsBlank()) << value.Text();
    other.Set("key", Value());
    EXPECT_TRUE(other.IsBlank());
  }
}

struct Walker {
  Request asked;
  std::string went;
  const Request& request() const { return asked; }
};

constexpr Link<Walker> kChain[] = {
    {Filled("first"), [](Walker& walker) { walker.went += '1'; }},
    {Filled("also"), [](Walker& walker) { walker.went += '2'; }, Link<Walker>::Then::kGoOn},
    {Equal("Action", "P"), [](Walker& walker) { walker.went += '3'; }},
    {EqualAnyCase("Any", "Next \u00c9"), [](Walker& walker) { walker.went += '4'; }},
    {Otherwise(), [](Walker& walker) { walker.went += '5'; }},
};

TEST(Chains, TheFirstTestThatHolds) {
  struct Case {
    NameValues query;
    const char* went;
  };
  const Case cases[] = {
      {{}, "5"},
      {{{"also", "x"}, {"FIRST", "x"}}, "1"},
      {{{"first", ""}}, "5"},
      {{{"also", "0"}}, "25"},
      {{{"also", "0"}, {"action", "P"}}, "23"},
      {{{"Action", "p"}}, "5"},
      {{{"Action", "P"}, {"Action", "P"}}, "5"},
      {{{"any", "nEXT \u00e9"}}, "4"},
      {{{"any", "Next"}}, "5"},
  };
  for (const Case& one : cases) {
    Walker walker{Request(one.query, {}, {}), {}};
    Walk<Walker>(kChain, walker);
    EXPECT_EQ(walker.went, one.went);
  }
}

}  // namespace
}  // namespace surva::test
