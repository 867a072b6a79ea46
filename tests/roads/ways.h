// Ways: how a road's requests reach the pages. In memory, through sockets, or two nodes in turn over one database.
#pragma once

#include <array>
#include <memory>
#include <string>

#include "host/page_service.h"
#include "tests/support/page_harness.h"
#include "tests/support/test_database.h"
#include "tests/support/watched_engine.h"
#include "wire/http_message.h"

namespace surva::test {

class SilentLog final : public wire::Log {
 public:
  void Access(const wire::AccessEntry&) override {}
  void Info(std::string_view) override {}
  void Warning(std::string_view) override {}
  void Error(std::string_view) override {}
};

// A site of its own: its connections, its workers, its sessions in memory.
class Node {
 public:
  Node(const std::string& dsn, const Clock& clock);
  wire::HttpResponse Ask(wire::HttpRequest request);

  data::Database& database() { return database_; }
  host::PageService& service() { return service_; }

 private:
  Watch watch_;
  data::Database database_;
  host::StaticSite files_;
  host::WorkerPool workers_{{.threads = 2}};
  SilentLog log_;
  host::PageService service_;
};

class Way {
 public:
  virtual ~Way() = default;
  virtual wire::HttpResponse Ask(const wire::HttpRequest& request) = 0;
};

// "memory", "sockets" or "nodes".
std::unique_ptr<Way> MakeWay(const std::string& name, const std::string& dsn, const Clock& clock);

}  // namespace surva::test
