// What the tests of the scheduling pages share: a member of staff who plans, and an event to plan with.
#pragma once

#include <string>

#include "frame/values/fault.h"
#include "scheduling/list.h"
#include "scheduling/schedule.h"
#include "tests/support/page_harness.h"
#include "tests/support/seed.h"
#include "tests/support/staff_page.h"
#include "tests/support/test_database.h"

namespace surva::test {

// Tables start at keys of their own: Training 11, Trainer 21, SurvaVersion 31, Schedule 41, Participant 51,
// Student 61, Company 71.
class Planner : public OnBothEngines {
 protected:
  Planner() {
    visitor.variables.script_name = "/admin/schedule.asp";
    using namespace data::tables;
    int keys = 0;
    for (const data::Table* table :
         {&kTraining, &kTrainer, &kSurvaVersion, &kSchedule, &kParticipant, &kStudent, &kCompany}) {
      SkipKeys(*database, *table, keys += 10);
    }
  }

  Answer Get(const NameValues& query) { return visitor.Serve<Schedule>(query, {}); }
  Answer Post(const NameValues& form) { return visitor.Serve<Schedule>({}, form); }
  std::int64_t Add(const data::Table& table, ColumnValues values) { return AddRow(*database, table, values); }
  std::string Read(std::initializer_list<data::Piece> select) { return test::Read(*database, select); }

  // Training 11, Trainer 21, SurvaVersion 31 and an event of them, Schedule 41, from 9 to 13 February 2004.
  void AddEvent() {
    using namespace data::tables;
    Add(kSurvaVersion, {{"SurvaName", "Course"}, {"Valid", -1}});
    Add(kTraining, {{"TrainingName", "C++ <20>"}, {"OfficialID", "O1"}, {"SurvaVersionID", 31}});
    Add(kTrainer, {{"FirstName", "Ann"}, {"LastName", "Kay"}});
    Add(kSchedule, {{"TrainingID", 11},
                    {"TrainerID", 21},
                    {"SurvaVersionID", 31},
                    {"BeginDate", DateTime{2004, 2, 9}},
                    {"EndDate", DateTime{2004, 2, 13}},
                    {"Place", "Hall A"},
                    {"Description", "Bring <b>\r\nbooks"}});
  }

  TestDatabase database{GetParam()};
  Visitor visitor{*database};
};

using Faults = std::vector<FaultNumber>;

}  // namespace surva::test
