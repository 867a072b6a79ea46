#include "desk/personal_data.h"
#include "frame/session.h"
#include "tests/desk/desk.h"
#include "tests/support/watched_engine.h"

namespace surva::desk {
namespace {

class Privacy : public Desk {
 protected:
  // Of all tables, those of the host's own too.
  bool AnythingHolds(std::string_view text) {
    std::string all;
    for (const auto tables : {data::AllTables(), data::HostTables()}) {
      for (const data::Table* table : tables) all += Read({"select * from ", Name(*table)}) + "\n";
    }
    return all.find(text) != std::string::npos;
  }
  void AddVisit(const char* key, std::int64_t student) {
    Session session;
    session.Set("StudentID", Value(student));
    session.Set("ScheduleID", Value(51));
    const std::string contents = session.Store();
    Write({"insert into VisitorSession (SessionKey, Contents, LastUse) values (", data::Text(key), ", ",
           data::Bound(Field(std::string_view(contents))), ", 4000000000)"});
  }
};
SURVA_ON_BOTH_ENGINES(Privacy);

TEST_P(Privacy, AnErasedPersonIsFoundInNoTable) {
  Write({"insert into Outbox (ParticipantID, Told) values (401, '550 zoe@ames.example')"});
  Write({"update Student set Phone='555-0190' where StudentID=201"});  // its history holds the old number
  AddVisit("a", 201);
  AddVisit("b", 202);
  EXPECT_TRUE(Holds(Get(ShowPrivacy, {{"student", "201"}}), "<td>update</td><td>Student</td>"));
  EXPECT_EQ(Post(ShowPrivacy, {{"student", "201"}, {"act", "erase"}, {"sure", "1"}}).status, 200U);
  for (const char* trace : {"zoe@ames", "555-0199", "555-0190", "555-0000"})
    EXPECT_FALSE(AnythingHolds(trace)) << trace;
  EXPECT_TRUE(AnythingHolds("ann@ames.example"));
  EXPECT_EQ(Read({"select SessionKey from VisitorSession"}), "b");
}

TEST_P(Privacy, ErasesAPersonWhoIsFillingIn) {
  test::Watch watch;
  test::Node node(database.dsn(), {.wrap = test::WatchedEngine::Around(watch)});
  test::Browser visitor;
  visitor.Post(node, "/surva.asp", "PIN=2221");
  watch.Reset();
  data::Connection eraser(*database);
  eraser.Lock("eraser");
  auto answers = visitor.Send(node, test::RequestFor("/surva.asp", "", "FormAccepted=45&324=I+am+Zo"));
  // He has read his session and on SQLite waits for his turn, or on PostgreSQL holds his visit.
  while (watch.reads == 0) std::this_thread::yield();
  EraseStudent(eraser, 201);
  eraser.Commit();
  answers.get();
  visitor.Post(node, "/surva.asp", "FormAccepted=45&324=I+am+Zo");
  EXPECT_FALSE(AnythingHolds("I am Zo"));
  EXPECT_EQ(Read({"select count(*) from Mark where StudentID=201"}), "0");
}

TEST_P(Privacy, ErasesAPersonWhoLogsOn) {
  test::Watch watch;
  test::Node node(database.dsn(), {.wrap = test::WatchedEngine::Around(watch)});
  data::Connection eraser(*database);
  EraseStudent(eraser, 201);
  auto logon = node.Send(test::RequestFor("/surva.asp", "", "PIN=2221"));
  while (watch.reads == 0) std::this_thread::yield();
  logon.wait_for(std::chrono::milliseconds(300));  // the PIN stands, as far as he can see
  eraser.Commit();
  logon.get();
  EXPECT_EQ(CountVisits(eraser, 201), 0);
}

TEST_P(Privacy, ForgetsManyWhoseEventsAreLongOver) {
  for (const char* name : {"Newcomer", "Undated"}) {
    Write({"insert into Student (LastName) values (", data::Text(name), ")"});
  }
  Write({"insert into Participant (ScheduleID, StudentID, PIN) values (64, 227, '')"});
  // Of the one event only, which has ended; 203 is on a later one as well.
  Write({"delete from Participant where StudentID=204 and ScheduleID<>54"});
  const std::string addresses = Read({"select count(distinct IPAddress) from AnonymousStudent"});
  EXPECT_EQ(CountBefore(*database, {2004, 3, 2}).students, 0) << "its last day";
  const Anonymised dry = CountBefore(*database, {2004, 3, 17});
  EXPECT_TRUE(AnythingHolds("O'Brien"));
  const Anonymised first = AnonymiseBefore(*database, {2004, 3, 17}, Texts::kErase);
  EXPECT_EQ(first.students, dry.students);
  EXPECT_EQ(first.addresses, dry.addresses);
  EXPECT_EQ(first.students, 1);
  EXPECT_EQ(first.addresses, 4);
  EXPECT_EQ(Read({"select LastName from Student where StudentID in (203, 204) order by StudentID"}), "ames Anonymous");
  EXPECT_EQ(Read({"select count(*) from Mark where TextAnswer='It''s ok'"}), "0");
  EXPECT_TRUE(AnythingHolds("Newcomer") && AnythingHolds("Undated"));
  EXPECT_FALSE(AnythingHolds("2001:db8::1"));
  EXPECT_TRUE(AnythingHolds("198.51.100.1"));
  EXPECT_EQ(Read({"select count(distinct IPAddress) from AnonymousStudent"}), addresses);
  const Anonymised again = AnonymiseBefore(*database, {2004, 3, 17}, Texts::kErase);
  EXPECT_EQ(again.students + again.addresses, 0);
}

}  // namespace
}  // namespace surva::desk
