// Two nodes over one database with the rows of the fixture, whose statements are counted and can be told to fail.
#pragma once

#include "tests/support/node.h"

namespace surva::test {

class TwoNodes : public OnFixture {
 protected:
  Watch watch;
  Node node{database.dsn(), {.wrap = WatchedEngine::Around(watch)}};
  Node other{database.dsn(), {.wrap = WatchedEngine::Around(watch)}};
};

}  // namespace surva::test
