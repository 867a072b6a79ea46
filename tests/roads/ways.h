// Ways: how a road's requests reach the pages. In memory, through sockets, or two nodes in turn over one database.
#pragma once

#include <memory>
#include <string>

#include "tests/support/node.h"
#include "tests/support/page_harness.h"

namespace surva::test {

class Way {
 public:
  virtual ~Way() = default;
  // The answer with its body, also if it came as a stream.
  virtual wire::HttpResponse Ask(const wire::HttpRequest& request) = 0;
};

// "memory", "sockets" or "nodes". The clock is the pages' and the database's.
std::unique_ptr<Way> MakeWay(const std::string& name, const std::string& dsn, const Clock& clock);

}  // namespace surva::test
