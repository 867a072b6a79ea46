#include "desk/close_date.h"
#include "tests/desk/desk.h"

namespace surva::desk {
namespace {

class Slips : public Desk {
 protected:
  Slips() {
    surva = seed.Surva({.rows = {}});
    seed.Participant(surva, "12 34&5");
    http.path = "/admin/slips";
    http.host = "surva.example:8443";
    http.https = true;
  }
  std::optional<wire::HttpResponse> LogOn(std::string_view pin) {
    data::Connection connection(*database);
    return RefuseClosed(connection, clock, pin);
  }
  std::int64_t surva = 0;
};
SURVA_ON_BOTH_ENGINES(Slips);

TEST_P(Slips, AreForWhoHasAPin) {
  const auto page = Get(ShowSlips, {{"event", "7"}});
  EXPECT_TRUE(Holds(page, "<b>surva.example:8443</b>")) << page.body;
  EXPECT_TRUE(Holds(page, "<b class=\"pin\">12 34&amp;5</b>"));
  settings.public_address = "https://ask.example/x";
  EXPECT_TRUE(Holds(Get(ShowSlips, {{"event", "7"}}), "<b>ask.example/x</b>"));
  Write({"update Participant set PIN=''"});
  EXPECT_FALSE(Holds(Get(ShowSlips, {{"event", "7"}}), "class=\"slip\""));
  EXPECT_EQ(Get(ShowPoster, {{"version", std::to_string(surva)}}).status, 409U);
  Write({"update SurvaVersion set RequireAuthorisation=0"});
  EXPECT_TRUE(Holds(Get(ShowPoster, {{"version", std::to_string(surva)}}), "ask.example/x/fill?version=3"));
}

TEST_P(Slips, SetTheLastDayForAnswers) {
  EXPECT_FALSE(LogOn("12 34&5"));
  EXPECT_EQ(Post(ShowSlips, {{"event", "7"}, {"close", "2004-03-01"}}).status, 303U);
  EXPECT_FALSE(LogOn("12 34&5"));  // the last day is not over
  clock.now = {2004, 3, 2, 0, 0, 0};
  ASSERT_TRUE(LogOn("12 34&5"));
  EXPECT_TRUE(Holds(*LogOn("12 34&5"), "1 March 2004"));
  EXPECT_FALSE(LogOn("x'"));
  EXPECT_EQ(Post(ShowSlips, {{"event", "7"}, {"close", "soon"}}).status, 400U);
  EXPECT_TRUE(LogOn("12 34&5"));
  EXPECT_EQ(Post(ShowSlips, {{"event", "7"}, {"close", ""}}).status, 303U);
  EXPECT_FALSE(LogOn("12 34&5"));
  EXPECT_EQ(Read({"select count(*) from EventClose"}), "0");
}

}  // namespace
}  // namespace surva::desk
