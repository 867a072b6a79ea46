#include "tests/support/page_harness.h"

#include <stdexcept>

namespace surva::test {

int Answer::Count(std::string_view text) const {
  int count = 0;
  for (std::size_t at = page.find(text); at != std::string::npos; at = page.find(text, at + text.size())) ++count;
  return count;
}

Answer Visitor::Run(const Request& request, const std::function<void(PageContext&)>& serve) {
  Answer answer;
  session_.Provide("DSN", dsn.value_or(database_.dsn()));
  session_.Provide("homepage", homepage);
  {
    data::Connection connection(database_);
    PageContext context{request, answer.response, session_, connection, owner, clock, [&answer](const Fault& fault) {
                          answer.faults.push_back(fault.number());
                        }};
    serve(context);
    connection.Commit();
  }
  answer.page = answer.response.page();
  answer.redirect = answer.response.redirect();
  std::optional<Session> restored = Session::Restore(session_.Store());
  if (!restored) throw std::runtime_error("the session cannot be read back");
  session_ = std::move(*restored);
  return answer;
}

}  // namespace surva::test
