// The figures for Prometheus, as it fetches them.
#include "program/metrics.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "frame/data/connection.h"
#include "frame/values/fault.h"
#include "host/statement_times.h"
#include "tests/support/fixture.h"
#include "tests/support/node.h"
#include "tests/wire/loopback.h"

namespace surva::program {
namespace {

class NoLog final : public wire::Log {
 public:
  void Access(const wire::AccessEntry&) override {}
  void Info(std::string_view) override {}
  void Warning(std::string_view) override {}
  void Error(std::string_view) override {}
};

std::string Fetch(int port) {
  wire::Client client(static_cast<unsigned short>(port));
  client.Send("GET /metrics HTTP/1.0\r\n\r\n");
  return client.ReadToEnd();
}

class MetricsPage : public test::OnBothEngines {};
SURVA_ON_BOTH_ENGINES(MetricsPage);

TEST_P(MetricsPage, CountsWhatIsDoneAndKnowsWhatTheDashboardAsks) {
  test::TestDatabase database(GetParam());
  Metrics metrics;
  data::Database metered(database.dsn(), metrics.AroundEngines());
  host::WorkerPool workers({.threads = 1});
  NoLog nothing;
  const std::unique_ptr<wire::Log> log = metrics.Around(nothing);
  {
    data::Connection db(metered);
    db.Query({"select count(*) from Company"});
    EXPECT_THROW(db.Query({"select Nothing from Nowhere"}), surva::Fault);
    db.AddNew(data::tables::kCompany).Set("CompanyName", std::string_view("A")).Update();
    db.AddNew(data::tables::kOutbox).Set("State", std::int64_t{4}).Update();
    db.Commit();
  }
  log->Access({.method = "GET", .target = "/admin/Company.asp?Add=1", .status = 200, .milliseconds = 3});
  log->Access({.method = "GET", .target = "/admin/company.asp", .status = 200, .milliseconds = 3});
  // A stranger's addresses make no figures of their own.
  for (int i = 0; i < 500; ++i) {
    const std::string target = "/nothing" + std::to_string(i);
    log->Access({.method = "GET", .target = target, .status = i % 2 == 0 ? 404U : 302U, .milliseconds = 1});
    log->Access({.method = "GET", .target = target + "a", .status = i % 2 == 0 ? 400U : 405U, .milliseconds = 1});
  }

  guard::Figures guard;
  guard.Refused(guard::Rule::kPinWait);
  guard.wrong_pins = 11;
  const int port = metrics.Serve("127.0.0.1:0", metered, workers, guard);
  const std::string page = Fetch(port);
  for (const char* line :
       {"surva_requests_total{page=\"/admin/company.asp\",status=\"200\"} 2",
        "surva_requests_total{page=\"other\",status=\"404\"} 250", "surva_database_up 1",
        "surva_requests_total{page=\"other\",status=\"400\"} 250",
        "surva_requests_total{page=\"other\",status=\"405\"} 250",
        "surva_statement_duration_seconds_count{effect=\"commit\"} 1", "surva_statement_failures_total 1",
        "surva_database_connections 1", "surva_mails{state=\"sent\"} 1", "surva_sessions 0", "surva_queue_length 0",
        "surva_refusals_total{rule=\"pin-wait\"} 1", "surva_refusals_total{rule=\"sign-in\"} 0",
        "surva_wrong_pins_total 11"}) {
    EXPECT_NE(page.find(std::string("\n") + line + "\n"), std::string::npos) << line << page;
  }
  std::size_t pages = 0;
  for (std::size_t at = 0; (at = page.find("\nsurva_requests_total{", at)) != std::string::npos; ++at) ++pages;
  EXPECT_LT(pages, 110U);

  std::ifstream file("deploy/grafana.json");
  const std::string dashboard{std::istreambuf_iterator<char>(file), {}};
  std::set<std::string> asked;
  const std::regex name("surva_[a-z_]+");
  for (std::sregex_iterator it(dashboard.begin(), dashboard.end(), name), end; it != end; ++it) asked.insert(it->str());
  EXPECT_GT(asked.size(), 8U);
  for (const std::string& metric : asked) EXPECT_NE(page.find("\n" + metric), std::string::npos) << metric;
  // What a query picks or sums by is a label of its figure.
  const std::regex picked(R"((surva_[a-z_]+)\{([a-z]+)[=!])"),
      summed(R"(by \(([a-z]+)(?:, [a-z]+)?\) \(rate\((surva_[a-z_]+))");
  std::set<std::pair<std::string, std::string>> labels;
  for (std::sregex_iterator it(dashboard.begin(), dashboard.end(), picked), end; it != end; ++it) {
    labels.emplace(it->str(1), it->str(2));
  }
  for (std::sregex_iterator it(dashboard.begin(), dashboard.end(), summed), end; it != end; ++it) {
    labels.emplace(it->str(2), it->str(1));
  }
  EXPECT_GT(labels.size(), 5U);
  for (const auto& [metric, label] : labels) {
    EXPECT_TRUE(std::regex_search(page, std::regex("\n" + metric + R"(\{[^}]*)" + label + "=\"")))
        << metric << " " << label;
  }

  EXPECT_THROW(Metrics().Serve("127.0.0.1:" + std::to_string(port), metered, workers, guard), std::runtime_error);
}

// Slow requests are told with what their statements took, and with nothing of what a visitor has said.
TEST_P(MetricsPage, SlowRequestsAreToldWithTheirStatements) {
  test::TestDatabase database(GetParam());
  test::LoadFixture(*database);
  Metrics metrics;
  test::Node node(database.dsn(), {.wrap = metrics.AroundEngines(), .service = {.slow = std::chrono::nanoseconds(1)}});
  test::Browser browser;
  for (const char* form : {"PIN=2221", "FormAccepted=45&324=nobody+else+knows"}) {
    wire::HttpRequest request = test::RequestFor("/surva.asp", "", form);
    request.request_id = "id7";
    browser.Ask(node, std::move(request));
  }
  const std::string told = node.log.warnings();
  EXPECT_NE(told.find("id7 /surva.asp: slow, "), std::string::npos) << told;
  EXPECT_TRUE(std::regex_search(told, std::regex(" ms, [1-9][0-9]* statements in "))) << told;
  EXPECT_EQ(told.find("2221"), std::string::npos) << told;
  EXPECT_EQ(told.find("nobody"), std::string::npos) << told;

  host::StatementTimes times;
  {
    const host::StatementTimes::Scope scope(times);
    const data::Piece statement[] = {"select PIN from Participant where PIN=", data::Text("4711")};
    for (const int taken : {7, 90, 30, 2, 8}) host::StatementTimes::Note(statement, std::chrono::milliseconds(taken));
  }
  const std::string text = "select PIN from Participant where PIN=?";
  EXPECT_EQ(times.Text(), "5 statements in 137 ms; 90 ms: " + text + "; 30 ms: " + text + "; 8 ms: " + text);
}

}  // namespace
}  // namespace surva::program
