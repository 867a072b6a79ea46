// What the site puts around a page before it goes out.
#include <gtest/gtest.h>

#include "tests/host/node.h"
#include "tests/support/seed.h"
#include "tests/support/test_database.h"

namespace surva::host {
namespace {

TEST(Answers, WhatAPageSaysOfCachesHoldsForItsRedirectToo) {
  test::TestDatabase database(data::Dialect::kSqlite);
  const std::int64_t surva = test::Seed(*database).Surva(
      {.authorisation = false, .rows = {{.role = test::kGroup, .control = test::kNoAnswer, .content = "Course"}}});
  test::Node node(database.dsn());
  test::Browser browser;
  const wire::HttpResponse form = browser.Get(node, "/surva.asp", "version=" + std::to_string(surva));
  const wire::HttpResponse thanks = browser.Get(node, "/surva.asp", "FormAccepted=" + std::to_string(surva));
  EXPECT_EQ(form.status, 200U);
  EXPECT_EQ(thanks.status, 302U);
  EXPECT_NE(test::HeaderOf(thanks, "Location"), "");
  for (const wire::HttpResponse& answer : {form, thanks}) {
    EXPECT_EQ(test::HeaderOf(answer, "Cache-Control"), "no-cache") << answer.status;
    EXPECT_EQ(test::HeaderOf(answer, "Pragma"), "no-cache") << answer.status;
    EXPECT_NE(test::HeaderOf(answer, "Expires"), "") << answer.status;
  }
}

}  // namespace
}  // namespace surva::host
