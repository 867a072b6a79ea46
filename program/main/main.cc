// surva: evaluates courses and trainers.
#include <exception>
#include <iostream>
#include <string>

#include "frame/values/fault.h"
#include "program/command_line.h"
#include "program/serve.h"
#include "program/verbs.h"
#include "upkeep/readiness.h"

namespace {

using namespace surva;
using program::CommandLine;

int Run(int argc, char** argv) {
  const CommandLine command_line = program::ReadCommandLine(argc, argv);
  switch (command_line.command) {
    case CommandLine::Command::kServe:
      return program::Serve(command_line.configuration);
    case CommandLine::Command::kInit:
      return program::Init(command_line.configuration);
    case CommandLine::Command::kDemo:
      return program::Demo(command_line.configuration);
    case CommandLine::Command::kBackup:
      return program::Backup(command_line);
    case CommandLine::Command::kRestore:
      return program::Restore(command_line);
    case CommandLine::Command::kCheck:
      return program::Check(command_line);
    case CommandLine::Command::kHealth:
      return program::Health(command_line.configuration);
    case CommandLine::Command::kCopy:
      return program::Copy(command_line);
    case CommandLine::Command::kAnonymise:
      return program::Anonymise(command_line);
    case CommandLine::Command::kStaff:
      return program::Staff(command_line);
    case CommandLine::Command::kHistory:
      return program::ShowHistory(command_line);
    case CommandLine::Command::kTell:
      std::cout << command_line.text;
      return 0;
  }
  return 2;
}

constexpr int kUsage = 2;  // the shells' own, of wrong use
using program::kUnavailable;

// One line, whatever an engine had to say.
int Refuse(std::string message, int code = kUsage) {
  for (char& c : message) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  std::cerr << "surva: " << message << std::endl;
  return code;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const upkeep::Away& away) {
    return Refuse(away.what(), kUnavailable);
  } catch (const Fault& fault) {
    return Refuse("the database failed: " + (fault.detail().empty() ? fault.description() : fault.detail()) +
                  "; see --dsn, and the disk that it is on");
  } catch (const std::exception& failure) {
    return Refuse(failure.what());
  }
}
