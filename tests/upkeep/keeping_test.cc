// What an administrator trusts the data to: copies, backups and checks, on both engines.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include "demo/demo.h"
#include "frame/data/connection.h"
#include "frame/data/schema.h"
#include "frame/values/fault.h"
#include "tests/support/test_database.h"
#include "upkeep/backup.h"
#include "upkeep/check.h"
#include "upkeep/copy.h"
#include "upkeep/readiness.h"

namespace surva::upkeep {
namespace {

namespace fs = std::filesystem;
using data::Dialect;
using test::Read;
using test::TestDatabase;
using test::Write;

// All rows that belong to the owner, as text.
std::string Contents(data::Database& database) {
  data::Connection db(database);
  std::string text;
  for (const data::Table* table : KeptTables()) {
    text.append(table->name).append(" ").append(std::to_string(LastKey(database, *table))).append("\n");
    for (const data::Row& row :
         db.Query({"select * from ", data::Name(*table), " order by ", data::Name(table->key())})) {
      for (const data::Column& column : table->columns) {
        const Field field = row[data::ColumnName(column.name)];
        text.append(field.IsNull() ? "-" : field.Text()).append("|");
      }
      text += "\n";
    }
  }
  return text;
}

class Keeping : public test::OnBothEngines {
 protected:
  Keeping() : database_(GetParam()) { fs::create_directories(folder_); }
  ~Keeping() override { fs::remove_all(folder_); }

  void FillWithDemo() {
    demo::Fill(*database_, clock_);
    // The last key is of a row that is gone, a table's whole; values that one engine or the other might bend.
    Write(*database_, {"delete from Message"});
    Write(*database_, {"delete from Trainer where TrainerID=(select max(TrainerID) from Trainer)"});
    Write(*database_, {"update Company set Description='it''s \"so\" \\ %_ \u0142 \u2603' where CompanyID=1"});
    Write(*database_, {"update Company set City=NULL, Phone='' where CompanyID=2"});
    Write(*database_, {"insert into VisitorSession (SessionKey, Contents) values ('visit', 'x')"});
    Write(*database_, {"insert into StaffSession (SessionKey, AccountKey) values ('visit', 'x')"});
  }
  static std::string Sessions(data::Database& database) {
    return Read(database, {"select (select count(*) from VisitorSession) + (select count(*) from StaffSession)"});
  }
  template <class Action>
  static std::string Refused(const Action& action) {
    try {
      action();
    } catch (const Refusal& refusal) {
      return refusal.what();
    }
    return "";
  }

