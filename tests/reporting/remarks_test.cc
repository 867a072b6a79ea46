// The respondents' remarks, read and erased.
#include "tests/reporting/analyst.h"

namespace surva::test {
namespace {

using namespace data::tables;

class Remarks : public Analyst {
 protected:
  Remarks() {
    Add(kStudent, {{"FirstName", "Zo\u00eb"}, {"LastName", "Ames"}});
    Add(kStudent, {{"FirstName", Value()}, {"LastName", "<b>Bolt"}});
    for (const int student : {22, 21, 99, 21, 22}) {
      Add(kMessage, {{"StudentID", student}, {"Message", "Of " + std::to_string(student) + " <i>\r\n'"}});
    }
  }
  std::string Left() { return Read({"select MessageID from Message order by MessageID"}); }
};
SURVA_ON_BOTH_ENGINES(Remarks);

TEST_P(Remarks, Listed) {
  const auto row = [](const char* student, const char* name, const char* message) {
    return std::string("<tr style=\"font-family:Tahoma;font-size=9pt;color:navy\"><td><a href=student.asp?Modify=") +
           student + ">" + name + "</a></td><td align=right><input type=checkbox name=Chosen value=" + message +
           "></td></tr><tr><td colspan=2 bgcolor=#6699FF size=1></td><tr><td colspan=2>Of " + student +
           " <i>\r\n'</td></tr><tr><td colspan=2>&nbsp;</td></tr>";
  };
  const std::string opening = "<br><form Action=stat.asp Method=POST><Input Type=Hidden Name=EraseMessage Value=1>"
                              "<table border=0 cellspacing=1 cellpadding=1 width=300>";
  const std::string button = "<tr><td colspan=3 align=right><INPUT TYPE=Submit Name=Delete Value=Delete></td></tr>";
  EXPECT_EQ(StaffBody(GetStat({{"Remarks", "1"}}).page),
            opening + row("22", "&nbsp;<b>Bolt", "1") + row("21", "Zo\u00eb&nbsp;Ames", "2") +
                row("21", "Zo\u00eb&nbsp;Ames", "4") + row("22", "&nbsp;<b>Bolt", "5") + button + "</table></form>");
  const Answer erased =
      PostStat({{"EraseMessage", "1"}, {"Chosen", "1"}, {"Chosen", "2"}, {"Chosen", "5"}, {"Delete", "Delete"}});
  EXPECT_EQ(StaffBody(erased.page), opening + row("21", "Zo\u00eb&nbsp;Ames", "4") + button + "</table></form>");
  // A remark that somebody else erased meanwhile is no failure.
  EXPECT_EQ(StaffBody(PostStat({{"EraseMessage", "1"}, {"Chosen", "4"}, {"Chosen", "5"}, {"Delete", "Delete"}}).page),
            opening + "</table></form>");
  EXPECT_EQ(Left(), "3") << "of a student who is gone";
}

TEST_P(Remarks, ErasedByTheButtonOnly) {
  for (const NameValues& form : std::initializer_list<NameValues>{
           {{"EraseMessage", "1"}, {"Chosen", "1"}},
           {{"EraseMessage", "1"}, {"Chosen", "1"}, {"Delete", "delete"}},
           {{"EraseMessage", "1"}, {"Chosen", "1"}, {"Delete", "Delete"}, {"Delete", "Delete"}},
           {{"EraseMessage", "1"}, {"Delete", "Delete"}},
           {{"EraseMessage", "1"}, {"Remarks", "1"}, {"Chosen", "1"}, {"Delete", "Delete"}}}) {
    EXPECT_EQ(PostStat(form).Count("name=Chosen"), 4);
    EXPECT_EQ(GetStat(form).Count("name=Chosen"), 4) << "a query string is no posted form";
  }
  EXPECT_EQ(Left(), "1 2 3 4 5");
}

TEST_P(Remarks, ABadValueHalfWay) {
  for (const char* bad : {"x", "", "1 or 1=1", "4'", "2, 3"}) {
    const auto gone = Add(kMessage, {{"StudentID", 21}, {"Message", "Soon gone"}});
    const Answer answer = PostStat({{"EraseMessage", "1"},
                                    {"Chosen", std::to_string(gone)},
                                    {"Chosen", bad},
                                    {"Chosen", "1"},
                                    {"Delete", "Delete"}});
    EXPECT_EQ(answer.faults, Faults{FaultNumber::kStatementFailed}) << bad;
    EXPECT_EQ(answer.Count("name=Chosen"), 0);
    EXPECT_EQ(Left(), "1 2 3 4 5") << "what came before the bad value is gone, what came after it stands";
  }
}

}  // namespace
}  // namespace surva::test
