#include "wire/connection_table.h"

#include "wire/proxy.h"

namespace surva::wire {

namespace {

// Refused connections that may stay for a moment to read why, beyond the limit.
constexpr std::size_t kMostRefused = 64;

}  // namespace

ConnectionTable::Admission ConnectionTable::Admit(const Peer& peer) {
  const auto network = networks_.find(peer.network);
  const std::size_t of_network = network == networks_.end() ? 0 : network->second.size();
  const auto close = [this](Connection& longest_waiting) {
    ++made_room_;
    longest_waiting.Close();
    return Admission::kWelcome;
  };
  if (!peer.trusted && of_network >= limits_.connections_per_address) {
    if (!network->second.waiting.empty()) return close(*network->second.waiting.front());
    return of_network < limits_.connections_per_address + kMostRefused ? Admission::kTooManyOfNetwork
                                                                       : Admission::kNotEvenRefused;
  }
  if (size() >= limits_.connections) {
    if (!waiting_.empty()) return close(*waiting_.front());
    return size() < limits_.connections + kMostRefused ? Admission::kTooMany : Admission::kNotEvenRefused;
  }
  return Admission::kWelcome;
}

void ConnectionTable::Add(const std::shared_ptr<Connection>& connection) {
  Network& network = networks_[connection->peer().network];
  network.busy.push_back(connection.get());
  try {
    busy_.push_back(connection);
  } catch (...) {
    network.busy.pop_back();
    throw;
  }
  connection->place_ = {std::prev(busy_.end()), std::prev(network.busy.end()), false};
}

void ConnectionTable::Remove(Connection& connection) noexcept {
  const Connection::Place place = connection.place_;
  const auto network = networks_.find(connection.peer().network);
  (place.waiting ? network->second.waiting : network->second.busy).erase(place.of_network);
  if (network->second.size() == 0) networks_.erase(network);
  // Whoever called still needs the connection.
  const std::shared_ptr<Connection> kept = *place.in_all;
  (place.waiting ? waiting_ : busy_).erase(place.in_all);
}

void ConnectionTable::SetWaiting(Connection& connection, bool waiting) noexcept {
  Connection::Place& place = connection.place_;
  Network& network = networks_.find(connection.peer().network)->second;
  Connections& to = waiting ? waiting_ : busy_;
  to.splice(to.end(), place.waiting ? waiting_ : busy_, place.in_all);
  std::list<Connection*>& to_of_network = waiting ? network.waiting : network.busy;
  to_of_network.splice(to_of_network.end(), place.waiting ? network.waiting : network.busy, place.of_network);
  place.waiting = waiting;
}

void ConnectionTable::Clear() noexcept {
  networks_.clear();
  waiting_.clear();
  busy_.clear();
}

}  // namespace surva::wire
