// VisitorSessions: the sessions of all visitors. They are kept in the database, saved with the request's own commit,
// and cached in memory; a restart loses none. One visitor's requests run one at a time.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

#include "frame/data/connection.h"
#include "frame/session.h"
#include "host/worker_pool.h"

namespace surva::host {

class VisitorSessions;

// A visitor's turn: his session, held for one request. The next request of his runs when the turn ends.
class Visit {
 public:
  ~Visit();
  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;

  // Reads the session if it is not in memory; a visitor without one, or with one that has ended, gets an empty one.
  Session& Open(data::Connection& connection);
  // Writes the session if there is anything new to say, through the request's connection, whose commit then takes it
  // along. A new session that holds nothing leaves nothing.
  void Save(data::Connection& connection);
  // Says that the request's commit went through; without it the session in memory is dropped at the turn's end, and
  // read again from the database.
  void Keep() { keep_ = true; }

  // The token of a session that Save has just begun, for the visitor's cookie; empty otherwise.
  const std::string& new_token() const { return new_token_; }

 private:
  friend class VisitorSessions;
  struct Entry;
  Visit(VisitorSessions& sessions, std::shared_ptr<Entry> entry) : sessions_(sessions), entry_(std::move(entry)) {}

  VisitorSessions& sessions_;
  std::shared_ptr<Entry> entry_;
  std::string new_token_;
  bool keep_ = false;
};

class VisitorSessions {
 public:
  using Job = std::function<void(std::shared_ptr<Visit>)>;

  struct Options {
    int idle_minutes = 1440;          // of a session whose pages set no timeout
    std::size_t most_cached = 10000;  // in memory
    std::size_t most_waiting = 32;    // requests of one visitor behind the one that runs
  };

  VisitorSessions(Options options, WorkerPool& workers) : options_(options), workers_(workers) {}

  // Runs `job` on a worker when it is this visitor's turn. `token` is what his cookie says, or empty. False if there
  // is no room; the job is then never run.
  bool Run(std::string_view token, Job job);

  // Deletes the sessions that have ended from the database.
  void Purge(data::Connection& connection) const;

  // How many sessions are in memory.
  std::size_t cached() const;

 private:
  friend class Visit;
  using Entry = Visit::Entry;

  std::function<void()> Turn(std::shared_ptr<Entry> entry, Job job);
  void End(const std::shared_ptr<Entry>& entry, const std::string& new_token, bool keep);
  void Rest(const std::shared_ptr<Entry>& entry);

  const Options options_;
  WorkerPool& workers_;
  mutable std::mutex mutex_;
  std::unordered_map<std::string, std::shared_ptr<Entry>> entries_;  // by key
  std::list<Entry*> recent_;                                         // the idle ones, last used first
};

}  // namespace surva::host
