// Opens the database that a command works on, and makes or upgrades its tables.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "frame/data/database.h"
#include "program/configuration.h"

namespace surva::program {

// What is to become of tables that somebody has dropped.
enum class Missing { kRefused, kMade };

// `tell` gets a line now and then while a database is waited for, and of what makes pages slow. Throws upkeep::Refusal
// or upkeep::Away.
std::unique_ptr<data::Database> OpenDatabase(const Configuration& configuration,
                                             const std::function<void(const std::string&)>& tell,
                                             const data::Database::Wrap& wrap = {},
                                             Missing missing = Missing::kRefused);

}  // namespace surva::program
