// PostgreSQL behind Engine, through libpq.
#pragma once

#include <memory>
#include <string>

#include "frame/data/engine.h"

namespace surva::data {

// Connects to a postgresql:// address; `traffic` counts. Throws Fault.
std::unique_ptr<Engine> OpenPostgres(const std::string& address, Traffic& traffic);

}  // namespace surva::data
