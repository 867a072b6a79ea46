// What pages cost: the statements of a page are as many for a long list or form as for a short one.
#include <map>

#include "design/create_form.h"
#include "filling/fill_form.h"
#include "records/record_page.h"
#include "reporting/browse.h"
#include "reporting/stat.h"
#include "scheduling/schedule.h"
#include "tests/support/fixture.h"

namespace surva::test {
namespace {

class Costs : public OnFixture {
 protected:
  // The reads of each page.
  std::map<std::string, int> Reads() {
    std::map<std::string, int> reads;
    const auto measure = [&](const char* page, const auto& serve) {
      watch.Reset();
      const Answer answer = serve();
      EXPECT_TRUE(answer.faults.empty() && answer.page.size() > 1000) << page;
      reads[page] = watch.reads;
    };
    const NameValues none;
    const NameValues may{{"M", "5"}, {"Y", "2004"}, {"Action", "P"}};
    NameValues weeks = may;
    weeks.emplace_back("BrowseWeek", "1");
    measure("details", [&] { return visitor.Serve<FillForm>(none, {{"PIN", "1112"}}); });
    measure("form", [&] { return visitor.Serve<FillForm>(none, {{"Next", "Next"}}); });
    measure("incomplete form", [&] { return visitor.Serve<FillForm>(none, {{"FormAccepted", "41"}}); });
    measure("layout", [&] { return visitor.Serve<CreateForm>({{"AQBBA", "Back"}, {"SurvaVersion", "41"}}, none); });
    measure("survas", [&] { return visitor.Serve<CreateForm>(none, none); });
    measure("calendar", [&] { return visitor.Serve<Schedule>(may, none); });
    measure("weeks", [&] { return visitor.Serve<Stat>(weeks, none); });
    measure("month", [&] { return visitor.Serve<Stat>(may, none); });
    measure("event", [&] { return visitor.Serve<Schedule>({{"ModDown", "52"}}, none); });
    measure("forms", [&] { return visitor.Serve<Browse>({{"BrowseForms", "1"}, {"ScheduleID", "52"}}, none); });
    measure("answers", [&] { return visitor.Serve<Browse>({{"Stats", "1"}, {"ScheduleID", "52"}}, none); });
    const NameValues search{{"Search", "Search"}};
    measure("records", [&] { return visitor.Serve<RecordPage>(search, none, records::kCompany); });
    measure("more records", [&] {
      return visitor.Serve<RecordPage>(search, NameValues{{"Mv", "Next"}}, records::kCompany);
    });
    return reads;
  }
};
SURVA_ON_BOTH_ENGINES(Costs);

TEST_P(Costs, DoNotGrowWithWhatIsShown) {
  const auto before = Reads();
  const auto write = [this](std::initializer_list<data::Piece> statement) { Write(*database, statement); };
  write({"insert into SurvaLayout (SurvaVersionID, QuestionID, PositionID) select 41, QuestionID, SurvaLayoutID "
         "from SurvaLayout where SurvaVersionID>41 and SurvaVersionID<48"});
  write({"insert into SurvaVersion (SurvaName) select LastName from Student"});
  write({"insert into Schedule (TrainingID, TrainerID, SurvaVersionID, BeginDate, EndDate) select 31, 21, 41, "
         "BeginDate, '2004-05-09 00:00:00' from Schedule where BeginDate is not null"});
  write({"insert into Participant (ScheduleID, StudentID, PIN) select 52, StudentID, '' from Student"});
  write(
      {"insert into Mark (StudentID, ScheduleID, QuestionID, FieldValueID) select StudentID, 52, 72, 101 from Student"});
  write({"insert into Company (CompanyName) select CompanyName from Company"});
  EXPECT_EQ(Reads(), before);
  EXPECT_LE(before.at("calendar"), 1);
  EXPECT_LE(before.at("records"), 1);
}

}  // namespace
}  // namespace surva::test
