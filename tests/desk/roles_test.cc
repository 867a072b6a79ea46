// Who may open which of our own pages, and that none of them acts for another site's page.
#include "guard/accounts.h"
#include "tests/desk/desk.h"
#include "tests/host/node.h"

namespace surva::desk {
namespace {

class Roles : public Desk {
 protected:
  unsigned Ask(wire::HttpRequest::Method method, const std::string& path, const std::string& form,
               const wire::HeaderFields& headers) {
    wire::HttpRequest request;
    request.method = method;
    request.path = path;
    request.host = "surva.example";
    request.headers = headers;
    request.headers.emplace_back("Content-Type", "application/x-www-form-urlencoded");
    request.body = form;
    std::promise<wire::HttpResponse> answer;
    node.service.Handle(std::move(request),
                        [&](wire::HttpResponse response) { answer.set_value(std::move(response)); });
    return answer.get_future().get().status;
  }
  test::Node node{database.dsn()};
};
SURVA_ON_BOTH_ENGINES(Roles);

TEST_P(Roles, OpenWhatIsTheirsAndActForNoOtherSite) {
  seed.Participant(seed.Surva({.rows = {}}), "1");
  const struct {
    const char* path;
    const char* letters;  // owner, planner, designer, analyst
    const char* form;     // what would act
  } kPages[] = {{"/admin/report", "opa", "event=7"},
                {"/admin/trends", "oa", "by=month"},
                {"/admin/export", "opa", "what=participants"},
                {"/admin/slips", "op", "event=7&close=2004-01-01"},
                {"/admin/poster", "opd", "version=3"},
                {"/admin/mail", "op", "event=7&text=reminder&subject=a&body=b"},
                {"/admin/import", "op", "kind=companies&do=store&text=Company%0Anew"},
                {"/admin/privacy", "o", "student=5&sure=1&act=erase"},
                {"/admin/history", "o", "change=1"},
                {"/admin/account", "opda", "do=add&name=eve&role=owner&password=three+blue+cranes"},
                {"/admin/answered.json", "od", "layout=1"},
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
    const auto signed_in = browser.Post(node, "/admin/sign-in", "name=" + name + "&password=three+blue+cranes");
    std::string cookies;
    for (const auto& [field, value] : signed_in.headers) {
      if (field == "Set-Cookie") cookies += value.substr(0, value.find(';')) + "; ";
    }
    for (const auto& page : kPages) {
      const bool may = std::string_view(page.letters).find(name.front()) != std::string_view::npos;
      using enum wire::HttpRequest::Method;
      for (const auto method : {kGet, kHead}) {
        EXPECT_EQ(Ask(method, page.path, "", {{"Cookie", cookies}}) == 403, !may) << page.path << " " << name;
      }
      const wire::HeaderFields foreign[] = {{{"Sec-Fetch-Site", "cross-site"},
                                             {"Sec-Fetch-Mode", "navigate"},
                                             {"Sec-Fetch-Dest", "document"},
                                             {"Sec-Fetch-User", "?1"}},
                                            {{"Origin", "https://evil.example"}}};
      for (wire::HeaderFields headers : foreign) {
        headers.emplace_back("Cookie", cookies);
        EXPECT_EQ(Ask(kPost, page.path, page.form, headers), 403U) << page.path << " " << name;
      }
      if (may) continue;
      EXPECT_EQ(Ask(kPost, page.path, page.form, {{"Cookie", cookies}}), 403U) << page.path << " " << name;
    }
  }
  EXPECT_EQ(rows(), before);
}

}  // namespace
}  // namespace surva::desk
