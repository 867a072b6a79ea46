#include "program/metrics.h"

#include <prometheus/counter.h>
#include <prometheus/exposer.h>
#include <prometheus/gauge.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <mutex>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "desk/outbox.h"
#include "frame/data/connection.h"
#include "frame/data/forwarding_engine.h"
#include "frame/values/fault.h"
#include "frame/values/text.h"
#include "host/statement_times.h"
#include "version/version.h"

namespace surva::program {
namespace {

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;
using std::chrono::steady_clock;

const prometheus::Histogram::BucketBoundaries kSeconds{0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025, 0.05,
                                                       0.1,    0.25,  0.5,    1,     2.5,  10};

// Statements, commits and connections.
struct DatabaseFigures {
  explicit DatabaseFigures(prometheus::Registry& registry)
      : statements(prometheus::BuildHistogram()
                       .Name("surva_statement_duration_seconds")
                       .Help("Time of the database's statements")
                       .Register(registry)),
        reads(statements.Add({{"effect", "read"}}, kSeconds)),
        writes(statements.Add({{"effect", "write"}}, kSeconds)),
        commits(statements.Add({{"effect", "commit"}}, kSeconds)),
        notes(statements.Add({{"effect", "note"}}, kSeconds)),
        flushes(statements.Add({{"effect", "flush"}}, kSeconds)),
        failures(prometheus::BuildCounter()
                     .Name("surva_statement_failures_total")
                     .Help("Statements and commits that failed")
                     .Register(registry)
                     .Add({})),
        connections(prometheus::BuildGauge()
                        .Name("surva_database_connections")
                        .Help("Open connections to the database")
                        .Register(registry)
                        .Add({})) {}

  prometheus::Family<prometheus::Histogram>& statements;
  prometheus::Histogram& reads;
  prometheus::Histogram& writes;
  prometheus::Histogram& commits;
  prometheus::Histogram& notes;  // commits that need not be on disk
  prometheus::Histogram& flushes;
  prometheus::Counter& failures;
  prometheus::Gauge& connections;
};

class MeteredEngine final : public data::ForwardingEngine {
 public:
  MeteredEngine(std::unique_ptr<data::Engine> engine, std::shared_ptr<DatabaseFigures> figures)
      : ForwardingEngine(std::move(engine)), figures_(std::move(figures)) {
    figures_->connections.Increment();
  }
  ~MeteredEngine() override { figures_->connections.Decrement(); }

  data::Rows Run(data::Statement statement, data::Effect effect) override {
    return Counted(effect == data::Effect::kRead ? figures_->reads : figures_->writes, statement,
                   [&] { return engine_->Run(statement, effect); });
  }
  void Replace(data::Statement removal, const data::RowSet& rows) override {
    Counted(figures_->writes, removal, [&] { engine_->Replace(removal, rows); });
  }
  void Commit(data::Durability durability, data::Statement last) override {
    static constexpr data::Piece kCommit[] = {"commit"};
    prometheus::Histogram& commits = durability == data::Durability::kDisk ? figures_->commits : figures_->notes;
    Counted(commits, last.empty() ? kCommit : last, [&] { engine_->Commit(durability, last); });
  }
  void Flush() override {
    static constexpr data::Piece kFlush[] = {"flush"};
    Counted(figures_->flushes, kFlush, [&] { engine_->Flush(); });
  }

 private:
  template <class Action>
  auto Counted(prometheus::Histogram& figure, data::Statement statement, const Action& action) -> decltype(action()) {
    struct Stopwatch {
      ~Stopwatch() {
        const auto taken = steady_clock::now() - begin;
        figure.Observe(std::chrono::duration<double>(taken).count());
        host::StatementTimes::Note(statement, taken);
      }
      prometheus::Histogram& figure;
      data::Statement statement;
      steady_clock::time_point begin = steady_clock::now();
    };
    const Stopwatch stopwatch{figure, statement};
    try {
      return action();
    } catch (...) {
      figures_->failures.Increment();
      throw;
    }
  }

  std::shared_ptr<DatabaseFigures> figures_;
};

// Names of pages, of which a stranger must not make as many as he likes.
class PageNames {
 public:
  std::string Of(std::string_view target, unsigned status) {
    std::string path = LowerName(target.substr(0, target.find_first_of("?#")));
    if (status == 404 || status == 400 || status == 405 || status == 421) return "other";
    const std::size_t point = path.rfind('.');
    if (point != std::string::npos && path.substr(point) != ".asp") return "files";
    const std::lock_guard lock(mutex_);
    if (known_.contains(path)) return path;
    if (known_.size() == kMost) return "other";
    return *known_.insert(std::move(path)).first;
  }

