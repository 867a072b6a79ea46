// What a connection and its server know of each other.
#pragma once

#include <boost/beast/http/message.hpp>
#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>

#include "wire/byte_budget.h"
#include "wire/http_message.h"
#include "wire/limits.h"
#include "wire/log.h"
#include "wire/request_head.h"

namespace surva::wire {

using SteadyTime = std::chrono::steady_clock::time_point;

// A connection as the server sees it. All calls come from the I/O thread. The server keeps it until it is removed.
class Connection : public std::enable_shared_from_this<Connection> {
 public:
  explicit Connection(Peer peer) : peer_(std::move(peer)) {}
  virtual ~Connection() = default;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  virtual void Start() = 0;
  // Answers before any request and closes; over TLS just closes.
  virtual void Refuse(HttpResponse response) = 0;
  // The answer to the request under way; of no effect if there is none.
  virtual void Answer(HttpResponse response) = 0;
  // More of the body that the answer streams is there.
  virtual void Resume() = 0;
  // The deadline has passed.
  virtual void Expire() = 0;
  // The server stops: closes if no request is under way, else after its answer.
  virtual void Drain() = 0;
  virtual void Close() noexcept = 0;

  const Peer& peer() const { return peer_; }
  SteadyTime deadline() const { return deadline_; }

 protected:
  Peer peer_;
  SteadyTime deadline_ = SteadyTime::max();

 private:
  friend class ConnectionTable;
  struct Place {
    std::list<std::shared_ptr<Connection>>::iterator in_all;
    std::list<Connection*>::iterator of_network;
    bool waiting = false;
  };
  Place place_;
};

// The server as a connection sees it, on the I/O thread.
class Reception {
 public:
  virtual ~Reception() = default;

  virtual const Limits& limits() const = 0;
  virtual Log& log() = 0;
  virtual bool stopping() const = 0;
  virtual std::string_view date() = 0;
  virtual RequestHead Read(const boost::beast::http::request_header<>& header, const Peer& peer) = 0;
  virtual std::string NewRequestId() = 0;
  // A count of nothing yet, for a network or, if that is empty, for nobody in particular.
  virtual ByteCharge OpenCharge(std::string network) = 0;

  // Hands the request to the site; the connection gets exactly one Answer, or none if it is gone by then. The charge is
  // kept until the site has done with the request.
  virtual void Handle(HttpRequest request, ByteCharge charge, const std::shared_ptr<Connection>& connection) = 0;
  // A call for any thread, also after the server's end, that has the connection resumed.
  virtual std::function<void()> Resumption(const std::shared_ptr<Connection>& connection) = 0;
  // Whether the connection waits for a request: then it may be closed to make room for another.
  virtual void SetWaiting(Connection& connection, bool waiting) noexcept = 0;
  virtual void Remove(Connection& connection) noexcept = 0;
};

}  // namespace surva::wire
