// The command line: `surva serve`, `surva init` and the other commands.
#pragma once

#include <span>
#include <string>

#include "program/configuration.h"
#include "program/staff.h"

namespace surva::program {

struct CommandLine {
  enum class Command {
    kServe,
    kInit,
    kDemo,
    kBackup,
    kRestore,
    kCheck,
    kHealth,
    kCopy,
    kAnonymise,
    kStaff,
    kHistory,
    kTell
  };

  Command command = Command::kTell;
  Configuration configuration;
  std::string file;  // of kBackup and kRestore
  std::string from;  // the databases of kCopy
  std::string to;
  std::string before;    // the day of kAnonymise, as YYYY-MM-DD
  bool dry_run = false;  // of kAnonymise
  bool keep_texts = false;
  StaffOrder staff;
  HistoryOrder history;
  std::string text;  // what kTell writes to the standard output: help or version
};

struct Subcommand {
  CommandLine::Command command;
  const char* name;
  const char* operands;
  const char* help;
};
std::span<const Subcommand> Subcommands();

// Reads the options and the configuration file that they name; the command line wins. Throws a UsageError.
CommandLine ReadCommandLine(int argc, const char* const* argv);

}  // namespace surva::program
