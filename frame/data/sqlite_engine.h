// SQLite behind Engine: write-ahead log, every commit on disk before it returns.
#pragma once

#include <memory>
#include <string>

#include "frame/data/engine.h"

namespace surva::data {

// Opens or makes the file. Throws Fault.
std::unique_ptr<Engine> OpenSqlite(const std::string& path);

}  // namespace surva::data
