// A member of staff who opens our own pages, in memory, as a host would run them.
#pragma once

#include <string>
#include <vector>

#include "desk/pages.h"
#include "host/routes.h"
#include "tests/support/fixture.h"
#include "tests/support/node.h"

namespace surva::desk {

class Desk : public test::OnBothEngines {
 protected:
  Desk() { test::LoadFixture(*database); }

  wire::HttpResponse Get(Page page, const NameValues& query) { return Run(page, query, {}, {}); }
  wire::HttpResponse Post(Page page, const NameValues& form, const std::vector<Upload>& files = {}) {
    http.method = wire::HttpRequest::Method::kPost;
    wire::HttpResponse answer = Run(page, {}, form, files);
    http.method = wire::HttpRequest::Method::kGet;
    return answer;
  }
  std::string Read(std::initializer_list<data::Piece> select) { return test::Read(*database, select); }
  void Write(std::initializer_list<data::Piece> statement) { test::Write(*database, statement); }

  wire::HttpResponse Run(Page page, const NameValues& query, const NameValues& form, const std::vector<Upload>& files) {
    const Request request(query, form, {});
    data::Connection connection(opened == nullptr ? *database : *opened);
    Context context{http,     request, files, connection, *database, background,
                    settings, owner_,  clock, person,     gate_,     host::MenuOf(person.role)};
    wire::HttpResponse answer = page(context);
    connection.Commit();
    return answer;
  }

  test::TestDatabase database{GetParam()};
  data::Database* opened = nullptr;  // what pages are given in its place
  test::StillClock clock;
  wire::HttpRequest http;
  Settings settings;
  // Room for what a test asks one after the other.
  Background background{[](const std::exception& failure) { ADD_FAILURE() << failure.what(); }, 32};
  guard::Person person;

 private:
  guard::Gate gate_;
  Owner owner_;
};

inline bool Holds(const wire::HttpResponse& answer, std::string_view text) {
  return answer.body.find(text) != std::string::npos;
}

}  // namespace surva::desk
