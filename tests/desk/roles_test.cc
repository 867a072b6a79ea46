// Who may open which of our own pages, and that none of them acts for another site's page.
#include "guard/accounts.h"
#include "tests/desk/desk.h"

namespace surva::desk {
namespace {

class Roles : public Desk {};
SURVA_ON_BOTH_ENGINES(Roles);

TEST_P(Roles, OpenWhatIsTheirsAndActForNoOtherSite) {
  test::Node node(database.dsn());
  const struct {
    const char* path;
    const char* letters;  // owner, planner, designer, analyst
    const char* form;     // what would act
  } kPages[] = {{"/admin/report", "opa", "event=51"},
                {"/admin/trends", "oa", "by=month"},
                {"/admin/export", "opa", "what=participants"},
                {"/admin/slips", "op", "event=51&close=2004-01-01"},
                {"/admin/poster", "opd", "version=42"},
                {"/admin/mail", "op", "event=51&text=reminder&subject=a&body=b"},
                {"/admin/import", "op", "kind=companies&do=store&text=Company%0Anew"},
                {"/admin/privacy", "o", "student=201&sure=1&act=erase"},
                {"/admin/history", "o", "change=1"},
                {"/admin/account", "opda", "do=add&name=eve&role=owner&password=three+blue+cranes"},
                {"/admin/answered.json", "od", "layout=302"},
                {"/admin/pages.json", "opda", "a=b"}};
  {
    data::Connection connection(*database);
    for (const guard::Role role : guard::kRoles) {
      guard::Accounts(connection).Add(std::string(guard::NameOf(role)), role, "three blue cranes");
    }
    connection.Commit();
  }
  const auto rows = [this] {
    return Read(
        {"select (select count(*) from Student), (select count(*) from Company), (select count(*) from EventClose), "
         "(select count(*) from MailText), (select count(*) from StaffAccount)"});
  };
  const std::string before = rows();
  for (const guard::Role role : guard::kRoles) {
    test::Browser browser;
    const std::string name(guard::NameOf(role));
    browser.Post(node, "/admin/sign-in", "name=" + name + "&password=three+blue+cranes");
    const auto status = [&](const auto& page, wire::HttpRequest::Method method, const wire::HeaderFields& headers) {
      const bool posts = method == wire::HttpRequest::Method::kPost;
      wire::HttpRequest request = test::RequestFor(page.path, "", posts ? page.form : "");
      request.method = method;
      request.headers.insert(request.headers.end(), headers.begin(), headers.end());
      return browser.Ask(node, request).status;
    };
    for (const auto& page : kPages) {
      const bool may = std::string_view(page.letters).find(name.front()) != std::string_view::npos;
      using enum wire::HttpRequest::Method;
      for (const auto method : {kGet, kHead}) {
        EXPECT_EQ(status(page, method, {}) == 403, !may) << page.path << " " << name;
      }
      for (const wire::HeaderFields& foreign : {wire::HeaderFields{{"Sec-Fetch-Site", "cross-site"},
                                                                   {"Sec-Fetch-Mode", "navigate"},
                                                                   {"Sec-Fetch-Dest", "document"},
                                                                   {"Sec-Fetch-User", "?1"}},
                                                {{"Origin", "https://evil.example"}}}) {
        EXPECT_EQ(status(page, kPost, foreign), 403U) << page.path << " " << name;
      }
      if (may) continue;
      EXPECT_EQ(status(page, kPost, {}), 403U) << page.path << " " << name;
    }
  }
  EXPECT_EQ(rows(), before);
}

}  // namespace
}  // namespace surva::desk
