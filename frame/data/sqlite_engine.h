// SQLite behind Engine: write-ahead log, every commit on disk before it returns.
#pragma once

#include <memory>
#include <string>

#include "frame/data/engine.h"

namespace surva::data {

enum class MissingFile : std::uint8_t { kRefused, kMade };

class ChangeLog;

// Opens the file, or makes it (for its owner alone to read). A commit fails, and nothing of it stands, when the file
// has been taken away or replaced since. `traffic` counts. Throws Fault.
std::unique_ptr<Engine> OpenSqlite(const std::string& path, MissingFile missing, Traffic& traffic, ChangeLog& log);

}  // namespace surva::data
