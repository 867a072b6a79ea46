// Metrics: what the server counts, for Prometheus to fetch from a listener of their own.
#pragma once

#include <memory>
#include <string>

#include "frame/data/database.h"
#include "guard/figures.h"
#include "host/worker_pool.h"
#include "wire/log.h"

namespace surva::program {

class Metrics {
 public:
  Metrics();
  ~Metrics();
  Metrics(const Metrics&) = delete;
  Metrics& operator=(const Metrics&) = delete;

  // A log that counts the requests it is told of and passes all on to another, which outlives it.
  std::unique_ptr<wire::Log> Around(wire::Log& log);
  // Counts what connections do.
  data::Database::Wrap AroundEngines();

  // Gives the figures out under http://ADDRESS/metrics from now on, until Close; what is given outlives that.
  // Gives the port. Throws a std::runtime_error if nothing can listen there.
  int Serve(const std::string& address, data::Database& database, const host::WorkerPool& workers,
            const guard::Figures& guard);
  void Close();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace surva::program