 private:
  static constexpr std::size_t kMost = 100;
  std::mutex mutex_;
  std::set<std::string> known_;
};

struct RequestFigures {
  explicit RequestFigures(prometheus::Registry& registry)
      : requests(prometheus::BuildCounter()
                     .Name("surva_requests_total")
                     .Help("Requests answered, by page and status")
                     .Register(registry)),
        durations(prometheus::BuildHistogram()
                      .Name("surva_request_duration_seconds")
                      .Help("Time from a request's last byte to its answer's first")
                      .Register(registry)) {}

  prometheus::Family<prometheus::Counter>& requests;
  prometheus::Family<prometheus::Histogram>& durations;
  PageNames pages;
};

class MeteredLog final : public wire::Log {
 public:
  MeteredLog(wire::Log& log, std::shared_ptr<RequestFigures> figures) : log_(log), figures_(std::move(figures)) {}

  void Access(const wire::AccessEntry& entry) override {
    const std::string page = figures_->pages.Of(entry.target, entry.status);
    figures_->requests.Add({{"page", page}, {"status", std::to_string(entry.status)}}).Increment();
    figures_->durations.Add({{"page", page}}, kSeconds).Observe(entry.milliseconds / 1000);
    log_.Access(entry);
  }
  void Info(std::string_view text) override { log_.Info(text); }
  void Warning(std::string_view text) override { log_.Warning(text); }
  void Error(std::string_view text) override { log_.Error(text); }

 private:
  wire::Log& log_;
  std::shared_ptr<RequestFigures> figures_;
};

MetricFamily CounterOf(const char* name, const char* help, const std::atomic<std::uint64_t>& value) {
  ClientMetric metric;
  metric.counter.value = static_cast<double>(value.load());
  return {name, help, MetricType::Counter, {metric}};
}

MetricFamily GaugeOf(const char* name, const char* help, double value, std::vector<ClientMetric::Label> labels = {}) {
  ClientMetric metric;
  metric.label = std::move(labels);
  metric.gauge.value = value;
  return {name, help, MetricType::Gauge, {metric}};
}

// As MailState has them.
constexpr auto kMailStates =
    std::to_array<std::string_view>({"waiting", "claimed", "leaving", "sent", "failed", "doubtful", "needless"});
static_assert(kMailStates.size() == static_cast<std::size_t>(desk::MailState::kNeedless));

// What is asked for only when somebody wants to know.
class AskedFigures final : public prometheus::Collectable {
 public:
  AskedFigures(data::Database& database, const host::WorkerPool& workers, const guard::Figures& guard)
      : database_(database), workers_(workers), guard_(guard) {}

  std::vector<MetricFamily> Collect() const override {
    const bool sqlite = database_.dialect() == data::Dialect::kSqlite;
    std::vector<MetricFamily> all;
    all.push_back(GaugeOf("surva_info", "The program", 1,
                          {{"version", Version()}, {"engine", sqlite ? "sqlite" : "postgresql"}}));
    all.push_back(
        GaugeOf("surva_queue_length", "Requests that wait for a worker", static_cast<double>(workers_.waiting())));
    const data::Traffic& traffic = database_.traffic();
    all.push_back(CounterOf("surva_round_trips_total", "Questions to the database server", traffic.round_trips));
    AddGuard(all);
    double up = 1;
    try {
      data::Connection db(database_);
      AddFlushes(all, db);
      AddMails(all, db);
      all.push_back(GaugeOf(
          "surva_sessions", "Visits that are kept",
          static_cast<double>(db.Query({"select count(*) as Cnt from VisitorSession"}).First()["Cnt"].Integer())));
      const data::Rows size =
          sqlite ? db.Query({"select page_count * page_size as Size from pragma_page_count(), pragma_page_size()"})
                 : db.Query({"select pg_database_size(current_database()) as Size"});
      all.push_back(
          GaugeOf("surva_database_bytes", "Size of the database", static_cast<double>(size.First()["Size"].Integer())));
    } catch (const std::exception&) {
      up = 0;
    }
    all.push_back(GaugeOf("surva_database_up", "Whether the database answers", up));
    return all;
  }

