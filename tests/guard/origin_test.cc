// Where requests come from, and what acts.
#include "guard/origin.h"

#include <gtest/gtest.h>

#include "guard/acts.h"

namespace surva::guard {
namespace {

using Method = wire::HttpRequest::Method;

// All that staff change by a link, and what only reads.
TEST(Acts, AreLinksAndPostsThatChangeSomething) {
  const std::pair<std::string_view, std::vector<std::string_view>> acts[] = {
      {"/admin/createform.asp",
       {"DeleteSurva=1", "ChangeValid=Change&Number=1", "CreateEmptySurva=1", "CreateNewSurva2=1&SurvaVersionID=1",
        "MoveUp=3&SurvaVersion=1", "MoveDown=3&SurvaVersion=1", "DeleteQuestion=3&SurvaVersion=1",
        "DeleteQuestionAnswer=1&Number=1", "AddQuestionAnswer=1&Number=1", "AddQuestionStep=5",
        "&&View=1&%64eletesurva=1"}},
      {"/admin/schedule.asp",
       {"Update=1", "ModDown=1&Choose=Choose&StudentID=2", "ModDown=1&Delete=Delete&ToN=2", "DeleteEvent=Delete",
        "Save=Save"}},
      {"/admin/company.asp", {"Delete=1&Update=1", "Update=1", "Save=Save"}},
      {"/admin/student.asp", {"Delete=1"}},
      {"/admin/trainer.asp", {"Delete=1"}},
      {"/admin/training.asp", {"Delete=1"}},
      {"/admin/stat.asp", {"EraseMessage=1"}}};
  for (const auto& [path, queries] : acts) {
    for (const std::string_view query : queries) EXPECT_TRUE(MayChange(path, Method::kGet, query)) << path << query;
  }
  const std::pair<std::string_view, std::vector<std::string_view>> reads[] = {
      {"/admin/createform.asp", {"", "View=1", "Preview=1"}},
      {"/admin/schedule.asp", {"ModSch0=1", "Action=P&M=3"}},
      {"/admin/student.asp", {"Search=Search&LastName=%25"}},
      {"/admin/stat.asp", {"Remarks=1"}},
      {"/admin/report", {"event=1"}}};
  for (const auto& [path, queries] : reads) {
    for (const std::string_view query : queries) {
      EXPECT_FALSE(MayChange(path, Method::kGet, query)) << path << query;
      EXPECT_TRUE(MayChange(path, Method::kPost, query)) << path << query;
    }
  }
  EXPECT_FALSE(MayChange("/admin/browse.asp", Method::kPost, "ReadCriteria=1")) << "a report's criteria";
}

TEST(SafeAddress, StaysInsideAndOnlyReads) {
  EXPECT_EQ(SafeAddress("/admin/browse.asp?Stats=1&ScheduleID=2"), "/admin/browse.asp?Stats=1&ScheduleID=2");
  EXPECT_EQ(SafeAddress("/admin/CreateForm.asp?DeleteSurva=1"), "/admin/CreateForm.asp");
  for (const std::string_view bad :
       {"", "//evil.example/admin/", "https://evil.example/", "/admin/../surva.asp", "/admin//evil.example",
        "/admin/\\evil", "javascript:alert(1)", "/admin/%2e%2e/x", "/admin/x\r\nSet-Cookie: a=b", "/surva.asp",
        "/admin/\t/evil.example", "/admin@evil.example/", "/\\evil.example/admin/", "\x01/admin/default.asp"}) {
    EXPECT_EQ(SafeAddress(bad), "/admin/default.asp") << bad;
  }
}

wire::HttpRequest Request(const wire::HeaderFields& headers, Method method = Method::kGet) {
  wire::HttpRequest request;
  request.method = method;
  request.host = "surva.example";
  request.headers = headers;
  return request;
}

wire::HeaderFields Fetch(const char* site, const char* mode, const char* dest, bool person, const std::string& referer,
                         const char* purpose = "") {
  return {{"Sec-Fetch-Site", site}, {"Sec-Fetch-Mode", mode},
          {"Sec-Fetch-Dest", dest}, {"Sec-Fetch-User", person ? "?1" : ""},
          {"Referer", referer},     {"Sec-Purpose", purpose}};
}
// A person's click in a page of the site.
wire::HeaderFields ClickIn(const std::string& page) {
  return Fetch("same-origin", "navigate", "document", true, "https://surva.example" + page);
}

TEST(Judge, LetsActOnlyAPersonOnThePageItself) {
  const std::string own = "/admin/CreateForm.asp?View=1";
  const std::string own_address = "https://surva.example" + own;
  const struct {
    const char* what;
    wire::HeaderFields headers;
    Verdict verdict;
  } cases[] = {
      {"a click on the page", ClickIn(own), Verdict::kPass},
      {"a click in a frame", Fetch("same-origin", "navigate", "frame", true, own_address), Verdict::kPass},
      {"no browser", {}, Verdict::kPass},
      {"an old browser", {{"Referer", own_address}}, Verdict::kPass},
      {"a picture", Fetch("same-origin", "no-cors", "image", false, own_address), Verdict::kRefuse},
      {"a picture by a click", Fetch("same-origin", "no-cors", "image", true, own_address), Verdict::kRefuse},
      {"a prefetch", Fetch("same-origin", "no-cors", "empty", false, own_address), Verdict::kRefuse},
      {"a script", Fetch("same-origin", "cors", "empty", false, own_address), Verdict::kRefuse},
      {"a page fetched ahead of a click",
       Fetch("same-origin", "navigate", "document", true, own_address, "prefetch;prerender"), Verdict::kRefuse},
      {"a refresh that nobody asked for", Fetch("same-origin", "navigate", "document", false, own_address),
       Verdict::kAskAgain},
      {"a remark's link", ClickIn("/admin/stat.asp?Remarks=1"), Verdict::kAskAgain},
      {"a link that hides where it stands", Fetch("same-origin", "navigate", "document", true, ""), Verdict::kAskAgain},
      {"the public page", ClickIn("/surva.asp"), Verdict::kAskAgain},
      {"another site's link", Fetch("cross-site", "navigate", "document", true, "https://evil.example/"),
       Verdict::kAskAgain},
      {"another site that names the page", Fetch("cross-site", "navigate", "document", true, own_address),
       Verdict::kAskAgain},
      {"another site's picture", Fetch("cross-site", "no-cors", "image", false, ""), Verdict::kRefuse},
      {"another site's frame", Fetch("cross-site", "navigate", "iframe", false, ""), Verdict::kAskAgain},
      {"a neighbour host's link", Fetch("same-site", "navigate", "document", true, "https://wiki.example/"),
       Verdict::kAskAgain},
      {"a mail program's link", Fetch("none", "navigate", "document", true, ""), Verdict::kAskAgain},
      {"an old browser on another site", {{"Referer", "http://evil.example/admin/createform.asp"}}, Verdict::kAskAgain},
      {"the page's path on another site", {{"Origin", "null"}, {"Referer", own_address}}, Verdict::kAskAgain},
  };
  for (const auto& [what, headers, verdict] : cases) {
    const auto judge = [&](bool acts, Method method) {
      return Judge(Request(headers, method), "/admin/createform.asp", acts, Source::kItself);
    };
    EXPECT_EQ(judge(true, Method::kGet), verdict) << what;
    EXPECT_EQ(judge(false, Method::kGet), Verdict::kPass) << what;
    const bool passes = verdict == Verdict::kPass;
    EXPECT_EQ(judge(true, Method::kPost), passes ? Verdict::kPass : Verdict::kRefuse) << what;
  }
  const auto post = [](const wire::HeaderFields& headers, const char* to, Source source) {
    return Judge(Request(headers, Method::kPost), to, true, source);
  };
  EXPECT_EQ(post(ClickIn("/admin/browse.asp"), "/admin/stat.asp", Source::kItself), Verdict::kPass)
      << "a month is chosen on the filled forms as well";
  // Pages of our own lead to each other, and their scripts post.
  EXPECT_EQ(post(ClickIn("/admin/import"), "/admin/mail", Source::kOurPages), Verdict::kPass);
  EXPECT_EQ(post(ClickIn("/admin/stat.asp?Remarks=1"), "/admin/mail", Source::kOurPages), Verdict::kRefuse);
  for (const auto& [mode, verdict] : {std::pair("cors", Verdict::kPass), {"no-cors", Verdict::kRefuse}}) {
    EXPECT_EQ(post(Fetch("same-origin", mode, "empty", false, "https://surva.example/admin/import"), "/admin/import",
                   Source::kOurPages),
              verdict)
        << "a script's request passes, a link's ping does not";
  }
}

TEST(FromOwnPage, KeepsOthersAwayFromARespondentsAnswers) {
  for (const wire::HeaderFields& own :
       {wire::HeaderFields{}, {{"Sec-Fetch-Site", "same-origin"}}, {{"Origin", "http://surva.example"}}}) {
    EXPECT_TRUE(IsFromOwnPage(Request(own)));
  }
  for (const wire::HeaderFields& other : {wire::HeaderFields{{"Sec-Fetch-Site", "none"}},
                                          {{"Sec-Fetch-Site", "same-site"}},
                                          {{"Origin", "http://surva.example.evil.example"}},
                                          {{"Origin", "null"}}}) {
    EXPECT_FALSE(IsFromOwnPage(Request(other))) << other.front().second;
  }
}

}  // namespace
}  // namespace surva::guard
