#include "tests/desk/desk.h"

namespace surva::desk {
namespace {

using namespace data::tables;

class Fill : public Desk {};
SURVA_ON_BOTH_ENGINES(Fill);

TEST_P(Fill, NamesAnInvitationWithoutUsingIt) {
  settings.readers = "Read by <the> office";
  const auto page = Get(ShowFillPage, {{"pin", "14 503\t"}, {"Version", "\"><script>"}});
  ASSERT_EQ(page.status, 200U);
  EXPECT_TRUE(Holds(page, "data-pin=\"14503\"")) << page.body;
  EXPECT_TRUE(Holds(page, "data-version=\"&quot;&gt;&lt;script&gt;\""));
  EXPECT_TRUE(Holds(page, "Read by &lt;the&gt; office"));
  EXPECT_FALSE(Holds(page, "surva.asp?PIN"));
  EXPECT_EQ(Read({"select count(*) from AnonymousStudent"}), "0");
}

TEST_P(Fill, TellsWhereAFilledSurvaLeads) {
  const auto there = Add(kSurvaVersion, {{"SurvaName", "a"}, {"ThankYouPage", "https://example.com/?a=\"1\"&b"}});
  const auto here = Add(kSurvaVersion, {{"SurvaName", "b"}});
  const auto thanks = [&](const std::string& version) { return Get(ShowThanksAddress, {{"version", version}}).body; };
  EXPECT_EQ(thanks(std::to_string(there)), "{\"thanks\":\"https://example.com/?a=\\u00221\\u0022\\u0026b\"}\n");
  for (const std::string& none : {std::to_string(here), std::string("99"), std::string("1 or 1=1"), std::string()}) {
    EXPECT_EQ(thanks(none), "{\"thanks\":\"\"}\n") << none;
  }
}

TEST_P(Fill, CountsWhatHangsOnAQuestion) {
  // Question 11 with the choices 21 and 22, question 12 with 23.
  const auto surva = seed.Surva({.rows = {{.role = test::kMain, .control = test::kBoxes, .choices = {"a", "b"}},
                                          {.role = test::kMain, .control = test::kRadio, .choices = {"c"}}}});
  const auto layout =
      Read({"select SurvaLayoutID from SurvaLayout where QuestionID=11 and SurvaVersionID=", data::Number(surva)});
  const auto mark = [&](int student, int event, int question, int choice) {
    Add(kMark, {{"StudentID", student}, {"ScheduleID", event}, {"QuestionID", question}, {"FieldValueID", choice}});
  };
  mark(5, 7, 11, 21);
  mark(5, 7, 11, 22);
  mark(5, 8, 11, 21);
  mark(6, 7, 12, 23);
  mark(6, 7, 11, 99);  // what an earlier save has cut off
  Add(kAnonymousMark, {{"StudentID", 5}, {"QuestionID", 11}, {"FieldValueID", 22}});
  EXPECT_EQ(Get(ShowAnswered, {{"layout", layout}}).body,
            "{\"answers\":4,\"respondents\":3,\"choices\":{\"21\":{\"answers\":2,\"respondents\":2},"
            "\"22\":{\"answers\":2,\"respondents\":2}}}\n");
  EXPECT_EQ(Get(ShowAnswered, {{"layout", "999"}}).body, "{\"answers\":0,\"respondents\":0,\"choices\":{}}\n");
  EXPECT_EQ(Get(ShowAnswered, {{"layout", "x"}}).status, 404U);
}

}  // namespace
}  // namespace surva::desk
