// Two nodes over one database with the rows of the fixture, whose statements are counted and can be told to fail.
#pragma once

#include "tests/support/fixture.h"
#include "tests/support/node.h"

namespace surva::test {

class TwoNodes : public OnBothEngines {
 protected:
  TwoNodes() { LoadFixture(*database_); }
  std::string Read(std::initializer_list<data::Piece> select) { return test::Read(*database_, select); }

  TestDatabase database_{GetParam()};
  Watch watch_;
  Node node_{database_.dsn(), {.wrap = WatchedEngine::Around(watch_)}};
  Node other_{database_.dsn(), {.wrap = WatchedEngine::Around(watch_)}};
};

}  // namespace surva::test
