// PostgreSQL behind Engine, through libpq.
#pragma once

#include <memory>
#include <string>

#include "frame/data/engine.h"
#include "frame/values/fault.h"

namespace surva::data {

// Connects to a postgresql:// address; `traffic` counts. Throws Fault.
std::unique_ptr<Engine> OpenPostgres(const std::string& address, Traffic& traffic);
// Whether the server has refused a connection because it has none to spare.
bool IsFull(const Fault& fault);

}  // namespace surva::data
