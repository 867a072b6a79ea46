// Making, opening and upgrading databases.
#include <sqlite3.h>

#include <fstream>

#include "frame/data/connection.h"
#include "frame/data/schema_upgrade.h"
#include "frame/values/fault.h"
#include "tests/support/recorded.h"
#include "tests/support/test_database.h"

namespace surva::test {
namespace {

using namespace data;
using namespace data::tables;

class Schema : public OnBothEngines {
 protected:
  TestDatabase database{GetParam(), Tables::kNone};
};
SURVA_ON_BOTH_ENGINES(Schema);

TEST_P(Schema, IsMadeOnceAndLeftAlone) {
  database->BringUpToDate();
  Write(*database, {"insert into Message (Message) values ('kept')"});
  database->BringUpToDate();
  Database(database.dsn()).BringUpToDate();
  EXPECT_EQ(Read(*database, {"select Message from Message"}), "kept");
  EXPECT_EQ(Read(*database, {"select Version from SchemaVersion"}), std::to_string(kSchemaVersion));
}

TEST_P(Schema, TwoProgramsMayMakeItAtOnce) {
  AtOnce(4, [this](int) { Database(database.dsn()).BringUpToDate(); });
  EXPECT_EQ(Read(*database, {"select count(*) from SchemaVersion"}), "1");
}

TEST_P(Schema, OfALaterVersionIsRefused) {
  database->BringUpToDate();
  Write(*database, {"update SchemaVersion set Version=Version+1"});
  EXPECT_THROW(Database(database.dsn()).BringUpToDate(), SchemaError);
  EXPECT_EQ(Read(*database, {"select Version from SchemaVersion"}), std::to_string(kSchemaVersion + 1));
}

TEST_P(Schema, OfSomebodyElseIsRefusedAndLeftAsItIs) {
  database->Take()->RunScript("create table SURVAVERSION (Answer integer); insert into SURVAVERSION values (42)");
  EXPECT_THROW(database->BringUpToDate(), SchemaError);
  EXPECT_EQ(Read(*database, {"select * from SurvaVersion"}), "42");
  EXPECT_THROW(Read(*database, {"select * from Message"}), Fault);
}

TEST(DataSource, OfNoKnownFormIsRefused) {
  for (const char* dsn : {"", "sqlite", "sqlite:", "mysql://x/y", "/var/lib/surva.db", "Postgresql://x"}) {
    EXPECT_THROW(Database{dsn}, SchemaError) << dsn;
  }
  EXPECT_THROW(Database{"sqlite:/no/such/folder/test.db"}, Fault);
  EXPECT_THROW(Database{"postgresql:///surva?host=/no/such/folder"}, Fault);
  TestDatabase folder(Dialect::kSqlite, Tables::kNone);
  const std::string path = folder.dsn().substr(7) + ".txt";
  std::ofstream(path) << "This is no database, whatever its name may say. It goes on for more than a header's length, "
                         "because an engine looks at that much before it says no.";
  EXPECT_THROW(Database("sqlite:" + path).BringUpToDate(), Fault);
}

// An ordinary user with a database of his own; and one in a database of somebody else, who may make schemas in it.
TEST(PostgresUser, NeedsNoSpecialRights) {
  TestDatabase own(Dialect::kPostgres, Tables::kNone);
  const std::string user = own.postgres_name() + "_user";
  RunOnServer("create role " + user + " login");
  RunOnServer("alter database " + own.postgres_name() + " owner to " + user);
  {
    Database database(PostgresAddress(own.postgres_name(), user));
    database.BringUpToDate();
    database.BringUpToDate();
    Write(database, {"insert into Message (Message) values ('mine')"});
    EXPECT_EQ(Read(database, {"select Message, MONTH(now())>0 from Message where Message like 'MI%'"}), "mine,-1");
  }
  {
    TestDatabase other(Dialect::kPostgres, Tables::kNone);
    RunOnServer("grant create on database " + other.postgres_name() + " to " + user);
    Database database(PostgresAddress(other.postgres_name(), user));
    database.BringUpToDate();
    Write(database, {"insert into Message (Message) values ('guest')"});
    EXPECT_EQ(Read(database, {"select Message from Message where Message='GUEST'"}), "guest");
  }
  RunOnServer("reassign owned by " + user + " to postgres");
  own->Take()->RunScript("reassign owned by " + user + " to postgres");
  RunOnServer("drop role " + user);
}

// Databases that earlier versions have left are taken to the present one: kept files for SQLite, kept dumps for
// PostgreSQL. "version-1-early" was made before indexes were changed without a new version number.
const std::filesystem::path kKept = "tests/data/upgrades";

// All that the engine's catalogue says of the tables, a line for each thing.
std::string Catalogue(Database& database) {
  Connection db(database);
  std::string text;
  const auto add = [&](const Rows& rows) {
    for (const Row& row : rows) text += row[0].Text() + "\n";
  };
  if (db.dialect() == Dialect::kSqlite) {
    add(db.Query({"select sql from sqlite_master where sql is not null order by name"}));
    return text;
  }
  add(db.Query({"select table_name || ' ' || column_name || ' ' || ordinal_position || ' ' || udt_name || ' ' || "
                "is_nullable || ' ' || coalesce(column_default, '-') || coalesce(character_maximum_length, 0) || "
                "coalesce(collation_name, '-') as Line from information_schema.columns "
                "where table_schema='public' order by 1"}));
  add(db.Query({"select indexdef::text as Line from pg_indexes where schemaname='public' order by 1"}));
  add(db.Query({"select conrelid::regclass || ' ' || pg_get_constraintdef(oid) as Line from pg_constraint "
                "where connamespace='public'::regnamespace order by 1"}));
  add(db.Query({"select pg_get_functiondef(oid) as Line from pg_proc where pronamespace='public'::regnamespace and "
                "prolang=(select oid from pg_language where lanname='sql') order by 1"}));
  return text;
}

// As a tool that does not know us would do it.
int RunForeign(const std::string& file, const char* sql) {
  sqlite3* database = nullptr;
  sqlite3_open(file.c_str(), &database);
  const int code = sqlite3_exec(database, sql, nullptr, nullptr, nullptr);
  sqlite3_close(database);
  return code;
}

class Upgrade : public ::testing::TestWithParam<std::tuple<Dialect, std::string>> {
 protected:
  Dialect dialect() const { return std::get<0>(GetParam()); }
  std::string SqliteFile() const { return database.dsn().substr(std::string("sqlite:").size()); }

