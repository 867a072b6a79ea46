#include "program/serve.h"

#include <sysexits.h>
#include <systemd/sd-daemon.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <thread>

#include "desk/mail_sender.h"
#include "frame/data/database.h"
#include "frame/data/schema_upgrade.h"
#include "guard/accounts.h"
#include "host/page_service.h"
#include "host/static_site.h"
#include "host/worker_pool.h"
#include "program/logging.h"
#include "program/metrics.h"
#include "program/open_database.h"
#include "version/version.h"
#include "wire/server.h"

namespace surva::program {
namespace {

namespace asio = boost::asio;

constexpr std::chrono::minutes kPurgeEvery{10};
// From a signal to the end of the program, whatever hangs.
constexpr std::chrono::milliseconds kLastMoment{9'500};
// For the answers and the log's last line, when the disk has failed.
constexpr std::chrono::milliseconds kLastWord{1000};

// Signals whose default is to kill, though nobody means that by them. Those of programming errors stay as they are, and
// SIGQUIT, for a core. SIGHUP says nothing until there is something to read anew.
void IgnoreStraySignals() {
  for (const int number : {SIGHUP, SIGPIPE, SIGUSR1, SIGUSR2, SIGALRM, SIGVTALRM, SIGPROF, SIGIO, SIGPWR, SIGXFSZ}) {
    std::signal(number, SIG_IGN);
  }
  for (int number = SIGRTMIN; number <= SIGRTMAX; ++number) std::signal(number, SIG_IGN);
}

// What the operator's signals and the clock ask for while the server runs, on its I/O thread.
class Errands {
 public:
  Errands(asio::io_context& io, wire::Server& server, host::PageService& service, FileLog& log)
      : signals_(io, SIGTERM, SIGINT, SIGHUP),
        purge_timer_(io),
        alive_timer_(io),
        server_(server),
        service_(service),
        log_(log) {
    // One that is never taken down: with the last of them signals kill again, and the program takes a moment to end.
    [[maybe_unused]] static const auto* const held =
        new asio::signal_set(*new asio::io_context, SIGTERM, SIGINT, SIGHUP);
    AwaitSignal();
    AwaitPurge();
    if (std::uint64_t microseconds = 0; sd_watchdog_enabled(0, &microseconds) > 0) {
      alive_every_ = std::chrono::microseconds(microseconds / 3);
      TellAlive();
    }
  }

 private:
  // The service manager takes silence for a server that hangs.
  void TellAlive() {
    sd_notify(0, "WATCHDOG=1");
    alive_timer_.expires_after(alive_every_);
    alive_timer_.async_wait([this](boost::system::error_code error) {
      if (!error) TellAlive();
    });
  }

  void AwaitSignal() {
    signals_.async_wait([this](boost::system::error_code error, int number) {
      if (error) return;
      AwaitSignal();
      if (number == SIGHUP) {
        Reload();
      } else {
        server_.Stop();
        std::thread([] {
          std::this_thread::sleep_for(kLastMoment);
          std::_Exit(0);
        }).detach();
      }
    });
  }

  void Reload() {
    try {
      log_.Reopen();
      server_.ReloadTls();
      log_.Info("logs, certificate and key are read anew");
    } catch (const std::exception& failure) {
      log_.Error(std::string("what was before stays: ") + failure.what());
    }
  }

  void AwaitPurge() {
    purge_timer_.expires_after(kPurgeEvery);
    purge_timer_.async_wait([this](boost::system::error_code error) {
      if (error) return;
      AwaitPurge();
      service_.Purge();
    });
  }

  asio::signal_set signals_;
  asio::steady_timer purge_timer_;
  asio::steady_timer alive_timer_;
  std::chrono::microseconds alive_every_{0};
  wire::Server& server_;
  host::PageService& service_;
  FileLog& log_;
};

std::size_t WorkerCount(const Configuration& configuration) {
  if (configuration.workers != 0) return configuration.workers;
  return std::clamp<std::size_t>(2 * std::size_t{std::thread::hardware_concurrency()}, 4, 16);
}

// Most of a writer's time is spent waiting: on PostgreSQL for each other's rows and for the server's disk, where the
// more wait together, the more share a flush; on SQLite for the one writer's turn.
std::size_t WriterCount(std::size_t workers, data::Dialect dialect) {
  constexpr std::size_t kMost = 24;
  return dialect == data::Dialect::kSqlite ? 2 * workers : std::max(workers, std::min(4 * workers, kMost));
}

std::unique_ptr<host::StaticSite> OpenSite(const Configuration& configuration) try {
  if (!configuration.site.empty() && !std::filesystem::is_directory(configuration.site)) {
    throw UsageError("there is no directory \"" + configuration.site + "\"; name a copy of the directory site/");
  }
  return configuration.site.empty() ? std::make_unique<host::StaticSite>()
                                    : std::make_unique<host::StaticSite>(configuration.site);
} catch (const std::exception& failure) {
  throw UsageError(std::string("--site: ") + failure.what());
}

std::unique_ptr<FileLog> OpenLog(const Configuration& configuration) try {
  return std::make_unique<FileLog>(
      LogOptions{configuration.access_log, configuration.error_log, configuration.log_level, configuration.log_format});
} catch (const std::exception& failure) {
  throw UsageError(std::string("a log cannot be written: ") + failure.what());
}

std::unique_ptr<wire::Server> OpenServer(asio::io_context& io, const Configuration& configuration, wire::Site& site,
                                         wire::Log& log) try {
  const ListenAddress listen = ReadListenAddress(configuration.listen);
  wire::ServerOptions options;
  options.host = listen.host;
  options.port = listen.port;
  options.tls_certificate = configuration.tls_certificate;
  options.tls_key = configuration.tls_key;
  options.trusted_proxies = wire::TrustedProxies(configuration.trusted_proxies);
  options.host_names = configuration.hostnames;
  options.limits.body_bytes = configuration.max_body_kib * 1024;
  options.limits.bytes_in_flight = configuration.max_in_flight_mib * 1024 * 1024;
  options.limits.connections = configuration.max_connections;
  options.limits.connections_per_address = configuration.max_connections_per_address;
  return std::make_unique<wire::Server>(io, std::move(options), site, log);
} catch (const UsageError&) {
  throw;
} catch (const std::exception& failure) {
  throw UsageError(failure.what());
}

desk::Settings Desk(const Configuration& configuration) {
  desk::Settings settings;
  settings.public_address = configuration.public_address;
  while (settings.public_address.ends_with('/')) settings.public_address.pop_back();
  settings.readers = configuration.readers;
  settings.least_answers = configuration.least_answers;
  settings.longest_body = configuration.max_body_kib * 1024;
  settings.mail = {.server = configuration.mail_server,
                   .sender = configuration.mail_sender,
                   .account = configuration.mail_account,
                   .authority = configuration.mail_authority,
                   .tls = configuration.mail_tls == "required",
                   .per_minute = configuration.mail_rate};
  if (const std::string& name = configuration.mail_password_file; !name.empty()) {
    std::ifstream file(name);
    if (!std::getline(file, settings.mail.password)) {
      throw UsageError("mail-password-file: " + name + " cannot be read or is empty");
    }
    if (settings.mail.password.ends_with('\r')) settings.mail.password.pop_back();
  }
  if (const std::string& name = configuration.mail_authority; !name.empty() && !std::ifstream(name)) {
    throw UsageError("mail-authority: " + name + " cannot be read");
  }
  return settings;
}

host::PageService::Options Pages(const Configuration& configuration, const desk::Settings& settings) {
  host::PageService::Options options;
  options.owner = configuration.owner;
  options.visits.idle_minutes = static_cast<int>(configuration.session_minutes);
  options.desk = settings;
  options.gate.sessions.longest = static_cast<std::int64_t>(configuration.staff_hours) * 3600;
  options.gate.sessions.idle = static_cast<std::int64_t>(configuration.staff_idle_minutes) * 60;
  options.gate.guarded_in_front = configuration.no_staff_guard;
  options.free_wrong_pins = static_cast<int>(configuration.wrong_pins);
  options.public_writes.writes_an_hour = static_cast<double>(configuration.public_writes);
  options.history_days = static_cast<int>(configuration.history_days);
  options.slow = std::chrono::milliseconds(configuration.slow_request_milliseconds);
  return options;
}

// What the disk did not take can be known only to who reads the files anew; whatever this program still did might make
// it worse.
void EndWhenTheDiskFails(data::Database& database, FileLog& log) {
  database.OnBrokenLog([&log](const std::string& why) {
    log.Error(why + "; surva ends, to be started anew with what is on disk");
    std::thread([] {
      std::this_thread::sleep_for(kLastWord);
      std::_Exit(EX_IOERR);
    }).detach();
  });
}

std::string StartLine(const data::Database& database) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  return std::string("surva ") + Version() + " on " +
         (database.dialect() == data::Dialect::kSqlite ? "SQLite" : "PostgreSQL") + ", time zone " + local.tm_zone;
}

}  // namespace

bool IsGuarded(const Configuration& configuration, data::Database& database) {
  data::Connection connection(database);
  if (guard::Accounts(connection).Any()) return true;
  if (!configuration.no_staff_guard && !IsLoopback(ReadListenAddress(configuration.listen).host)) {
    throw UsageError("listening on " + configuration.listen +
                     " would open /admin/ to the network; make an account first (surva staff add NAME --role owner), "
                     "listen on 127.0.0.1, or say with --no-staff-guard that something in front guards /admin/");
  }
  return false;
}

int Serve(const Configuration& configuration) {
  IgnoreStraySignals();
  asio::io_context io(1);
  const std::unique_ptr<host::StaticSite> files = OpenSite(configuration);
  const std::unique_ptr<FileLog> log = OpenLog(configuration);
  Metrics metrics;
  const std::unique_ptr<wire::Log> metered = metrics.Around(*log);
  const std::unique_ptr<data::Database> opened = OpenDatabase(
      configuration, [&log](const std::string& text) { log->Warning(text); }, metrics.AroundEngines());
  data::Database& database = *opened;
  database.SettleLog();
  EndWhenTheDiskFails(database, *log);
  const std::size_t threads = WorkerCount(configuration);
  host::WorkerPool workers({.threads = threads,
                            .writers = WriterCount(threads, database.dialect()),
                            .patience = std::chrono::seconds(configuration.queue_seconds),
                            .most_bytes = configuration.queue_mebibytes << 20,
                            .settle = host::PageService::SettlesFor(database)});
  const desk::Settings settings = Desk(configuration);
  const bool guarded = IsGuarded(configuration, database);
  host::PageService service(Pages(configuration, settings), database, *files, workers, *metered);
  const std::unique_ptr<wire::Server> server = OpenServer(io, configuration, service, *metered);
  const std::unique_ptr<Metrics, void (*)(Metrics*)> scraped(&metrics, [](Metrics* open) { open->Close(); });

  if (!configuration.metrics_listen.empty()) {
    const int port = metrics.Serve(configuration.metrics_listen, database, workers, service.guard_figures());
    log->Info("Prometheus finds its figures on port " + std::to_string(port));
  }
  log->Info(StartLine(database));
  if (!guarded) {
    log->Info(configuration.no_staff_guard
                  ? "there are no staff accounts: whatever stands in front guards /admin/"
                  : "there are no staff accounts: /admin/ is open to this machine (surva staff add NAME --role owner)");
  }
  if (const std::string lack = files->Lacks(); !lack.empty()) {
    log->Warning("site: " + configuration.site + " lacks " + lack + "; copy this version's own site folder anew");
  }
  if (server->answers_to_any_name()) {
    log->Info("any host name is served; set hostname to those under which visitors come");
  }
  std::cout << "surva serves " << SiteAddress(configuration, server->port()) << "/" << std::endl;
  // Says nothing where no service manager asked for it.
  sd_notifyf(0, "READY=1\nSTATUS=serves %s/", SiteAddress(configuration, server->port()).c_str());
  // Signals are held to the very end, when they do nothing any more.
  const Errands errands(io, *server, service, *log);
  {
    std::optional<desk::MailSender> mail;
    if (!configuration.mail_server.empty()) mail.emplace(settings.mail, database, *log);
    server->Run();
  }
  workers.Stop();
  try {
    database.Close();
  } catch (const std::exception& failure) {
    // Nothing is lost: what is committed stands in the write-ahead log.
    log->Warning(std::string("the database could not be tidied up: ") + failure.what());
  }
  return 0;
}

}  // namespace surva::program
