#include "frame/data/postgres_link.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string_view>
#include <utility>
#include <vector>

#include "frame/values/fault.h"

namespace surva::data {
namespace {

// The name of this machine's time zone, as the server understands it; empty if it has none.
std::string TimeZoneName() {
  if (const char* zone = std::getenv("TZ"); zone != nullptr && *zone != '\0') return *zone == ':' ? zone + 1 : zone;
  std::array<char, 4096> target{};
  const ssize_t length = readlink("/etc/localtime", target.data(), target.size());
  const std::string_view path(target.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
  constexpr std::string_view kFolder = "zoneinfo/";
  const std::size_t at = path.find(kFolder);
  return at == std::string_view::npos ? std::string() : std::string(path.substr(at + kFolder.size()));
}

PGconn* Connect(const std::string& address) {
  // What stands before the address, the address may say otherwise.
  static constexpr std::pair<const char*, const char*> kDefaults[] = {
      {"connect_timeout", "5"},  {"keepalives_idle", "15"},     {"keepalives_interval", "5"},
      {"keepalives_count", "3"}, {"tcp_user_timeout", "15000"}, {"application_name", "surva"},
  };
  std::vector<const char*> keywords;
  std::vector<const char*> values;
  for (const auto& [keyword, value] : kDefaults) {
    keywords.push_back(keyword);
    values.push_back(value);
  }
  keywords.insert(keywords.end(), {"dbname", "client_encoding", nullptr});
  values.insert(values.end(), {address.c_str(), "UTF8", nullptr});
  return PQconnectdbParams(keywords.data(), values.data(), 1);
}

}  // namespace

PostgresLink::PostgresLink(const std::string& address, Traffic& traffic)
    : connection_(Connect(address)), traffic_(traffic) {
  if (PQstatus(connection_.get()) != CONNECTION_OK) Fail(nullptr);
  PQsetnonblocking(connection_.get(), 1);
  // Notices (a table that stands already) are of no use to anybody, but for a warning behind a commit.
  PQsetNoticeReceiver(
      connection_.get(),
      [](void* link, const PGresult* notice) {
        const char* severity = PQresultErrorField(notice, PG_DIAG_SEVERITY_NONLOCALIZED);
        if (severity != nullptr && std::string_view(severity) == "WARNING") {
          static_cast<PostgresLink*>(link)->warned_ = true;
        }
      },
      this);
  // The system's own now() stands before the server's, and what is locked must be seen as it is behind the lock, which
  // only read committed gives. What else the address's options, the user, the database or the server have set stands.
  Run("select set_config('search_path', current_setting('search_path') || ', pg_catalog', false), "
      "set_config('DateStyle', 'ISO', false), set_config('standard_conforming_strings', 'on', false), "
      "set_config('default_transaction_isolation', 'read committed', false); "
      "select set_config(wanted.name, value, false) from (values ('statement_timeout', '30s'), ('lock_timeout', '5s'), "
      "('idle_in_transaction_session_timeout', '60s'), "
      // Pages' statements are the same again and again, and their values do not change how they are best carried out;
      // planning anew takes longer than most of them. Nor may one page take all of the server's processors. What pages
      // look up is in memory or on a disk without moving parts, so that a row costs the same anywhere; and they look so
      // few up that remembering them in a table made for many costs more than the looking.
      "('plan_cache_mode', 'force_generic_plan'), ('jit', 'off'), ('max_parallel_workers_per_gather', '0'), "
      "('random_page_cost', '1.1'), ('enable_memoize', 'off')) "
      "as wanted(name, value) join pg_settings on pg_settings.name=wanted.name where source='default'");
  // A zone that the server does not know leaves it on its own.
  if (const std::string zone = TimeZoneName(); !zone.empty() && zone.find('\'') == std::string::npos) {
    TryRun("select set_config('TimeZone', '" + zone + "', false)");
  }
}

void PostgresLink::Enter() {
  if (added_ == 0 && PQenterPipelineMode(connection_.get()) != 1) Fail(nullptr);
}

void PostgresLink::Sent(int code) {
  if (code != 1) {
    broken_ = true;
    Fail(nullptr);
  }
  ++added_;
}

void PostgresLink::Add(const std::string& text) {
  Enter();
  ++traffic_.statements;
  Sent(PQsendQueryParams(connection_.get(), text.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 0));
}

void PostgresLink::AddPrepare(const std::string& name, const std::string& text) {
  Enter();
  prepare_ = added_;
  Sent(PQsendPrepare(connection_.get(), name.c_str(), text.c_str(), 0, nullptr));
}

void PostgresLink::AddPrepared(const std::string& name, std::span<const std::string> values) {
  Enter();
  std::vector<const char*> pointers;
  pointers.reserve(values.size());
  for (const std::string& value : values) pointers.push_back(value.c_str());
  ++traffic_.statements;
  Sent(PQsendQueryPrepared(connection_.get(), name.c_str(), static_cast<int>(values.size()), pointers.data(), nullptr,
                           nullptr, 0));
}

// Whether the next result is there, or the connection's loss; not if it did not come in time.
bool PostgresLink::Await() {
  PGconn* const connection = connection_.get();
  const auto until = std::chrono::steady_clock::now() + patience_;
  while (true) {
    const int unsent = PQflush(connection);
    if (PQisBusy(connection) == 0 || !usable()) return true;
    std::chrono::milliseconds left{-1};
    if (patience_.count() > 0) {
      left = std::chrono::ceil<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
      if (left.count() <= 0) break;
    }
    pollfd socket{PQsocket(connection), static_cast<short>(unsent > 0 ? POLLIN | POLLOUT : POLLIN), 0};
    if (poll(&socket, 1, static_cast<int>(left.count())) > 0) PQconsumeInput(connection);
  }
  broken_ = true;
  return false;
}

PostgresResult PostgresLink::Finish() {
  ++traffic_.round_trips;
  Sent(PQpipelineSync(connection_.get()));
  PostgresResult kept;
  bool failed = false;
  int ended = 0;
  done_ = 0;
  while (true) {
    if (!Await()) {
      kept.reset();
      break;
    }
    PostgresResult result(PQgetResult(connection_.get()));
    if (!result) {
      if (++ended > added_ || !usable()) break;
      continue;
    }
    const ExecStatusType status = PQresultStatus(result.get());
    if (status == PGRES_PIPELINE_SYNC) break;
    if (status == PGRES_PIPELINE_ABORTED || failed) continue;
    failed = !Succeeded(result.get());
    if (!failed) ++done_;
    kept = std::move(result);
  }
  added_ = 0;
  if (usable()) PQexitPipelineMode(connection_.get());
  return kept;
}

bool PostgresLink::Succeeded(const PGresult* result) {
  const ExecStatusType status = PQresultStatus(result);
  return status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK;
}

bool PostgresLink::IsOutdated(const PGresult* result) {
  const char* state = PQresultErrorField(result, PG_DIAG_SQLSTATE);
  // A feature that is not there. The words behind the number are in the server's language.
  return state != nullptr && std::string_view(state) == "0A000";
}

// The result of the last statement, or of the one that failed; null if none came.
PostgresResult PostgresLink::Ask(const std::string& script) {
  ++traffic_.statements;
  ++traffic_.round_trips;
  PostgresResult last;
  if (PQsendQuery(connection_.get(), script.c_str()) != 1) return last;
  while (true) {
    if (!Await()) return nullptr;
    PostgresResult result(PQgetResult(connection_.get()));
    if (!result) return last;
    last = std::move(result);
  }
}

void PostgresLink::Run(const std::string& script) {
  const PostgresResult result = Ask(script);
  if (!Succeeded(result.get())) Fail(result.get());
}

void PostgresLink::TryRun(const std::string& script) noexcept {
  Ask(script);
}

void PostgresLink::Fail(const PGresult* result) const {
  std::string detail = result != nullptr ? PQresultErrorMessage(result) : PQerrorMessage(connection_.get());
  if (detail.empty() && broken_) detail = "no answer in time";
  while (!detail.empty() && detail.back() == '\n') detail.pop_back();
  for (char& c : detail) {
    if (c == '\n') c = ' ';
  }
  const auto does_not_answer = [&] {
    return Fault(FaultNumber::kConnectionFailed, "surva database", "The database does not answer.", detail);
  };
  if (!usable() || result == nullptr) throw does_not_answer();
  const char* state_text = PQresultErrorField(result, PG_DIAG_SQLSTATE);
  const std::string_view state = state_text == nullptr ? "" : state_text;
  if (state.starts_with("23") || state == "22001" || state == "22003") {
    throw Fault(FaultNumber::kValueRefused, "surva database", "The database refuses a value.", detail);
  }
  if (state == "55P03" || state.starts_with("40")) {
    throw Fault::Busy(detail);
  }
  if (state.starts_with("53") || state.starts_with("57") || state.starts_with("58")) throw does_not_answer();
  throw Fault::StatementFailed(detail);
}

}  // namespace surva::data
