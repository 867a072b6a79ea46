// Node: a whole site without its sockets, and a browser that asks it. Several over one database are a cluster.
#pragma once

#include <chrono>
#include <future>
#include <mutex>
#include <string>

#include "host/page_service.h"

namespace surva::test {

class KeptLog final : public wire::Log {
 public:
  void Access(const wire::AccessEntry&) override {}
  void Info(std::string_view) override {}
  void Warning(std::string_view text) override {
    const std::lock_guard lock(mutex_);
    warnings_.append(text).append("\n");
  }
  void Error(std::string_view text) override {
    const std::lock_guard lock(mutex_);
    errors_.append(text).append("\n");
  }
  std::string errors() const {
    const std::lock_guard lock(mutex_);
    return errors_;
  }

  std::string warnings() const {
    const std::lock_guard lock(mutex_);
    return warnings_;
  }

 private:
  mutable std::mutex mutex_;
  std::string errors_;
  std::string warnings_;
};

inline std::string HeaderOf(const wire::HttpResponse& response, std::string_view name) {
  for (const auto& [known, value] : response.headers) {
    if (known == name) return value;
  }
  return "";
}

class Node {
 public:
  explicit Node(const std::string& dsn, data::Database::Wrap wrap = {},
                std::chrono::milliseconds patience = std::chrono::seconds(5))
      : database(dsn, std::move(wrap)), workers({.threads = 2, .patience = patience}) {}

  data::Database database;
  KeptLog log;
  const host::StaticSite files;
  host::WorkerPool workers;
  host::PageService service{{}, database, files, workers, log};
};

// Keeps its cookie, whichever node has set it.
class Browser {
 public:
  using Coming = std::future<wire::HttpResponse>;

  // `form` is posted if it is not empty.
  Coming Send(Node& node, const std::string& path, const std::string& query = "", const std::string& form = "") {
    wire::HttpRequest request;
    request.path = path;
    request.query = query;
    request.network = "n";
    request.headers = {{"Cookie", cookie}};
    if (!form.empty()) {
      request.method = wire::HttpRequest::Method::kPost;
      request.headers.emplace_back("Content-Type", "application/x-www-form-urlencoded");
      request.body = form;
    }
    auto answer = std::make_shared<std::promise<wire::HttpResponse>>();
    Coming coming = answer->get_future();
    node.service.Handle(std::move(request),
                        [answer](wire::HttpResponse response) { answer->set_value(std::move(response)); });
    return coming;
  }
  wire::HttpResponse Take(Coming coming) {
    wire::HttpResponse response = coming.get();
    if (const std::string set = HeaderOf(response, "Set-Cookie"); !set.empty()) cookie = set.substr(0, set.find(';'));
    return response;
  }
  wire::HttpResponse Get(Node& node, const std::string& path, const std::string& query = "") {
    return Take(Send(node, path, query));
  }
  wire::HttpResponse Post(Node& node, const std::string& path, const std::string& form) {
    return Take(Send(node, path, "", form));
  }

  std::string cookie;
};

}  // namespace surva::test
