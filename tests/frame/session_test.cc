// What a session keeps from one request to the next.
#include <gtest/gtest.h>

#include "frame/session.h"

namespace surva::test {
namespace {

TEST(Sessions, KnowWhenTheyChange) {
  Session session;
  const auto changes = [&session](const auto& change) {
    session.MarkSaved();
    change();
    return session.changed();
  };
  EXPECT_TRUE(changes([&] { session.Set("DisplayMenu", -1); }));
  EXPECT_TRUE(session["displaymenu"].IsTrue());
  EXPECT_FALSE(changes([&] { session.Set("DISPLAYMENU", -1); })) << "the same value again";
  EXPECT_TRUE(changes([&] { session.Set("displayMenu", Value()); }));
  EXPECT_FALSE(changes([&] { session.Provide("homepage", "/"); }));
  EXPECT_TRUE(changes([&] { session.set_timeout(360); }));
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

TEST(Sessions, AreBlankWithoutAValue) {
  Session session;
  session.Set("anonymous", 0);
  session.Set("ErrorMsg", "");
  session.Provide("DSN", "sqlite:x");
  EXPECT_TRUE(session.IsBlank());
  for (const Value& value : {Value(1), Value("0"), Value(" "), Value(0.5), Value(DateTime{})}) {
    session.Set("key", value);
    EXPECT_FALSE(session.IsBlank()) << value.Text();
    session.Set("key", Value());
    EXPECT_TRUE(session.IsBlank());
  }
}

}  // namespace
}  // namespace surva::test
