// What the site puts around a page before it goes out.
#include "host/page_service.h"

#include <gtest/gtest.h>

#include <future>

#include "tests/support/seed.h"
#include "tests/support/test_database.h"

namespace surva::host {
namespace {

class NoLog final : public wire::Log {
 public:
  void Access(const wire::AccessEntry&) override {}
  void Info(std::string_view) override {}
  void Warning(std::string_view) override {}
  void Error(std::string_view) override {}
};

std::string Header(const wire::HttpResponse& response, std::string_view name) {
  for (const auto& [known, value] : response.headers) {
    if (known == name) return value;
  }
  return "";
}

TEST(Answers, WhatAPageSaysOfCachesHoldsForItsRedirectToo) {
  test::TestDatabase database(data::Dialect::kSqlite);
  const std::int64_t surva = test::Seed(*database).Surva(
      {.authorisation = false, .rows = {{.role = test::kGroup, .control = test::kNoAnswer, .content = "Course"}}});
  NoLog log;
  const StaticSite files;
  WorkerPool workers(2, 8);
  PageService service({}, *database, files, workers, log);
  std::string cookie;
  const auto ask = [&](const std::string& query) {
    wire::HttpRequest request;
    request.path = "/surva.asp";
    request.query = query;
    request.headers = {{"Cookie", cookie}};
    std::promise<wire::HttpResponse> answer;
    service.Handle(std::move(request),
                   [&answer](wire::HttpResponse response) { answer.set_value(std::move(response)); });
    wire::HttpResponse response = answer.get_future().get();
    if (const std::string set = Header(response, "Set-Cookie"); !set.empty()) cookie = set.substr(0, set.find(';'));
    return response;
  };
  const wire::HttpResponse form = ask("version=" + std::to_string(surva));
  const wire::HttpResponse thanks = ask("FormAccepted=" + std::to_string(surva));
  EXPECT_EQ(form.status, 200U);
  EXPECT_EQ(thanks.status, 302U);
  EXPECT_NE(Header(thanks, "Location"), "");
  for (const wire::HttpResponse& answer : {form, thanks}) {
    EXPECT_EQ(Header(answer, "Cache-Control"), "no-cache") << answer.status;
    EXPECT_EQ(Header(answer, "Pragma"), "no-cache") << answer.status;
    EXPECT_NE(Header(answer, "Expires"), "") << answer.status;
  }
}

}  // namespace
}  // namespace surva::host
