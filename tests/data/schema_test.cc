// Making and opening databases.
#include <fstream>

#include "frame/data/connection.h"
#include "frame/data/schema_upgrade.h"
#include "frame/values/fault.h"
#include "tests/support/test_database.h"

namespace surva::test {
namespace {

using namespace data;

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
  for (const Table* table : AllTables()) {
    Connection db(*database);
    const Rows rows = db.Query({"Select * from ", Name(*table)});
    EXPECT_EQ(rows.shape().size(), static_cast<int>(table->columns.size())) << table->name;
  }
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

}  // namespace
}  // namespace surva::test
