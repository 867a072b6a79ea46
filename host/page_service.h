// PageService: the site behind the sockets. Sends the eleven addresses to their page objects, runs them on the workers,
// commits, and turns their responses into answers; gives out the static files.
#pragma once

#include <atomic>
#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "frame/data/database.h"
#include "frame/page_object.h"
#include "guard/gate.h"
#include "guard/rates.h"
#include "host/delay_line.h"
#include "host/health.h"
#include "host/routes.h"
#include "host/static_site.h"
#include "host/visitor_sessions.h"
#include "host/worker_pool.h"
#include "wire/http_message.h"
#include "wire/log.h"

namespace surva::host {

class PageService final : public wire::Site {
 public:
  struct Options {
    Owner owner;
    SessionRules visits = {};
    desk::Settings desk = {};
    guard::Gate::Options gate = {};
    int free_wrong_pins = 10;  // of one network; 0 slows nobody down
    // Between tries of PINs, when too many are wrong; and how long one waits at most.
    std::chrono::milliseconds pin_pace{200};
    std::chrono::milliseconds longest_pin_wait{20'000};
    guard::WriteBudget::Rule public_writes = {};
    int history_days = 90;
    std::chrono::nanoseconds slow{0};  // what takes longer is told in the log; 0: nothing is
  };

  // All but the options outlive the service.
  PageService(Options options, data::Database& database, const StaticSite& files, WorkerPool& workers, wire::Log& log,
              const Clock& clock = Clock::System());

  // What the workers have to know of the database (WorkerPool::Options::settle).
  static std::function<void()> SettlesFor(data::Database& database);

  void Handle(wire::HttpRequest request, wire::Respond respond) override;

  // What the guard has counted.
  const guard::Figures& guard_figures() const { return gate_.figures(); }

  // Deletes what visits that have ended left behind; to be called now and then.
  void Purge();

 private:
  // A request on its way to its answer.
  struct Order;

  void Enqueue(const std::shared_ptr<Order>& order);
  void Serve(const std::shared_ptr<Order>& order);
  // When all that it wrote is on disk, or has failed.
  void Finish(const std::shared_ptr<Order>& order, const std::exception_ptr& failure);
  void TellIfSlow(const Order& order);
  // The answer, counted as one by that rule.
  wire::HttpResponse Refuse(guard::Rule rule, wire::HttpResponse answer);
  // The answer to who does not pass, or nothing; tells the order who it is.
  std::optional<wire::HttpResponse> Stop(Order& order, data::Connection& connection);
  // The same for the public page, by what its form says.
  std::optional<wire::HttpResponse> StopVisitor(Order& order, const Request& request, data::Connection& connection);
  void CountVisitor(const Order& order, const Request& request, const Response& response, data::Connection& connection);
  static data::Author AuthorOf(const Order& order);
  wire::HttpResponse FileOr404(const wire::HttpRequest& request) const;
  // All leave the commit to Serve.
  wire::HttpResponse Answer(Order& order, data::Connection& connection);
  wire::HttpResponse ServePage(Order& order, data::Connection& connection);
  wire::HttpResponse ServeDesk(Order& order, data::Connection& connection);
  // The answer to a request that could not be carried out.
  wire::HttpResponse Failed(const wire::HttpRequest& request, const std::exception& failure);
  // Does work of the host's own with the database when the writers have time.
  void PostChore(const std::string& name, std::function<void(data::Connection&)> chore);

  const Options options_;
  data::Database& database_;
  const StaticSite& files_;
  wire::Log& log_;
  const Clock& clock_;
  WorkerPool& workers_;
  Health health_;
  desk::Background background_;
  guard::Gate gate_;
  const guard::PinGuard pins_;
  guard::WriteBudget writes_;
  std::atomic<std::int64_t> busy_noted_ = 0;
  DelayLine delays_;
};

}  // namespace surva::host
