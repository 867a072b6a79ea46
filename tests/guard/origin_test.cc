// Where requests come from, and what acts.
#include "guard/origin.h"

#include <gtest/gtest.h>

#include "guard/acts.h"

namespace surva::guard {
namespace {

using Method = wire::HttpRequest::Method;

TEST(Acts, AreLinksAndPostsThatChangeSomething) {
  // All that staff change by a link.
  for (const auto& [path, query] : std::initializer_list<std::pair<std::string_view, std::string_view>>{
           {"/admin/createform.asp", "DeleteSurva=1"},
           {"/admin/createform.asp", "ChangeValid=Change&Number=1"},
           {"/admin/createform.asp", "CreateEmptySurva=1"},
           {"/admin/createform.asp", "CreateNewSurva2=1&SurvaVersionID=1"},
           {"/admin/createform.asp", "MoveUp=3&SurvaVersion=1"},
           {"/admin/createform.asp", "MoveDown=3&SurvaVersion=1"},
           {"/admin/createform.asp", "DeleteQuestion=3&SurvaVersion=1"},
           {"/admin/createform.asp", "DeleteQuestionAnswer=1&Number=1"},
           {"/admin/createform.asp", "AddQuestionAnswer=1&Number=1"},
           {"/admin/createform.asp", "AddQuestionStep=5"},
           {"/admin/createform.asp", "&&View=1&%64eletesurva=1"},
           {"/admin/schedule.asp", "Update=1"},
           {"/admin/schedule.asp", "ModDown=1&Choose=Choose&StudentID=2"},
           {"/admin/schedule.asp", "ModDown=1&Delete=Delete&ToN=2"},
           {"/admin/company.asp", "Delete=1&Update=1"},
           {"/admin/stat.asp", "EraseMessage=1"}}) {
    EXPECT_TRUE(MayChange(path, Method::kGet, query)) << path << query;
  }
  for (const auto& [path, query] : std::initializer_list<std::pair<std::string_view, std::string_view>>{
           {"/admin/createform.asp", ""},
           {"/admin/createform.asp", "View=1"},
           {"/admin/createform.asp", "Preview=1"},
           {"/admin/schedule.asp", "ModSch0=1"},
           {"/admin/schedule.asp", "Action=P&M=3"},
           {"/admin/student.asp", "Search=Search&LastName=%25"},
           {"/admin/stat.asp", "Remarks=1"},
           {"/admin/report", "event=1"}}) {
    EXPECT_FALSE(MayChange(path, Method::kGet, query)) << path << query;
    EXPECT_TRUE(MayChange(path, Method::kPost, query)) << path << query;
  }
}

TEST(Acts, AreNoneOfAReportsCriteria) {
  EXPECT_FALSE(MayChange("/admin/browse.asp", Method::kPost, "ReadCriteria=1"));
}

TEST(SafeAddress, StaysInsideAndOnlyReads) {
  EXPECT_EQ(SafeAddress("/admin/browse.asp?Stats=1&ScheduleID=2"), "/admin/browse.asp?Stats=1&ScheduleID=2");
  EXPECT_EQ(SafeAddress("/admin/CreateForm.asp?DeleteSurva=1"), "/admin/CreateForm.asp");
  for (const std::string_view bad :
       {"", "//evil.example/admin/", "https://evil.example/", "/admin/../surva.asp", "/admin//evil.example",
        "/admin/\\evil", "javascript:alert(1)", "/admin/%2e%2e/x", "/admin/x\r\nSet-Cookie: a=b", "/surva.asp"}) {
    EXPECT_EQ(SafeAddress(bad), "/admin/default.asp") << bad;
  }
}

struct Case {
  const char* what;
  wire::HeaderFields headers;
  Verdict verdict;
};

wire::HttpRequest Request(const wire::HeaderFields& headers, Method method = Method::kGet) {
  wire::HttpRequest request;
  request.method = method;
  request.host = "surva.example";
  request.headers = headers;
  return request;
}

wire::HeaderFields Fetch(const char* site, const char* mode, const char* dest, const char* user, const char* referer) {
  return {{"Sec-Fetch-Site", site},
          {"Sec-Fetch-Mode", mode},
          {"Sec-Fetch-Dest", dest},
          {"Sec-Fetch-User", user},
          {"Referer", referer}};
}

constexpr const char* kOwn = "https://surva.example/admin/CreateForm.asp?View=1";

TEST(Judge, LetsActOnlyAPersonOnThePageItself) {
  const Case cases[] = {
      {"a click on the page", Fetch("same-origin", "navigate", "document", "?1", kOwn), Verdict::kPass},
      {"a click in a frame", Fetch("same-origin", "navigate", "frame", "?1", kOwn), Verdict::kPass},
      {"no browser", {}, Verdict::kPass},
      {"an old browser", {{"Referer", kOwn}}, Verdict::kPass},
      {"a picture", Fetch("same-origin", "no-cors", "image", "", kOwn), Verdict::kRefuse},
      {"a prefetch", Fetch("same-origin", "no-cors", "empty", "", kOwn), Verdict::kRefuse},
      {"a page fetched ahead of a click",
       {{"Sec-Fetch-Site", "same-origin"},
        {"Sec-Fetch-Mode", "navigate"},
        {"Sec-Fetch-Dest", "document"},
        {"Sec-Fetch-User", "?1"},
        {"Sec-Purpose", "prefetch;prerender"},
        {"Referer", kOwn}},
       Verdict::kRefuse},
      {"a refresh that nobody asked for", Fetch("same-origin", "navigate", "document", "", kOwn), Verdict::kAskAgain},
      {"a remark's link",
       Fetch("same-origin", "navigate", "document", "?1", "https://surva.example/admin/stat.asp?Remarks=1"),
       Verdict::kAskAgain},
      {"a link that hides where it stands", Fetch("same-origin", "navigate", "document", "?1", ""), Verdict::kAskAgain},
      {"the public page", Fetch("same-origin", "navigate", "document", "?1", "https://surva.example/surva.asp"),
       Verdict::kAskAgain},
      {"another site's link", Fetch("cross-site", "navigate", "document", "?1", "https://evil.example/"),
       Verdict::kAskAgain},
      {"another site's picture", Fetch("cross-site", "no-cors", "image", "", ""), Verdict::kRefuse},
      {"another site's frame", Fetch("cross-site", "navigate", "iframe", "", ""), Verdict::kAskAgain},
      {"a neighbour host's link", Fetch("same-site", "navigate", "document", "?1", "https://wiki.example/"),
       Verdict::kAskAgain},
      {"a mail program's link", Fetch("none", "navigate", "document", "?1", ""), Verdict::kAskAgain},
      {"an old browser on another site", {{"Referer", "http://evil.example/admin/createform.asp"}}, Verdict::kAskAgain},
      {"the page's path on another site", {{"Origin", "null"}, {"Referer", kOwn}}, Verdict::kAskAgain},
  };
  for (const Case& one : cases) {
    const wire::HttpRequest request = Request(one.headers);
    EXPECT_EQ(Judge(request, "/admin/createform.asp", true, Source::kItself), one.verdict) << one.what;
    EXPECT_EQ(Judge(request, "/admin/createform.asp", false, Source::kItself), Verdict::kPass) << one.what;
    if (one.verdict == Verdict::kAskAgain) {
      EXPECT_EQ(Judge(Request(one.headers, Method::kPost), "/admin/createform.asp", true, Source::kItself),
                Verdict::kRefuse)
          << one.what;
    }
  }
}

TEST(Judge, LetsAMonthBeChosenFromTheFilledForms) {
  EXPECT_EQ(Judge(Request(Fetch("same-origin", "navigate", "document", "?1", "https://surva.example/admin/browse.asp"),
                          Method::kPost),
                  "/admin/stat.asp", true, Source::kItself),
            Verdict::kPass);
}

TEST(Judge, LetsPagesOfOurOwnLeadToEachOther) {
  const auto post = [](const char* from) {
    return Judge(Request(Fetch("same-origin", "navigate", "document", "?1", from), Method::kPost), "/admin/import",
                 true, Source::kOurPages);
  };
  EXPECT_EQ(post("https://surva.example/admin/import"), Verdict::kPass);
  EXPECT_EQ(post("https://surva.example/admin/stat.asp?Remarks=1"), Verdict::kRefuse);
  // A script's request passes, a link's ping does not.
  for (const auto& [mode, verdict] : {std::pair("cors", Verdict::kPass), {"no-cors", Verdict::kRefuse}}) {
    EXPECT_EQ(
        Judge(Request(Fetch("same-origin", mode, "empty", "", "https://surva.example/admin/import"), Method::kPost),
              "/admin/import", true, Source::kOurPages),
        verdict);
  }
}

TEST(FromOwnPage, KeepsOthersAwayFromARespondentsAnswers) {
  EXPECT_TRUE(IsFromOwnPage(Request({})));
  EXPECT_TRUE(IsFromOwnPage(Request({{"Sec-Fetch-Site", "same-origin"}})));
  EXPECT_TRUE(IsFromOwnPage(Request({{"Origin", "http://surva.example"}})));
  EXPECT_FALSE(IsFromOwnPage(Request({{"Sec-Fetch-Site", "none"}})));
  EXPECT_FALSE(IsFromOwnPage(Request({{"Sec-Fetch-Site", "same-site"}})));
  EXPECT_FALSE(IsFromOwnPage(Request({{"Origin", "http://surva.example.evil.example"}})));
  EXPECT_FALSE(IsFromOwnPage(Request({{"Origin", "null"}})));
}

}  // namespace
}  // namespace surva::guard
