#include "desk/personal_data.h"
#include "frame/session.h"
#include "tests/desk/desk.h"
#include "tests/host/node.h"
#include "tests/support/watched_engine.h"

namespace surva::desk {
namespace {

using namespace data::tables;

class Privacy : public Desk {
 protected:
  Privacy() {
    seed.Participant(
        seed.Surva({.rows = {{.role = test::kMain, .control = test::kRadio, .content = "Good?", .choices = {"1", "2"}},
                             {.role = test::kMain, .control = test::kText, .content = "Words"}}}),
        "");
    Write({"update Schedule set BeginDate='2004-02-09 00:00:00', EndDate='2004-02-10 00:00:00'"});
    Write({"update Student set LastName='<Nov&#225;k &#324;', email='j@x.example', Phone='123'"});
    Add(kMark, {{"StudentID", 5}, {"ScheduleID", 7}, {"QuestionID", 11}, {"FieldValueID", 22}});
    Add(kMark,
        {{"StudentID", 5}, {"ScheduleID", 7}, {"QuestionID", 12}, {"FieldValueID", -1}, {"TextAnswer", "I am J"}});
    Add(kMessage, {{"StudentID", 5}, {"Message", "my \"new\" name"}});
    Add(kOutbox, {{"ParticipantID", 9}, {"Told", "550 j@x.example"}});
    AddVisit("a", 5);
    AddVisit("b", 55);
    // Somebody else, whose number begins with the same digit.
    Write({"insert into Student (StudentID, CompanyID, LastName, email) values (55, 2, 'Other', 'o@x.example')"});
    Add(kMark,
        {{"StudentID", 55}, {"ScheduleID", 7}, {"QuestionID", 12}, {"FieldValueID", -1}, {"TextAnswer", "Mine"}});
    Add(kParticipant, {{"ScheduleID", 7}, {"StudentID", 55}, {"PIN", "1"}});
  }
  void AddVisit(const char* key, std::int64_t student) {
    Session session;
    session.Set("StudentID", Value(student));
    session.Set("ScheduleID", Value(7));
    const std::string contents = session.Store();
    Write({"insert into VisitorSession (SessionKey, Contents, LastUse) values (",
           data::Bound(Field(std::string_view(key))), ", ", data::Bound(Field(std::string_view(contents))),
           ", 4000000000)"});
  }
  // Every table that could know something of the person.
  bool AnythingHolds(std::string_view text) {
    std::string all;
    for (const auto tables : {data::AllTables(), data::HostTables()}) {
      for (const data::Table* table : tables) all += Read({"select * from ", Name(*table)}) + "\n";
    }
    return all.find(text) != std::string::npos;
  }
  void ExpectForgotten() {
    for (const char* trace : {"Nov&#225;k", "j@x.example", "I am J", "my \"new\"", "my \\\"new"}) {
      EXPECT_FALSE(AnythingHolds(trace)) << trace;
    }
    EXPECT_TRUE(AnythingHolds("o@x.example"));
    EXPECT_TRUE(AnythingHolds("Mine"));
  }
  std::string Figures() {
    return Read({"select count(*), (select count(*) from Mark where FieldValueID=22), (select count(*) from Student, "
                 "Company where Company.CompanyID=Student.CompanyID) from Participant"});
  }
};
SURVA_ON_BOTH_ENGINES(Privacy);

TEST_P(Privacy, ShowsAndHandsOverWhatIsHeld) {
  const auto page = Get(ShowPrivacy, {{"student", "5"}});
  for (const char* held : {"&lt;Nov&amp;#225;k \u0144", "j@x.example", "123", "I am J", "my &quot;new&quot; name"}) {
    EXPECT_TRUE(Holds(page, held)) << held << page.body;
  }
  EXPECT_FALSE(Holds(page, "Mine"));
  EXPECT_TRUE(Holds(page, "<h2>Forms under way</h2>\n<p>1</p>"));
  EXPECT_TRUE(Holds(page, "<td>update</td><td>Student</td>"));
  EXPECT_TRUE(Holds(page, "<td>9 February 2004</td>"));
  const auto json = Get(ShowPrivacy, {{"student", "5"}, {"as", "json"}});
  EXPECT_TRUE(Holds(json, "\"answered\": null"));
  EXPECT_TRUE(Holds(json, "{\"remark\": \"my \\u0022new\\u0022 name\"}")) << json.body;
  EXPECT_TRUE(Holds(Get(ShowPrivacy, {{"name", "oTh"}}), "?student=55"));
  EXPECT_EQ(Get(ShowPrivacy, {{"student", "7"}}).status, 404U);
  EXPECT_EQ(Post(ShowPrivacy, {{"student", "5"}, {"act", "erase"}}).status, 400U);
  EXPECT_TRUE(AnythingHolds("j@x.example"));
}

TEST_P(Privacy, ErasesAPerson) {
  EXPECT_EQ(Post(ShowPrivacy, {{"student", "5"}, {"act", "erase"}, {"sure", "1"}}).status, 200U);
  ExpectForgotten();
  EXPECT_EQ(Figures(), "1,0,1");
  EXPECT_EQ(Read({"select SessionKey from VisitorSession"}), "b");
}

TEST_P(Privacy, ErasesAPersonWhoIsFillingIn) {
  Write({"update Participant set PIN='77' where StudentID=5"});
  test::Watch watch;
  test::Node node(database.dsn(), test::WatchedEngine::Around(watch));
  test::Browser visitor;
  visitor.Get(node, "/surva.asp", "PIN=77");
  watch.Reset();
  data::Connection eraser(*database);
  eraser.Lock("eraser");
  auto answers = visitor.Send(node, "/surva.asp", "", "FormAccepted=3&32=I+am+J");
  // He has read his session and on SQLite waits for his turn, or on PostgreSQL holds his visit.
  while (watch.reads == 0) std::this_thread::yield();
  EraseStudent(eraser, 5);
  eraser.Commit();
  answers.get();
  visitor.Post(node, "/surva.asp", "FormAccepted=3&32=I+am+J");
  ExpectForgotten();
  EXPECT_EQ(Read({"select count(*) from Mark where StudentID=5"}), "0");
}

TEST_P(Privacy, KeepsFiguresWithoutAName) {
  const std::string before = Figures();
  const std::string report = Get(ShowReport, {{"event", "7"}}).body;
  EXPECT_TRUE(Holds(Get(ShowReport, {{"event", "7"}}), "I am J"));
  EXPECT_EQ(Post(ShowPrivacy, {{"student", "5"}, {"act", "anonymise"}, {"sure", "1"}, {"texts", "1"}}).status, 200U);
  EXPECT_EQ(Get(ShowReport, {{"event", "7"}}).body, report);
  EXPECT_EQ(Post(ShowPrivacy, {{"student", "5"}, {"act", "anonymise"}, {"sure", "1"}}).status, 200U);
  ExpectForgotten();
  EXPECT_EQ(Figures(), before);
}

TEST_P(Privacy, ForgetsManyWhoseEventsAreLongOver) {
  Add(kParticipant, {{"ScheduleID", 8}, {"StudentID", 55}});
  Add(kSchedule, {{"EndDate", DateTime{2004, 6, 1}}});
  Add(kStudent, {{"LastName", "Newcomer"}});
  for (const char* address : {"192.0.2.1", "192.0.2.1", "192.0.2.2"}) {
    Add(kAnonymousStudent, {{"IPAddress", address}, {"CreateDate", DateTime{2004, 1, 1}}});
  }
  Add(kAnonymousStudent, {{"IPAddress", "192.0.2.3"}, {"CreateDate", DateTime{2004, 7, 1}}});
  const Anonymised dry = CountBefore(*database, {2004, 6, 1});
  EXPECT_EQ(dry.students, 1);
  EXPECT_EQ(dry.addresses, 3);
  EXPECT_TRUE(AnythingHolds("j@x.example"));
  const Anonymised first = AnonymiseBefore(*database, {2004, 6, 1}, Texts::kErase);
  EXPECT_EQ(first.students, 1);
  EXPECT_EQ(first.addresses, 3);
  ExpectForgotten();
  EXPECT_TRUE(AnythingHolds("Newcomer"));
  EXPECT_FALSE(AnythingHolds("192.0.2.1"));
  EXPECT_TRUE(AnythingHolds("192.0.2.3"));
  EXPECT_EQ(Read({"select count(distinct IPAddress) from AnonymousStudent"}), "3");
  const Anonymised again = AnonymiseBefore(*database, {2004, 6, 1}, Texts::kErase);
  EXPECT_EQ(again.students + again.addresses, 0);
}

}  // namespace
}  // namespace surva::desk
