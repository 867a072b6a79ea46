// What the tests of the reporting pages share: a member of staff who reads the figures, and three events to read of.
#pragma once

#include <string>

#include "frame/values/fault.h"
#include "reporting/browse.h"
#include "reporting/stat.h"
#include "tests/support/page_harness.h"
#include "tests/support/seed.h"
#include "tests/support/staff_page.h"
#include "tests/support/test_database.h"

namespace surva::test {

using Faults = std::vector<FaultNumber>;

// Tables start at keys of their own: Company 11, Student 21, Trainer 31, Training 41, SurvaVersion 51, Schedule 61,
// Participant 71, AnonymousStudent 81.
class Analyst : public OnBothEngines {
 protected:
  Analyst() {
    using namespace data::tables;
    int keys = 0;
    for (const data::Table* table :
         {&kCompany, &kStudent, &kTrainer, &kTraining, &kSurvaVersion, &kSchedule, &kParticipant, &kAnonymousStudent}) {
      SkipKeys(*database, *table, keys += 10);
    }
  }

  Answer GetStat(const NameValues& query) { return visitor.Serve<Stat>(query, {}); }
  Answer PostStat(const NameValues& form) { return visitor.Serve<Stat>({}, form); }
  Answer GetBrowse(const NameValues& query) { return visitor.Serve<Browse>(query, {}); }
  Answer PostBrowse(const NameValues& form) { return visitor.Serve<Browse>({}, form); }
  std::int64_t Add(const data::Table& table, ColumnValues values) { return AddRow(*database, table, values); }
  std::string Read(std::initializer_list<data::Piece> select) { return test::Read(*database, select); }

  // Sets a filter that everything passes.
  void FilterNothing() {
    for (const char* key : {"TrainerID", "CompanyID", "StudentID", "TrainingID", "SurvaVersionID", "Place",
                            "IPAddressA", "SurvaVersionIDA"}) {
      visitor.session().Set(key, "%");
    }
    visitor.session().Set("BDateA", "1-January-2000");
    visitor.session().Set("EDateA", "1-January-2030");
  }

  // Events 61 (1 to 5 March 2004), 62 (8 to 10 March) and 63 (30 March to 2 April, no place) with their participants;
  // of 73 and 75 the form is still to come.
  void AddEvents() {
    using namespace data::tables;
    const Value none;
    Add(kCompany, {{"CompanyName", "Ames & Sons"}});
    Add(kCompany, {{"CompanyName", "bolt <b>"}});
    Add(kStudent, {{"CompanyID", 11}, {"FirstName", "Zo\u00eb"}, {"LastName", "Ames"}});
    Add(kStudent, {{"CompanyID", 12}, {"FirstName", "Ben"}, {"LastName", "bolt"}});
    Add(kStudent, {{"CompanyID", 11}, {"FirstName", "Cy"}, {"LastName", "Ames"}});
    Add(kTrainer, {{"FirstName", "Ann"}, {"LastName", "Kay"}});
    Add(kTrainer, {{"FirstName", "Bob"}, {"LastName", "Lee"}});
    Add(kTraining, {{"TrainingName", "C++ <20>"}, {"OfficialID", "O2"}});
    Add(kTraining, {{"TrainingName", "SQL"}, {"OfficialID", "O1"}});
    Add(kSurvaVersion, {{"SurvaName", "Course"}, {"CreateDate", DateTime{2003, 12, 31, 9, 5, 0}}});
    Add(kSurvaVersion, {{"SurvaName", "brief"}, {"CreateDate", DateTime{2004, 1, 2}}});
    AddEvent(41, 31, 51, DateTime{2004, 3, 1}, DateTime{2004, 3, 5}, "Hall A");
    AddEvent(42, 32, 52, DateTime{2004, 3, 8}, DateTime{2004, 3, 10}, "Room 7");
    AddEvent(41, 32, 51, DateTime{2004, 3, 30}, DateTime{2004, 4, 2}, none);
    for (const auto& [event, student, pin] : {std::tuple(61, 21, Value("")),
                                              {61, 22, none},
                                              {61, 23, Value("123")},
                                              {62, 21, Value("")},
                                              {62, 22, Value("9")},
                                              {63, 23, Value("")}}) {
      Add(kParticipant, {{"ScheduleID", event}, {"StudentID", student}, {"PIN", pin}});
    }
  }
  void AddEvent(int training, int trainer, int version, const Value& begin, const Value& end, const Value& place) {
    Add(data::tables::kSchedule, {{"TrainingID", training},
                                  {"TrainerID", trainer},
                                  {"SurvaVersionID", version},
                                  {"BeginDate", begin},
                                  {"EndDate", end},
                                  {"Place", place}});
  }
  // Gives the QuestionID; its choices are added with it, its place is the last of the version.
  int AddQuestion(int version, const char* content, int type, std::initializer_list<const char*> choices = {},
                  bool required = false) {
    using namespace data::tables;
    const auto question = static_cast<int>(Add(kQuestion, {{"Content", content},
                                                           {"AnswerType", 2},
                                                           {"QuestionType", type},
                                                           {"SizeX", 1},
                                                           {"SizeY", 2},
                                                           {"LineRows", 0},
                                                           {"Required", required ? -1 : 0}}));
    for (const char* choice : choices) Add(kFieldValue, {{"QuestionID", question}, {"FieldValue", choice}});
    Place(version, question, ++last_place_);
    return question;
  }
  void Place(int version, int question, int place) {
    Add(data::tables::kSurvaLayout, {{"SurvaVersionID", version}, {"QuestionID", question}, {"PositionID", place}});
  }
  void Mark(int student, int event, int question, const Value& choice, const Value& text = "") {
    Add(data::tables::kMark, {{"StudentID", student},
                              {"ScheduleID", event},
                              {"QuestionID", question},
                              {"FieldValueID", choice},
                              {"TextAnswer", text}});
  }

  TestDatabase database{GetParam()};
  Visitor visitor{*database};

 private:
  int last_place_ = 0;
};

}  // namespace surva::test
