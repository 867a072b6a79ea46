#include "desk/personal_data.h"
#include "tests/support/node.h"

namespace surva::desk {
namespace {

using test::Holds;

class Privacy : public test::OnSite {
 protected:
  // Of all tables, those of the host's own too.
  bool AnythingHolds(std::string_view text) {
    std::string all;
    for (const auto tables : {data::AllTables(), data::HostTables()}) {
      for (const data::Table* table : tables) all += Read({"select * from ", Name(*table)}) + "\n";
    }
    return all.find(text) != std::string::npos;
  }
};
SURVA_ON_BOTH_ENGINES(Privacy);

TEST_P(Privacy, AnErasedPersonIsFoundInNoTable) {
  Write({"insert into Outbox (ParticipantID, Told) values (401, '550 zoe@ames.example')"});
  Write({"update Student set Phone='555-0190' where StudentID=201"});  // its history holds the old number
  Post("/surva.asp", "PIN=1111");
  test::Browser other;
  other.Post(node, "/surva.asp", "PIN=1112");
  Write({"update Student set Phone='555-0191' where StudentID=201"});
  const std::string page = Get("/admin/privacy", "student=201").body;
  EXPECT_LT(page.find("555-0190", page.find("<td>update</td><td>Student</td>")), page.rfind("555-0199")) << page;
  EXPECT_EQ(Post("/admin/privacy", "student=201&act=erase&sure=1").status, 200U);
  for (const char* trace : {"zoe@ames", "555-0199", "555-0190", "555-0000"}) {
    EXPECT_FALSE(AnythingHolds(trace)) << trace;
  }
  EXPECT_TRUE(AnythingHolds("ann@ames.example"));
  data::Connection db(*database);
  EXPECT_EQ(CountVisits(db, 201), 0);
  EXPECT_EQ(CountVisits(db, 202), 1);
}

// He has read his session, or has no more than seen that his PIN stands, and waits or goes on when he is erased.
TEST_P(Privacy, ErasesAPersonWhoLogsOnOrFillsIn) {
  for (const bool fills : {false, true}) {
    test::LoadFixture(*database);
    if (fills) Post("/surva.asp", "PIN=2221");
    watch.Reset();
    data::Connection eraser(*database);
    eraser.Lock("eraser");
    if (!fills) EraseStudent(eraser, 201);
    auto asked =
        browser.Send(node, test::RequestFor("/surva.asp", "", fills ? "FormAccepted=45&324=I+am+Zo" : "PIN=2221"));
    while (watch.reads == 0) std::this_thread::yield();
    if (!fills) asked.wait_for(std::chrono::milliseconds(300));
    if (fills) EraseStudent(eraser, 201);
    eraser.Commit();
    asked.get();
    EXPECT_EQ(CountVisits(eraser, 201), 0);
    Post("/surva.asp", "FormAccepted=45&324=I+am+Zo");
    EXPECT_FALSE(AnythingHolds("I am Zo"));
    EXPECT_EQ(Read({"select count(*) from Mark where StudentID=201"}), "0");
  }
}

// Others put an old row of hers back, and enrol her from a table, at the moment when she is erased.
TEST_P(Privacy, BringsNobodyBackWhoIsBeingErased) {
  Write({"update Student set Phone='555-0190' where StudentID=202"});
  const std::string change = Read({"select max(HistoryID) from History"});
  data::Connection eraser(*database);
  EraseStudent(eraser, 202);
  auto put_back = browser.Send(node, test::RequestFor("/admin/history", "", "change=" + change));
  auto enrolled = test::Browser().Send(
      node, test::RequestFor("/admin/import", "",
                             "event=59&do=store&text=First+name,Last+name,E-mail%0AAnn,Ames,ann@ames.example"));
  for (auto* asked : {&put_back, &enrolled}) asked->wait_for(std::chrono::milliseconds(300));
  eraser.Commit();
  EXPECT_LT(put_back.get().status, 400U);
  EXPECT_EQ(enrolled.get().status, 200U);
  EXPECT_EQ(Read({"select count(*) from Student where StudentID=202"}), "0");
  EXPECT_EQ(Read({"select count(*) from Participant where StudentID=202"}), "0");
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
  EXPECT_EQ(CountBefore(*database, {2004, 2, 1}).addresses, 0) << "its first moment";
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
