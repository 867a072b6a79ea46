// Health: whether this node can do its work. Judged on threads of its own and, on a server, over a connection of its
// own, so that the pages it judges cannot keep it waiting.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "frame/data/database.h"
#include "wire/http_message.h"
#include "wire/log.h"

namespace surva::host {

class Health {
 public:
  // Lines on whatever else runs here, for who asks for more.
  using Parts = std::function<std::string()>;

  // `database` is the pages' own; it and the log outlive the object.
  Health(data::Database& database, wire::Log& log, Parts parts);
  ~Health();
  Health(const Health&) = delete;
  Health& operator=(const Health&) = delete;

  // Answers 200 or 503 within two seconds, from any thread. What was found out within the last second holds.
  void Answer(bool verbose, wire::Respond respond);

 private:
  using Time = std::chrono::steady_clock::time_point;
  struct Asker {
    bool verbose = false;
    wire::Respond respond;
    Time until;
  };

  void Check();
  void Watch();
  std::string Trouble();
  void OpenOwn();
  void TryDatabase();
  void Settle(std::string trouble);
  wire::HttpResponse Told(bool verbose);

  data::Database& database_;
  wire::Log& log_;
  const Parts parts_;
  const std::string row_;  // that the small writes change

  // Of the checking thread.
  std::optional<data::Database> own_;
  Time last_write_;
  Time last_room_;       // was found for more
  bool writes_ = false;  // the last one went through

  std::mutex mutex_;
  std::condition_variable wake_;
  std::vector<Asker> askers_;
  bool checking_ = false;
  std::optional<Time> checked_;  // when the last one ended
  std::string trouble_;          // what was wrong; empty if nothing
  bool ended_ = false;
  std::thread checker_;
  std::thread watcher_;
};

}  // namespace surva::host
