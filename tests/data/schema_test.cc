// Making and upgrading databases. Which will not do is seen on the program: tests/commands/readiness.t.
#include <cstdlib>
#include <future>
#include <thread>

#include "frame/data/connection.h"
#include "frame/data/schema_upgrade.h"
#include "frame/values/fault.h"
#include "tests/support/recorded.h"
#include "tests/support/test_database.h"

namespace surva::test {
namespace {

using namespace data;
using namespace data::tables;

class Schema : public OnBothEngines {};
SURVA_ON_BOTH_ENGINES(Schema);

TEST_P(Schema, IsMadeOnceByManyAndLeftAlone) {
  TestDatabase database(GetParam(), Tables::kNone);
  AtOnce(4, [&](int) { Database(database.dsn()).BringUpToDate(); });
  Write(*database, {"insert into Message (Message) values ('kept')"});
  Database(database.dsn()).BringUpToDate();
  EXPECT_EQ(Read(*database, {"select Message from Message"}), "kept");
  EXPECT_EQ(Read(*database, {"select Version from SchemaVersion"}), std::to_string(kSchemaVersion));
}

// Databases that earlier versions have left are taken to the present one: kept files for SQLite, kept dumps for
// PostgreSQL. "version-1-early" was made before indexes were changed without a new version number.
const std::filesystem::path kKept = "tests/data/upgrades";

// All that the engine's catalogue says of the tables, a line for each thing.
std::string Catalogue(Database& database) {
  if (database.dialect() == Dialect::kSqlite) {
    return Read(database, {"select sql || char(10) from sqlite_master where sql is not null order by name"});
  }
  return Read(database,
              {"select table_name || ' ' || column_name || ' ' || ordinal_position || ' ' || udt_name || ' ' || "
               "is_nullable || ' ' || coalesce(column_default, '-') || coalesce(character_maximum_length, 0) || "
               "coalesce(collation_name, '-') || chr(10) from information_schema.columns "
               "where table_schema='public' order by 1"}) +
         Read(database, {"select indexdef || chr(10) from pg_indexes where schemaname='public' order by 1"}) +
         Read(database, {"select conrelid::regclass || ' ' || pg_get_constraintdef(oid) || chr(10) from pg_constraint "
                         "where connamespace='public'::regnamespace order by 1"}) +
         Read(database,
              {"select pg_get_functiondef(oid) || chr(10) from pg_proc where pronamespace='public'::regnamespace "
               "and prolang=(select oid from pg_language where lanname='sql') order by 1"});
}

TEST_P(Schema, OfAnEarlierVersionIsTakenToThePresentOne) {
  const bool sqlite = GetParam() == Dialect::kSqlite;
  for (const std::string kept : {"version-1", "version-1-early"}) {
    SCOPED_TRACE(kept);
    TestDatabase database(GetParam(), Tables::kNone);
    const std::string file = database.dsn().substr(std::string("sqlite:").size());
    // By a tool that does not know us.
    const auto add_company = [&](const std::string& name) {
      const std::string sql = "insert into Company (CompanyName) values ('" + name + "')";
      return std::system(("sqlite3 " + file + " \"" + sql + "\" 2>/dev/null").c_str());
    };
    if (!sqlite) database->Take()->RunScript(ReadFile(kKept / (kept + ".sql")));
    database.Reopen([&] {
      if (!sqlite) return;
      std::filesystem::copy_file(kKept / (kept + ".db"), file, std::filesystem::copy_options::overwrite_existing);
      ASSERT_EQ(add_company("\u00e9clair"), 0);
    });
    database->BringUpToDate();
    TestDatabase fresh(GetParam());
    EXPECT_EQ(Catalogue(*database), Catalogue(*fresh));
    EXPECT_EQ(Read(*database, {"select Version from SchemaVersion"}), std::to_string(kSchemaVersion));
    EXPECT_EQ(Read(*database, {"select CompanyName from Company where City='warsaw' order by CompanyName, CompanyID"}),
              "_under ames Ames & Sons zenith \u00c9cole \u0141\u00f3d\u017a");
    EXPECT_EQ(Read(*database, {"select CompanyID from Company where CompanyName like '\u00c9CL%'"}), sqlite ? "9" : "");
    EXPECT_EQ(Read(*database, {"select count(*) from Student where LastName='ZO\u00cb'"}), "2");
    EXPECT_EQ(
        Read(*database, {"select PIN, FillDate, BeginDate, Place, SurvaName from Participant, Schedule, SurvaVersion"}),
        "4711,-,3/1/2004,Lodz,Evaluation");
    EXPECT_EQ(Read(*database, {"select TextAnswer from AnonymousMark"}), "na\u00efve");
    EXPECT_EQ(Read(*database, {"select SessionKey, Contents, LastUse, TimeoutMinutes from VisitorSession"}),
              "0123abCD,kept,4102444800,120");
    Connection db(*database);
    EXPECT_EQ(db.AddNew(kCompany).SetNull("City").Update(), sqlite ? 10 : 9);
    db.Commit();
    if (!sqlite) continue;
    EXPECT_EQ(Read(*database, {"select integrity_check from pragma_integrity_check"}), "ok");
    EXPECT_NE(add_company("x"), 0) << "another tool would put it into the wrong place of an index";
  }
}

TEST(PostgresSchema, IsUpgradedBehindALongReaderWhomOthersDoNotWaitFor) {
  TestDatabase database(Dialect::kPostgres, Tables::kNone);
  database->Take()->RunScript(ReadFile(kKept / "version-1.sql"));
  database.Reopen();
  Database other(database.dsn());
  const auto reader = other.Take();
  reader->RunScript("BEGIN; SELECT count(*) FROM Mark");
  auto upgrade = std::async(std::launch::async, [&] { Database(database.dsn()).BringUpToDate(); });
  const auto upgrade_waits = [&] {
    return Read(*database, {"select count(*) from pg_locks where not granted and database="
                            "(select oid from pg_database where datname=current_database())"}) != "0";
  };
  while (!upgrade_waits()) std::this_thread::yield();
  EXPECT_NO_THROW(Read(*database, {"select count(*) from Mark"}));
  reader->RunScript("COMMIT");
  upgrade.get();
  EXPECT_EQ(Read(*database, {"select Version from SchemaVersion"}), std::to_string(kSchemaVersion));
}

}  // namespace
}  // namespace surva::test
