#include "tests/support/test_database.h"

namespace surva::test {
namespace {

TEST(Tally, CountsAsGroupingDoes) {
  TestDatabase database(data::Dialect::kSqlite);
  constexpr data::Piece kRows = "with recursive N(i) as (select 0 union all select i+1 from N where i<19999), "
                                "Triples(a, b, c) as (select i%3000-1500, i%2, case when i%3>0 then i%5-2 end from N) ";
  EXPECT_EQ(Read(*database, {kRows, "select value->>0 as a, value->>1 as b, value->>2 as c, value->>3 as n from "
                                    "json_each((select tally(a, b, c) from Triples)) order by a, b, c"}),
            Read(*database, {kRows, "select a, b, c, count(*) as n from Triples group by a, b, c order by a, b, c"}));
  EXPECT_EQ(Read(*database, {"select tally(1, 2, 3) from (select 1 where 1=0)"}), "[]");
}

}  // namespace
}  // namespace surva::test
