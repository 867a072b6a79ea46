// PageHarness: one visitor's requests to a page object in memory, one after the other, as a host would run them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "frame/page_object.h"
#include "tests/support/test_database.h"

namespace surva::test {

struct Answer {
  std::string page;
  std::optional<std::string> redirect;
  Response response;
  std::vector<FaultNumber> faults;  // what ended in the error block

  bool Holds(std::string_view text) const { return page.find(text) != std::string::npos; }
  int Count(std::string_view text) const;
};

class Visitor {
 public:
  explicit Visitor(data::Database& database) : database_(database) {}

  // Runs one request, commits what it wrote, and keeps the session the way a host does: stored and read back.
  template <class Page, class... More>
  Answer Serve(const NameValues& query, const NameValues& form, const More&... more) {
    const Request request(query, form, variables);
    return Run(request, [&more...](PageContext& context) { Page(context, more...).Serve(); });
  }
  Session& session() { return session_; }

  ServerVariables variables{.remote_addr = "192.0.2.7", .script_name = "/surva.asp", .server_name = "www.example"};
  Owner owner{.author = "A. Uthor", .notice = "Example Training", .official = "http://www.example", .homepage = {}};
  std::string homepage = "http://home.example/";
  std::optional<std::string> dsn;  // what Session("DSN") holds, if not the database's own name
  StillClock clock;

 private:
  Answer Run(const Request& request, const std::function<void(PageContext&)>& serve);

  data::Database& database_;
  Session session_;
};

}  // namespace surva::test
