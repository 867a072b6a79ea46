// ConnectionTable: all open connections, counted by network, with those first that may go to make room.
#pragma once

#include <list>
#include <memory>
#include <string>
#include <unordered_map>

#include "wire/connection.h"

namespace surva::wire {

class ConnectionTable {
 public:
  explicit ConnectionTable(const Limits& limits) : limits_(limits) {}

  enum class Admission { kWelcome, kTooManyOfNetwork, kTooMany, kNotEvenRefused };
  // Whether one more may come. Where the limits are reached, the connection goes that has waited longest for a request:
  // of the same network, or of all.
  Admission Admit(const Peer& peer);

  void Add(const std::shared_ptr<Connection>& connection);
  void Remove(Connection& connection) noexcept;
  // Puts it at the end of those that wait for a request, or among the others. Allocates nothing.
  void SetWaiting(Connection& connection, bool waiting) noexcept;

  std::size_t size() const { return waiting_.size() + busy_.size(); }
  std::size_t made_room() const { return made_room_; }  // connections that went for others

  // Calls `visit` with each; it may remove the one that it is called with.
  template <class Visit>
  void ForEach(Visit visit) {
    for (Connections* const list : {&waiting_, &busy_}) {
      for (auto next = list->begin(); next != list->end();) {
        const std::shared_ptr<Connection> connection = *next++;
        visit(*connection);
      }
    }
  }
  void Clear() noexcept;

 private:
  using Connections = std::list<std::shared_ptr<Connection>>;
  struct Network {
    std::list<Connection*> waiting;
    std::list<Connection*> busy;
    std::size_t size() const { return waiting.size() + busy.size(); }
  };

  const Limits& limits_;
  Connections waiting_;  // the longest waiting first
  Connections busy_;
  std::unordered_map<std::string, Network> networks_;
  std::size_t made_room_ = 0;
};

}  // namespace surva::wire
