// surva: evaluates courses and trainers.
#include <exception>
#include <iostream>
#include <string>

#include "demo/demo.h"
#include "frame/data/database.h"
#include "frame/data/schema_upgrade.h"
#include "frame/values/fault.h"
#include "program/command_line.h"
#include "program/open_database.h"
#include "program/serve.h"
#include "upkeep/readiness.h"

namespace {

using namespace surva;
using program::CommandLine;
using program::UsageError;

void TellOfWaiting(const std::string& text) {
  std::cerr << "surva: " << text << std::endl;
}

int Init(const program::Configuration& configuration) {
  program::OpenDatabase(configuration, TellOfWaiting)->Close();
  return 0;
}

int Demo(const program::Configuration& configuration) {
  const std::unique_ptr<data::Database> opened = program::OpenDatabase(configuration, TellOfWaiting);
  data::Database& database = *opened;
  std::optional<demo::Summary> summary = demo::Find(database);
  if (!summary) {
    if (!demo::IsEmpty(database))
      throw UsageError("the database holds data already; give demo an empty one with --dsn");
    summary = demo::Fill(database, Clock::System());
  }
  database.Close();
  std::cout << demo::Text(*summary, program::SiteAddress(configuration));
  return 0;
}

int Run(int argc, char** argv) {
  const CommandLine command_line = program::ReadCommandLine(argc, argv);
  switch (command_line.command) {
    case CommandLine::Command::kServe:
      return program::Serve(command_line.configuration);
    case CommandLine::Command::kInit:
      return Init(command_line.configuration);
    case CommandLine::Command::kDemo:
      return Demo(command_line.configuration);
    case CommandLine::Command::kTell:
      std::cout << command_line.text;
      return 0;
  }
  return 2;
}

// As sysexits.h has them.
constexpr int kUsage = 2;  // the shells' own, of wrong use
constexpr int kUnavailable = 69;

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
    return Refuse("the database cannot be opened; see that --dsn names one that may be written (" +
                  (fault.detail().empty() ? fault.description() : fault.detail()) + ")");
  } catch (const std::exception& failure) {
    return Refuse(failure.what());
  }
}
