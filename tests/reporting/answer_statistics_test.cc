// How often each answer was given, and the averages.
#include "tests/reporting/analyst.h"

namespace surva::test {
namespace {

using namespace data::tables;

enum { kChoice = 4, kTextField = 3 };

class AnswerStatistics : public Analyst {
 protected:
  AnswerStatistics() { FilterNothing(); }

  // The table below its blue row: QUESTION { ANSWER xTIMES ... =AVERAGE }.
  static std::string Outline(const std::string& page) {
    static const std::pair<std::string, std::string> kTexts[] = {
        {"<TR><TD colspan=2 bgcolor=yellow>", "["},
        {"<TR><TD>&nbsp;&nbsp;&nbsp;&nbsp;", " "},
        {"</TD><TD align=right>", " x"},
        {"<TR><TD><B>&nbsp;&nbsp;&nbsp;Average</B><TD align=right><B>", " ="},
        {"&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;</B></TD></TR>", ""},
        {"&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;</TD></TR>", ""},
        {"</TD></TR>", "]"},
        {"</TABLE>", ""}};
    std::string outline;
    const std::string body = StaffBody(page);
    for (std::size_t at = body.find("</B></font></TD></TR>") + 21; at < body.size();) {
      const auto* const found = std::find_if(std::begin(kTexts), std::end(kTexts), [&](const auto& text) {
        return body.compare(at, text.first.size(), text.first) == 0;
      });
      outline += found == std::end(kTexts) ? std::string(1, body[at]) : found->second;
      at += found == std::end(kTexts) ? 1 : found->first.size();
    }
    return outline;
  }
  std::string Named(const char* event = "") { return Outline(GetBrowse({{"Stats", "1"}, {"ScheduleID", event}}).page); }
};
SURVA_ON_BOTH_ENGINES(AnswerStatistics);

TEST_P(AnswerStatistics, WholePage) {
  AddEvents();
  AddQuestion(51, "Clear <b>?", kChoice, {"2", "10"});
  AddQuestion(51, "Room", kChoice, {"Good", "1"});
  Mark(21, 61, 1, 1);
  Mark(22, 61, 1, 2);
  Mark(23, 61, 1, 1);
  Mark(21, 61, 2, 3);
  Mark(23, 61, 2, Value());
  const auto row = [](const char* answer, const char* times) {
    return std::string("<TR><TD>&nbsp;&nbsp;&nbsp;&nbsp;") + answer + "</TD><TD align=right>" + times +
           "&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;</TD></TR>";
  };
  EXPECT_EQ(StaffBody(GetBrowse({{"Stats", "1"}}).page),
            "</TD><TD width=5>&nbsp;&nbsp;&nbsp;</TD><TD><BR>"
            "<table width=90% align=left border=1 cellspacing=0 cellpadding=2>"
            "<TR><TD bgcolor=blue colspan=2><font color=white><B>Number of filled survas: 3</B></font></TD></TR>"
            "<TR><TD colspan=2 bgcolor=yellow>Clear <b>?</TD></TR>" +
                row("10", "1") + row("2", "2") +
                "<TR><TD><B>&nbsp;&nbsp;&nbsp;Average</B><TD align=right>"
                "<B>4.7&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;&nbsp;</B></TD></TR>"
                "<TR><TD colspan=2 bgcolor=yellow>Room</TD></TR>" +
                row("No answer", "1") + row("Good", "1") + "</TABLE>");
}

TEST_P(AnswerStatistics, Averages) {
  AddEvents();
  // Answers with the number of marks that they have.
  struct Case {
    std::vector<std::pair<const char*, int>> answers;
    std::string shown;
  };
  const std::initializer_list<Case> cases = {
      {{{"1", 2}, {"4", 3}}, "1 x2 4 x3 =2.8"},
      {{{"1", 1}, {"2", 1}, {"3", 2}}, "1 x1 2 x1 3 x2 =2.2"},  // 2.25
      {{{"2", 1}, {"3", 3}}, "2 x1 3 x3 =2.8"},                 // 2.75
      {{{"3", 2}}, "3 x2 =3"},
      {{{"0", 2}}, "0 x2 =0"},
      {{{"-1", 3}, {"0", 1}}, "-1 x3 0 x1 =-0.8"},  // -0.75
      {{{"-0.01", 1}}, "-0.01 x1 =0"},
      {{{"2.5", 1}, {"1,000", 1}, {" 3 ", 1}, {"1e1", 1}}, " 3  x1 1,000 x1 1e1 x1 2.5 x1 =253.9"},
      {{{"1", 1}, {"two", 1}}, "1 x1 two x1"},
      {{{"1", 1}, {"", 5}}, "No answer x5 1 x1 =1"},
      {{{"", 1}}, "No answer x1"},
      {{{" ", 1}, {"1", 1}}, "  x1 1 x1"},
      {{{"+2", 1}, {".5", 1}}, "+2 x1 .5 x1 =1.2"},  // 1.25
      {{{"1.", 1}, {"$3", 1}}, "$3 x1 1. x1"},
  };
  int number = 0;
  int choice = 0;
  std::string expected;
  for (const Case& one : cases) {
    const std::string content = "Q" + std::to_string(++number);
    AddQuestion(51, content.c_str(), kChoice);
    for (const auto& [answer, marks] : one.answers) {
      Add(kFieldValue, {{"QuestionID", number}, {"FieldValue", answer}});
      ++choice;
      for (int mark = 0; mark < marks; ++mark) Mark(21, 61, number, choice);
    }
    expected += "[" + content + "] " + one.shown;
  }
  EXPECT_EQ(Named(), expected);
}

TEST_P(AnswerStatistics, SumsBeyondAllNumbersOverflow) {
  AddEvents();
  AddQuestion(51, "Q", kChoice, {"1e308"});
  Mark(21, 61, 1, 1);
  EXPECT_EQ(GetBrowse({{"Stats", "1"}}).faults, Faults{FaultNumber::kOverflow});
}

TEST_P(AnswerStatistics, WhatIsCounted) {
  AddEvents();
  AddQuestion(51, "Pace", kChoice, {"1", "2"});   // 1: 1, 2
  AddQuestion(51, "Remarks", kTextField);         // 2
  AddQuestion(51, "Topics", 2, {"b", "B", "a"});  // 3: 3, 4, 5
  AddQuestion(51, "PACE", kChoice, {"2", "3"});   // 4: 6, 7
  AddQuestion(52, "Rest", kChoice, {"yes"});      // 5: 8
  Place(52, 1, 9);
  Mark(21, 61, 1, 1);
  Mark(22, 61, 1, 2);
  Mark(23, 61, 1, -1);  // a choice that there is none of
  Mark(21, 61, 1, Value());
  Mark(21, 61, 2, -1, "long text");
  for (const int topic : {4, 3, 5}) Mark(21, 61, 3, topic);  // three ticks of one form
  Mark(22, 61, 4, 6);
  Mark(22, 61, 4, 7);
  Mark(21, 62, 1, 2);
  Mark(21, 62, 5, 8);
  Mark(22, 62, 3, 5);  // of a question that is not on this event's version
  Mark(23, 62, 1, 1);  // of a student who is not enrolled
  Mark(23, 63, 1, 1);  // of an event without a place
  // Equal phrases are one question, whose answers stand at the highest place that each has.
  EXPECT_EQ(Named(), "[Pace] No answer x2 1 x1 =1[Topics] a x1 b x2[Pace] 2 x2 3 x1 =2.3[Rest] yes x1[Pace] 2 x1 =2");
  EXPECT_EQ(Named("62"), "[Rest] yes x1[Pace] 2 x1 =2");
  EXPECT_EQ(Named("63"), "[Pace] 1 x1 =1");
  EXPECT_EQ(Named("99"), "");
  visitor.session().Set("TrainerID", "32");
  EXPECT_EQ(Named(), "[Rest] yes x1[Pace] 2 x1 =2");
  visitor.session().Set("TrainerID", "%");
  visitor.session().Set("BDate", "1-March-2004");
  visitor.session().Set("EDate", "5-March-2004");
  EXPECT_EQ(Named(), "[Pace] No answer x2 1 x1 =1[Topics] a x1 b x2[Pace] 2 x2 3 x1 =2.3");
  visitor.session().Set("StudentID", "22");
  EXPECT_EQ(Named(), "[Pace] 2 x2 3 x1 =2.3");
}

// The last question of one version and the first of the next, of one phrase, run into one.
TEST_P(AnswerStatistics, PhrasesAcrossVersions) {
  AddEvents();
  AddQuestion(51, "Pace", kChoice, {"1"});
  AddQuestion(52, "Pace", kChoice, {"4"});
  AddQuestion(52, "pace", kChoice, {"5"});
  Mark(21, 61, 1, 1);
  Mark(21, 62, 2, 2);
  Mark(21, 62, 3, 3);
  EXPECT_EQ(Named(), "[Pace] 1 x1 4 x1 5 x1 =3.3");
}

TEST_P(AnswerStatistics, Anonymous) {
  AddEvents();
  AddQuestion(51, "Pace", kChoice, {"1", "2"});
  AddQuestion(51, "Remarks", kTextField);
  AddQuestion(52, "Rest", kChoice, {"yes"});
  const auto form = [this](int version, const char* address, const Value& fill_date,
                           std::initializer_list<std::pair<int, Value>> marks) {
    const std::int64_t student =
        Add(kAnonymousStudent, {{"SurvaVersionID", version}, {"IPAddress", address}, {"FillDate", fill_date}});
    for (const auto& [question, choice] : marks) {
      Add(kAnonymousMark, {{"StudentID", student}, {"QuestionID", question}, {"FieldValueID", choice}});
    }
  };
  form(51, "FE80::1", DateTime{2004, 3, 1, 9, 0, 0}, {{1, 1}, {2, -1}});
  form(51, "fe80::1", DateTime{2004, 3, 1, 9, 0, 0}, {{1, 2}});
  form(51, "10.0.0.8", DateTime{2004, 3, 2}, {{1, Value()}});
  form(51, "10.0.0.8", Value(), {{1, 2}});
  form(52, "10.0.0.8", DateTime{2004, 3, 3}, {{3, 3}, {1, 1}});
  const auto stats = [this] { return GetBrowse({{"StatsA", "1"}, {"ScheduleID", "61"}}); };
  const Answer all = stats();
  EXPECT_EQ(Outline(all.page), "[Pace] No answer x1 1 x1 2 x1 =1.5[Rest] yes x1");
  EXPECT_TRUE(all.Holds("<B>Number of filled survas: 3</B>")) << "two of one address and second count once";
  EXPECT_TRUE(all.Holds("<A HREF=browse.asp?browseformsA=1&ScheduleID=61>"));
  visitor.session().Set("IPAddressA", "10.0.0.8");
  EXPECT_EQ(Outline(stats().page), "[Pace] No answer x1[Rest] yes x1");
  visitor.session().Set("EDateA", "2-March-2004");
  EXPECT_EQ(Outline(stats().page), "[Pace] No answer x1");
  visitor.session().Set("SurvaVersionIDA", "52");
  EXPECT_EQ(Outline(stats().page), "");
}

}  // namespace
}  // namespace surva::test