 private:
  // A server counts its own; one that cannot tell leaves the figure out.
  void AddFlushes(std::vector<MetricFamily>& all, data::Connection& db) const try {
    ClientMetric metric;
    metric.counter.value =
        database_.dialect() == data::Dialect::kSqlite
            ? static_cast<double>(database_.traffic().flushes.load())
            : static_cast<double>(db.Query({"select wal_sync from pg_stat_wal"}).First()["wal_sync"].Integer());
    all.push_back({"surva_flushes_total",
                   "Times that the log of changes was brought to disk, by all of a server's users",
                   MetricType::Counter,
                   {metric}});
  } catch (const Fault&) {
  }
  static void AddMails(std::vector<MetricFamily>& all, data::Connection& db) {
    MetricFamily mails{"surva_mails", "Invitations and reminders, by what has become of them", MetricType::Gauge, {}};
    const data::Rows rows = db.Query({"select State, count(*) as Cnt from Outbox group by State"});
    for (int state = static_cast<int>(desk::MailState::kQueued); state <= static_cast<int>(desk::MailState::kNeedless);
         ++state) {
      ClientMetric& metric = mails.metric.emplace_back();
      metric.label = {{"state", std::string(kMailStates[static_cast<std::size_t>(state - 1)])}};
      for (const data::Row& row : rows) {
        if (row["State"].Is(state)) metric.gauge.value = static_cast<double>(row["Cnt"].Integer());
      }
    }
    all.push_back(std::move(mails));
  }
  void AddGuard(std::vector<MetricFamily>& all) const {
    MetricFamily refusals{
        "surva_refusals_total", "Requests that the guard did not let through, by rule", MetricType::Counter, {}};
    for (std::size_t rule = 0; rule < guard_.refusals.size(); ++rule) {
      ClientMetric& metric = refusals.metric.emplace_back();
      metric.label = {{"rule", std::string(guard::kRuleNames[rule])}};
      metric.counter.value = static_cast<double>(guard_.refusals[rule].load());
    }
    all.push_back(std::move(refusals));
    all.push_back(CounterOf("surva_wrong_pins_total", "PINs that nobody has", guard_.wrong_pins));
    all.push_back(CounterOf("surva_paced_pins_total", "Tries of PINs that waited, because so many were wrong",
                            guard_.paced_pins));
    all.push_back(CounterOf("surva_wrong_passwords_total", "Failed sign-ins", guard_.wrong_passwords));
  }

  data::Database& database_;
  const host::WorkerPool& workers_;
  const guard::Figures& guard_;
};

}  // namespace

struct Metrics::Parts {
  std::shared_ptr<prometheus::Registry> registry = std::make_shared<prometheus::Registry>();
  std::shared_ptr<DatabaseFigures> database = std::make_shared<DatabaseFigures>(*registry);
  std::shared_ptr<RequestFigures> requests = std::make_shared<RequestFigures>(*registry);
  std::shared_ptr<AskedFigures> asked;
  std::unique_ptr<prometheus::Exposer> exposer;  // goes first
};

Metrics::Metrics() : parts_(std::make_unique<Parts>()) {}
Metrics::~Metrics() = default;

std::unique_ptr<wire::Log> Metrics::Around(wire::Log& log) {
  return std::make_unique<MeteredLog>(log, parts_->requests);
}

data::Database::Wrap Metrics::AroundEngines() {
  return [figures = parts_->database](std::unique_ptr<data::Engine> engine) {
    return std::make_unique<MeteredEngine>(std::move(engine), figures);
  };
}

int Metrics::Serve(const std::string& address, data::Database& database, const host::WorkerPool& workers,
                   const guard::Figures& guard) try {
  parts_->asked = std::make_shared<AskedFigures>(database, workers, guard);
  parts_->exposer = std::make_unique<prometheus::Exposer>(
      std::vector<std::string>{"listening_ports", address, "num_threads", "1", "request_timeout_ms", "5000"});
  parts_->exposer->RegisterCollectable(parts_->registry);
  parts_->exposer->RegisterCollectable(parts_->asked);
  return parts_->exposer->GetListeningPorts().front();
} catch (const std::exception&) {
  throw std::runtime_error("nothing can listen on " + address +
                           ": it is in use, or no address of this machine; see "
                           "metrics-listen");
}

void Metrics::Close() {
  parts_->exposer.reset();
}

}  // namespace surva::program
