// The command line: `surva serve`, `surva init`, `surva demo`.
#pragma once

#include <string>

#include "program/configuration.h"

namespace surva::program {

struct CommandLine {
  enum class Command { kServe, kInit, kDemo, kTell };

  Command command = Command::kTell;
  Configuration configuration;
  std::string text;  // what kTell writes to the standard output: help or version
};

// Reads the options and the configuration file that they name; the command line wins. Throws a UsageError.
CommandLine ReadCommandLine(int argc, const char* const* argv);

}  // namespace surva::program