  void Restore() {
    const std::string& kept = std::get<1>(GetParam());
    if (dialect() == Dialect::kPostgres) {
      database->Take()->RunScript(ReadFile(kKept / (kept + ".sql")));
      database.Reopen();
      return;
    }
    database.Reopen([&] {
      std::filesystem::copy_file(kKept / (kept + ".db"), SqliteFile(),
                                 std::filesystem::copy_options::overwrite_existing);
      ASSERT_EQ(RunForeign(SqliteFile(), "insert into Company (CompanyName) values ('\u00e9clair')"), SQLITE_OK);
    });
  }

  TestDatabase database{std::get<0>(GetParam()), Tables::kNone};
};

INSTANTIATE_TEST_SUITE_P(From, Upgrade,
                         ::testing::Combine(::testing::Values(Dialect::kSqlite, Dialect::kPostgres),
                                            ::testing::Values("version-1", "version-1-early")),
                         [](const auto& info) {
                           std::string name = std::get<1>(info.param);
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name + (std::get<0>(info.param) == Dialect::kSqlite ? "_sqlite" : "_postgres");
                         });

TEST_P(Upgrade, EndsWhereANewDatabaseBeginsAndKeepsAllRows) {
  Restore();
  database->BringUpToDate();
  TestDatabase fresh(dialect());
  EXPECT_EQ(Catalogue(*database), Catalogue(*fresh));
  EXPECT_EQ(Read(*database, {"select Version from SchemaVersion"}), std::to_string(kSchemaVersion));
  const bool sqlite = dialect() == Dialect::kSqlite;
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
  if (!sqlite) return;
  EXPECT_EQ(Read(*database, {"select integrity_check from pragma_integrity_check"}), "ok");
  EXPECT_NE(RunForeign(SqliteFile(), "insert into Company (CompanyName) values ('x')"), SQLITE_OK)
      << "another tool would put it into the wrong place of an index";
}

}  // namespace
}  // namespace surva::test