  const fs::path folder_ = fs::temp_directory_path() / ("surva-keeping-" + std::to_string(getpid()));
  const fs::path file_ = folder_ / "a backup.db";
  TestDatabase database_;
  test::StillClock clock_;
};
SURVA_ON_BOTH_ENGINES(Keeping);

TEST_P(Keeping, ACopyIsTheSameOnTheOtherEngine) {
  FillWithDemo();
  TestDatabase other(GetParam() == Dialect::kSqlite ? Dialect::kPostgres : Dialect::kSqlite);
  const std::vector<CopiedTable> copied = Copy(*database_, *other);
  EXPECT_EQ(copied.size(), KeptTables().size());
  EXPECT_EQ(Contents(*other), Contents(*database_));
  EXPECT_EQ(Sessions(*other), "0");

  // What was given once is not given again.
  const std::string next = std::to_string(LastKey(*database_, data::tables::kTrainer) + 1);
  for (data::Database* database : {&*database_, &*other}) {
    data::Connection db(*database);
    db.AddNew(data::tables::kTrainer).Set("LastName", std::string_view("New")).Update();
    db.Commit();
    EXPECT_EQ(Read(*database, {"select max(TrainerID) from Trainer"}), next);
  }
  EXPECT_NE(Refused([&] { Copy(*database_, *other); }).find("holds data already"), std::string::npos);
  EXPECT_EQ(Contents(*other), Contents(*database_)) << "a refused copy has touched nothing";
}

TEST_P(Keeping, ABackupIsOfOneMomentWhileOthersWrite) {
  FillWithDemo();
  std::atomic<bool> ended = false;
  std::thread writer([&] {
    data::Connection db(*database_);
    for (int i = 0; !ended; ++i) {
      // Both rows or none.
      db.AddNew(data::tables::kCompany).Set("CompanyName", std::string_view("both")).Update();
      db.AddNew(data::tables::kTraining).Set("TrainingName", std::string_view("both")).Update();
      db.Commit();
    }
  });
  Backup(*database_, file_);
  ended = true;
  writer.join();
  struct stat status {};
  ASSERT_EQ(stat(file_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_), fs::directory_iterator()), 1) << "and nothing beside it";
  {
    data::Database backup("sqlite:" + file_.string());
    EXPECT_EQ(Read(backup, {"select count(*) from Company where CompanyName='both'"}),
              Read(backup, {"select count(*) from Training where TrainingName='both'"}));
    EXPECT_EQ(Sessions(backup), "0");
  }
  EXPECT_NE(Refused([&] { Backup(*database_, file_); }).find("stands already"), std::string::npos);
  EXPECT_NE(Refused([&] { Backup(*database_, folder_ / "none/b.db"); }).find("there is no folder"), std::string::npos);
}

TEST_P(Keeping, ARestoredBackupIsWhatItWas) {
  std::ofstream(folder_ / "letter") << "Dear all, this is a letter and no backup, and long enough to be taken for one.";
  EXPECT_NE(Refused([&] { Restore(folder_ / "letter", database_.dsn()); }), "");
  EXPECT_NE(Refused([&] { Restore(folder_, database_.dsn()); }).find("no file"), std::string::npos);
  EXPECT_NE(Refused([&] { Restore(folder_ / "none.db", database_.dsn()); }).find("no file"), std::string::npos);
  FillWithDemo();
  const std::string before = Contents(*database_);
  Backup(*database_, file_);
  Write(*database_, {"delete from Mark"});
  if (GetParam() == Dialect::kPostgres) {
    EXPECT_NE(Refused([&] { Restore(file_, database_.dsn()); }).find("holds data"), std::string::npos);
    const TestDatabase empty(Dialect::kPostgres, test::Tables::kNone);
    Restore(file_, empty.dsn());
    data::Database restored(empty.dsn());
    EXPECT_EQ(Contents(restored), before);
    return;
  }
  EXPECT_NE(Refused([&] { Restore(file_, database_.dsn()); }).find("is in use"), std::string::npos);
  const fs::path live = folder_ / "live.db";
  const std::string dsn = "sqlite:" + live.string();
  EXPECT_EQ(Restore(file_, dsn), "") << "where none was";
  EXPECT_NE(Refused([&] { Restore(live, dsn); }).find("is the database itself"), std::string::npos);
  std::ofstream(folder_ / "other.db.part") << "half";
  EXPECT_NE(Refused([&] { Backup(*database_, folder_ / "other.db"); }).find("another backup"), std::string::npos);
  ASSERT_EQ(chmod(live.c_str(), 0640), 0);
  const bool root = geteuid() == 0;
  ASSERT_EQ(chown(live.c_str(), root ? 65534 : geteuid(), root ? 65534 : getegid()), 0);
  {
    data::Database changed(dsn);
    Write(changed, {"delete from Mark"});
    changed.Close();
  }
  const fs::path kept = Restore(file_, dsn);
  data::Database restored(dsn);
  EXPECT_EQ(Contents(restored), before);
  data::Database replaced("sqlite:" + kept.string());
  EXPECT_EQ(Read(replaced, {"select count(*) from Mark"}), "0");
  struct stat status {};
  ASSERT_EQ(stat(live.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0640U);
  EXPECT_EQ(status.st_uid, root ? 65534U : geteuid());
}

TEST_P(Keeping, ACheckFindsWhatIsWrong) {
  FillWithDemo();
  const auto find = [this](std::string_view words) {
    for (const Finding& finding : Check(*database_)) {
      if (finding.what.find(words) != std::string::npos) return true;
    }
    return false;
  };
  for (const Finding& finding : Check(*database_)) EXPECT_NE(finding.kind, Finding::Kind::kDamage) << finding.what;
  Write(*database_, {"update Participant set PIN='12345' where ParticipantID in (1, 2)"});
  EXPECT_TRUE(find("PIN"));
  Write(
      *database_,
      {"update SurvaVersion set Valid=-1 where SurvaVersionID in (1, (select max(SurvaVersionID) from SurvaVersion))"});
  EXPECT_EQ(Read(*database_, {"select count(*) from SurvaVersion where Valid<>0"}), "2");
  EXPECT_TRUE(find("2 survas are the default"));
  Write(*database_, {"delete from Company where CompanyID=1"});
  EXPECT_TRUE(find("of Student with a CompanyID"));
  Write(*database_, {"update Schedule set EndDate=NULL where ScheduleID=1"});
  EXPECT_TRUE(find("1 event has no dates"));
  const bool sqlite = GetParam() == Dialect::kSqlite;
  database_->Take()->RunScript(sqlite ? "drop trigger Mark_delete; drop trigger Company_update; "
                                        "update Company set Description='a' || char(0) where CompanyID=2; "
                                        "update Company set Description=cast(x'c328' as text) where CompanyID=3; "
                                        "drop trigger Schedule_update; update Schedule set BeginDate='2026-02-31' "
                                        "where ScheduleID=2"
                                      : "alter table Mark disable trigger keep_history_delete; "
                                        "update Schedule set BeginDate='infinity' where ScheduleID=2");
  EXPECT_TRUE(find("deleted in table Mark is not kept"));
  EXPECT_FALSE(find("deleted in table Student is"));
  EXPECT_TRUE(find("1 value of BeginDate in table Schedule cannot be read as a day"));
  EXPECT_EQ(find("2 values of Description in table Company cannot be read as text"), sqlite);
  if (sqlite) {
    TestDatabase other(Dialect::kPostgres);
    EXPECT_NE(Refused([&] { Copy(*database_, *other); }).find("\"surva check\""), std::string::npos);
  }
  database_->Take()->RunScript(sqlite ? "update sqlite_sequence set seq=seq-1 where name='Mark'"
                                      : "select setval('mark_markid_seq', (select max(MarkID)-1 from Mark))");
  EXPECT_TRUE(find("counter of table Mark"));
  database_->Take()->RunScript("alter table Message rename column Message to Remark");
  EXPECT_TRUE(find("column Message of table Message is missing"));
}

TEST_P(Keeping, WhatSomebodyHasDroppedIsNamedAtTheStart) {
  const auto refusal = [this] { return Refused([this] { EXPECT_TRUE(RequireTables(*database_).empty()); }); };
  EXPECT_EQ(refusal(), "");
  for (const auto& [script, told] :
       {std::pair("alter table Message rename column Message to Remark", "column Message of table Me"),
        std::pair("drop table Mark", "table Mark is missing"),
        std::pair("drop table Outbox", "table Outbox is missing")}) {
    database_->Take()->RunScript(script);
    EXPECT_NE(refusal().find(told), std::string::npos) << refusal();
    EXPECT_NE(refusal().find("surva init"), std::string::npos) << refusal();
    EXPECT_TRUE(MakeWhatIsMissing(*database_));
    EXPECT_EQ(refusal(), "");
  }
  // Slow is not wrong.
  database_->Take()->RunScript("drop index Mark_StudentID_ScheduleID");
  const std::vector<Finding> slow = RequireTables(*database_);
  ASSERT_EQ(slow.size(), 1U);
  EXPECT_NE(slow.front().what.find("table Mark has"), std::string::npos) << slow.front().what;
  EXPECT_TRUE(MakeWhatIsMissing(*database_));
  EXPECT_FALSE(MakeWhatIsMissing(*database_));
}

TEST(KeepingFiles, ACheckFindsADamagedFile) {
  TestDatabase database(Dialect::kSqlite);
  test::StillClock clock;
  demo::Fill(*database, clock);
  database->Close();
  std::fstream file(database.dsn().substr(7), std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(40 * 4096);
  file << std::string(8192, '#');
  file.close();
  bool found = false;
  try {
    for (const Finding& finding : Check(*database)) found = found || finding.what.find("damaged") != std::string::npos;
  } catch (const Fault&) {
    found = true;
  }
  EXPECT_TRUE(found);
}

}  // namespace
}  // namespace surva::upkeep
