#include "tests/desk/desk.h"

namespace surva::desk {
namespace {

using namespace data::tables;

class Reports : public Desk {
 protected:
  Reports() {
    // Questions 11 to 13; the scale's choices are 21 to 24, the first one empty.
    surva = seed.Surva({.rows = {{.role = test::kMain,
                                  .control = test::kRadio,
                                  .content = "How <b>good</b>?",
                                  .choices = {"", "1", "2", "5"}},
                                 {.role = test::kMain, .control = test::kBoxes, .content = "Liked", .choices = {"Tea"}},
                                 {.role = test::kMain, .control = test::kText, .content = "Words"},
                                 {.role = test::kMain, .control = test::kRadio, .choices = {"3", "4"}}}});
    seed.Participant(surva, "111");
    Write({"update Schedule set TrainingID=1, TrainerID=1, BeginDate='2004-02-09 00:00:00', "
           "EndDate='2004-02-10 00:00:00' where ScheduleID=7"});
    Add(kTraining, {{"TrainingName", "C++ <20>"}});
    Add(kTrainer, {{"FirstName", "Ann"}, {"LastName", "O'\"Hara"}});
    // Another event of nobody's, for the house to count.
    Add(kSchedule, {{"SurvaVersionID", surva}, {"BeginDate", DateTime{2004, 3, 1}}});
    for (int i = 0; i < 4; ++i) Mark(7, 22);
    Mark(7, 24);
    Mark(7, 21);
    Mark(7, 25, 12);
    for (int i = 0; i < 4; ++i) Mark(8, 24);
    Add(kMark, {{"StudentID", 5},
                {"ScheduleID", 7},
                {"QuestionID", 13},
                {"FieldValueID", -1},
                {"TextAnswer", "<script>Gda&#324;sk"}});
  }
  void Mark(int event, int choice, int question = 11) {
    Add(kMark, {{"StudentID", 5}, {"ScheduleID", event}, {"QuestionID", question}, {"FieldValueID", choice}});
  }
  std::int64_t surva = 0;
};
SURVA_ON_BOTH_ENGINES(Reports);

TEST_P(Reports, ShowAnEventBesideTheHouse) {
  const auto page = Get(ShowReport, {{"event", "7"}});
  ASSERT_EQ(page.status, 200U);
  // Four 1s and a 5; an empty choice is no answer. With the other event's four 5s the house has 29 / 9.
  EXPECT_TRUE(Holds(page, "<b>1.80</b></td><td class=\"number\">1.60</td><td class=\"number\">5</td>")) << page.body;
  EXPECT_TRUE(
      Holds(page, "<td class=\"number\">1.80</td><td class=\"number\">1.80</td><td class=\"number\">3.22</td>"));
  EXPECT_TRUE(Holds(page, "aria-label=\"1: 4, 2: 0, 5: 1\""));
  EXPECT_TRUE(Holds(page, "&lt;script&gt;Gda\u0144sk"));
  EXPECT_TRUE(Holds(page, "How &lt;b&gt;good&lt;/b&gt;?"));
  EXPECT_TRUE(Holds(page, "O&#39;&quot;Hara"));
  EXPECT_TRUE(Holds(page, "0 of 1"));
  for (const char* event : {"99", "x", "7'", "-1", "99999999999999999999"}) {
    EXPECT_EQ(Get(ShowReport, {{"event", event}}).status, 404U) << event;
  }
}

TEST_P(Reports, HideAveragesOfFewAnswersFromAnAnalyst) {
  person.role = guard::Role::kAnalyst;
  settings.least_answers = 6;
  // Many answers of few forms are answers of few.
  for (int i = 0; i < 6; ++i) Mark(7, 25, 12);
  for (int i = 0; i < 5; ++i) Mark(7, 26, 14);
  const auto report = Get(ShowReport, {{"event", "7"}});
  EXPECT_FALSE(Holds(report, "1.80"));
  EXPECT_FALSE(Holds(report, "aria-label=\"1: 4"));
  EXPECT_FALSE(Holds(report, ">Tea<"));
  EXPECT_TRUE(Holds(report, "3.22"));
  const auto trends = Get(ShowTrends, {{"trainer", "1"}});
  EXPECT_TRUE(Holds(trends, "Feb 2004</th><td class=\"number\"><span class=\"soft\">too few</span></td>"))
      << trends.body;
  EXPECT_FALSE(Holds(trends, "1.80"));
}

TEST_P(Reports, FollowAveragesOverTime) {
  const auto months = Get(ShowTrends, {{"trainer", "1"}});
  EXPECT_TRUE(Holds(months, "Feb 2004</th><td class=\"number\">1.80</td><td class=\"number\">5</td>"
                            "<td class=\"number\">1.80</td>"))
      << months.body;
  EXPECT_TRUE(Holds(months, "Mar 2004</th><td></td><td class=\"number\">0</td><td class=\"number\">5.00</td>"));
  const auto quarters = Get(ShowTrends, {{"company", "2"}, {"by", "quarter"}});
  EXPECT_TRUE(Holds(quarters, "Q1 2004</th><td class=\"number\">3.22</td><td class=\"number\">9</td>"))
      << quarters.body;
  EXPECT_TRUE(Holds(Get(ShowTrends, {{"company", "9"}}), "Nothing with a number"));
  // What cannot be meant is not taken for all.
  for (const NameValues& wrong :
       {NameValues{{"company", "x"}}, {{"trainer", "-1"}}, {{"from", "2004"}}, {{"to", "0000-00"}}}) {
    EXPECT_EQ(Get(ShowTrends, wrong).status, 400U);
  }
}

}  // namespace
}  // namespace surva::desk
