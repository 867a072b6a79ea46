#include "program/serve.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <mutex>
#include <thread>

#include "frame/data/database.h"
#include "frame/data/schema_upgrade.h"
#include "host/page_service.h"
#include "host/static_site.h"
#include "host/worker_pool.h"
#include "program/logging.h"
#include "program/open_database.h"
#include "wire/server.h"

namespace surva::program {
namespace {

constexpr std::chrono::minutes kPurgeEvery{10};
// From a signal to the end of the program, whatever hangs.
constexpr std::chrono::milliseconds kLastMoment{9'500};

// Waits for SIGTERM or SIGINT on a thread of its own; both must be blocked in all threads.
class Signals {
 public:
  explicit Signals(wire::Server& server) : thread_([this, &server] { Wait(server); }) {}
  ~Signals() {
    ended_ = true;
    thread_.join();
  }
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

  static sigset_t Set() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    return set;
  }

 private:
  void Wait(wire::Server& server) {
    const sigset_t set = Set();
    const timespec second{1, 0};
    while (!ended_) {
      if (sigtimedwait(&set, nullptr, &second) <= 0) continue;
      server.Stop();
      std::thread([] {
        std::this_thread::sleep_for(kLastMoment);
        std::_Exit(0);
      }).detach();
      return;
    }
  }

  std::atomic<bool> ended_ = false;
  std::thread thread_;
};

// Calls the service's housekeeping every few minutes.
class Housekeeping {
 public:
  explicit Housekeeping(host::PageService& service) : thread_([this, &service] { Run(service); }) {}
  ~Housekeeping() {
    {
      const std::lock_guard lock(mutex_);
      ended_ = true;
    }
    wake_.notify_one();
    thread_.join();
  }
  Housekeeping(const Housekeeping&) = delete;
  Housekeeping& operator=(const Housekeeping&) = delete;

 private:
  void Run(host::PageService& service) {
    std::unique_lock lock(mutex_);
    while (!wake_.wait_for(lock, kPurgeEvery, [this] { return ended_; })) service.Purge();
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  bool ended_ = false;
  std::thread thread_;
};

std::size_t WorkerCount(const Configuration& configuration) {
  if (configuration.workers != 0) return configuration.workers;
  return std::max<std::size_t>(4, 2 * std::size_t{std::thread::hardware_concurrency()});
}

std::unique_ptr<host::StaticSite> OpenSite(const Configuration& configuration) try {
  return configuration.site.empty() ? std::make_unique<host::StaticSite>()
                                    : std::make_unique<host::StaticSite>(configuration.site);
} catch (const std::exception& failure) {
  throw UsageError(std::string("--site: ") + failure.what());
}

std::unique_ptr<FileLog> OpenLog(const Configuration& configuration) try {
  return std::make_unique<FileLog>(
      LogOptions{configuration.access_log, configuration.error_log, configuration.log_level});
} catch (const std::exception& failure) {
  throw UsageError(std::string("a log cannot be written: ") + failure.what());
}

std::unique_ptr<wire::Server> OpenServer(const Configuration& configuration, wire::Site& site, wire::Log& log) try {
  const ListenAddress listen = ReadListenAddress(configuration.listen);
  wire::ServerOptions options;
  options.host = listen.host;
  options.port = listen.port;
  options.tls_certificate = configuration.tls_certificate;
  options.tls_key = configuration.tls_key;
  options.trusted_proxies = wire::TrustedProxies(configuration.trusted_proxies);
  options.host_names = configuration.hostnames;
  options.limits.connections = configuration.max_connections;
  options.limits.connections_per_address = configuration.max_connections_per_address;
  return std::make_unique<wire::Server>(std::move(options), site, log);
} catch (const UsageError&) {
  throw;
} catch (const std::exception& failure) {
  throw UsageError(failure.what());
}

desk::Settings Desk(const Configuration& configuration) {
  desk::Settings settings;
  settings.public_address = configuration.public_address;
  while (settings.public_address.ends_with('/')) settings.public_address.pop_back();
  settings.least_answers = configuration.least_answers;
  return settings;
}

}  // namespace

int Serve(const Configuration& configuration) {
  // Before any thread begins, so that all inherit it.
  const sigset_t signals = Signals::Set();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);

  const std::unique_ptr<host::StaticSite> files = OpenSite(configuration);
  const std::unique_ptr<FileLog> log = OpenLog(configuration);
  const std::unique_ptr<data::Database> opened =
      OpenDatabase(configuration, [&log](const std::string& text) { log->Warning(text); });
  data::Database& database = *opened;
  host::WorkerPool workers(WorkerCount(configuration), configuration.queue);
  host::PageService service({configuration.owner, static_cast<int>(configuration.session_minutes), Desk(configuration)},
                            database, *files, workers, *log);
  const std::unique_ptr<wire::Server> server = OpenServer(configuration, service, *log);

  if (server->host_names().any()) {
    log->Info("any host name is served; set hostname to those under which visitors come");
  }
  std::cout << "surva serves " << SiteAddress(configuration, server->port()) << "/" << std::endl;
  {
    const Signals waiting(*server);
    const Housekeeping housekeeping(service);
    server->Run();
  }
  workers.Stop();
  try {
    database.Close();
  } catch (const std::exception& failure) {
    // Nothing is lost: what is committed stands in the write-ahead log.
    log->Warning(std::string("the database could not be tidied up: ") + failure.what());
  }
  log->Flush();
  return 0;
}

}  // namespace surva::program
