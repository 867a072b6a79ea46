// Manual: the manual pages and the shell's completion, made from the tables of commands and settings.
#pragma once

#include <string>
#include <string_view>

namespace surva::program {

// "surva.1", "surva.toml.5" or "completion". Throws a UsageError for any other name.
std::string Manual(std::string_view name);

}  // namespace surva::program
