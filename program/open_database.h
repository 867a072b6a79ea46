// Opens the database that a command works on, and makes or upgrades its tables.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "frame/data/database.h"
#include "program/configuration.h"

namespace surva::program {

// `tell` gets a line now and then while a database is waited for. Throws upkeep::Refusal or upkeep::Away.
std::unique_ptr<data::Database> OpenDatabase(const Configuration& configuration,
                                             const std::function<void(const std::string&)>& tell,
                                             const data::Database::Wrap& wrap = {});

}  // namespace surva::program
