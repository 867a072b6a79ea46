// Node: a whole site without its sockets, and a browser that asks it. Several over one database are a cluster.
#pragma once

#include <chrono>
#include <future>
#include <map>
#include <string>

#include "host/page_service.h"
#include "tests/support/fixture.h"
#include "tests/support/watched_engine.h"
#include "tests/support/watching.h"
#include "wire/body_stream.h"

namespace surva::test {

inline std::string HeaderOf(const wire::HttpResponse& response, std::string_view name) {
  for (const auto& [known, value] : response.headers) {
    if (known == name) return value;
  }
  return "";
}

using Coming = std::future<wire::HttpResponse>;

inline Coming Send(host::PageService& service, wire::HttpRequest request) {
  auto answer = std::make_shared<std::promise<wire::HttpResponse>>();
  Coming coming = answer->get_future();
  service.Handle(std::move(request), [answer](wire::HttpResponse response) { answer->set_value(std::move(response)); });
  return coming;
}

class Node {
 public:
  struct Options {
    data::Database::Wrap wrap = {};
    std::chrono::milliseconds patience = std::chrono::seconds(5);
    host::PageService::Options service = {};
    const Clock& clock = Clock::System();
  };

  explicit Node(const std::string& dsn) : Node(dsn, Options{}) {}
  Node(const std::string& dsn, Options options)
      : database(dsn, std::move(options.wrap)),
        workers({.threads = 2, .patience = options.patience, .settle = host::PageService::SettlesFor(database)}),
        service(std::move(options.service), database, files, workers, log, options.clock) {}

  Coming Send(wire::HttpRequest request) { return test::Send(service, std::move(request)); }
  wire::HttpResponse Ask(wire::HttpRequest request) { return Send(std::move(request)).get(); }

  data::Database database;
  KeptLog log;
  const host::StaticSite files;
  host::WorkerPool workers;
  host::PageService service;
};

// A form is posted if it is not empty.
inline wire::HttpRequest RequestFor(const std::string& path, const std::string& query = "",
                                    const std::string& form = "") {
  wire::HttpRequest request;
  request.path = path;
  request.query = query;
  request.host = "surva.example";
  request.network = "a network";
  if (!form.empty()) {
    request.method = wire::HttpRequest::Method::kPost;
    request.headers = {{"Content-Type", "application/x-www-form-urlencoded"}};
    request.body = form;
  }
  return request;
}

// A browser's cookies, whichever node has set them.
class Cookies {
 public:
  void AddTo(wire::HttpRequest& request) const {
    std::string all;
    for (const auto& [name, value] : values) all.append(all.empty() ? "" : "; ").append(name).append("=").append(value);
    if (!all.empty()) request.headers.emplace_back("Cookie", all);
  }
  void TakeFrom(const wire::HttpResponse& response) {
    for (const auto& [name, value] : response.headers) {
      if (name != "Set-Cookie") continue;
      const std::size_t equals = value.find('=');
      values[value.substr(0, equals)] = value.substr(equals + 1, value.find(';') - equals - 1);
    }
  }

  std::map<std::string, std::string> values;
};

class Browser {
 public:
  Coming Send(Node& node, wire::HttpRequest request) {
    cookies.AddTo(request);
    return node.Send(std::move(request));
  }
  wire::HttpResponse Ask(Node& node, wire::HttpRequest request) {
    wire::HttpResponse response = Send(node, std::move(request)).get();
    cookies.TakeFrom(response);
    return response;
  }
  wire::HttpResponse Get(Node& node, const std::string& path, const std::string& query = "") {
    return Ask(node, RequestFor(path, query));
  }
  wire::HttpResponse Post(Node& node, const std::string& path, const std::string& form) {
    return Ask(node, RequestFor(path, "", form));
  }

  Cookies cookies;
};

// An owner's site whose staff pages something in front guards, so that anybody may open them.
inline Node::Options ExampleSite(Watch& watch, const Clock& clock, desk::Settings desk = {.readers = "the <office>"}) {
  return {.wrap = WatchedEngine::Around(watch),
          .service = {.owner = {.author = "A. Uthor",
                                .notice = "Example Training",
                                .official = "http://www.example",
                                .homepage = "http://home.example/"},
                      .desk = std::move(desk),
                      .gate = {.guarded_in_front = true},
                      .free_wrong_pins = 0,
                      .public_writes = {.writes_an_hour = 0}},
          .clock = clock};
}

// Base of the tests of a site over the fixture's rows, whose statements are counted and can be told to fail.
class OnSite : public OnFixture {
 protected:
  wire::HttpResponse Get(const std::string& path, const std::string& query = "") {
    return browser.Get(node, path, query);
  }
  wire::HttpResponse Post(const std::string& path, const std::string& form) { return browser.Post(node, path, form); }

  StillClock clock;
  Watch watch;
  Node node{database.dsn(), ExampleSite(watch, clock)};
  Browser browser;
};

// Base of those of a cluster.
class TwoNodes : public OnFixture {
 protected:
  Watch watch;
  Node node{database.dsn(), {.wrap = WatchedEngine::Around(watch)}};
  Node other{database.dsn(), {.wrap = WatchedEngine::Around(watch)}};
};

inline bool Holds(const wire::HttpResponse& answer, std::string_view text) {
  return answer.body.find(text) != std::string::npos;
}

}  // namespace surva::test
