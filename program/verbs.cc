#include "program/verbs.h"

#include <iomanip>
#include <iostream>
#include <memory>

#include "demo/demo.h"
#include "desk/parts.h"
#include "desk/personal_data.h"
#include "program/open_database.h"
#include "upkeep/backup.h"
#include "upkeep/check.h"
#include "upkeep/copy.h"
#include "upkeep/readiness.h"

namespace surva::program {
namespace {

void TellOfWaiting(const std::string& text) {
  std::cerr << "surva: " << text << std::endl;
}

// A database whose tables stand, and are left as they are: another surva may be serving it.
std::unique_ptr<data::Database> OpenStanding(const std::string& dsn, const Configuration& configuration) {
  std::unique_ptr<data::Database> database =
      upkeep::OpenDatabase(dsn, std::chrono::seconds(configuration.database_wait), TellOfWaiting);
  const int version = upkeep::VersionOf(*database);
  if (version == 0) throw upkeep::Refusal("there are no tables of surva in the database; see --dsn");
  if (version != data::kSchemaVersion) {
    throw upkeep::Refusal("the tables are of " + std::string(version < data::kSchemaVersion ? "an older" : "a later") +
                          " surva; " +
                          (version < data::kSchemaVersion ? "\"surva init\" upgrades them" : "install that version"));
  }
  return database;
}

}  // namespace

int Init(const Configuration& configuration) {
  OpenDatabase(configuration, TellOfWaiting)->Close();
  return 0;
}

int Demo(const Configuration& configuration) {
  const std::unique_ptr<data::Database> database = OpenDatabase(configuration, TellOfWaiting);
  std::optional<demo::Summary> summary = demo::Find(*database);
  if (!summary) {
    if (!demo::IsEmpty(*database))
      throw UsageError("the database holds data already; give demo an empty one with --dsn");
    summary = demo::Fill(*database, Clock::System());
  }
  database->Close();
  std::cout << demo::Text(*summary, SiteAddress(configuration));
  return 0;
}

int Backup(const CommandLine& command_line) {
  const auto database = OpenStanding(command_line.configuration.dsn, command_line.configuration);
  upkeep::Backup(*database, command_line.file);
  std::cout << "The database is in " << command_line.file << ", checked and on disk.\n";
  return 0;
}

int Restore(const CommandLine& command_line) {
  const std::filesystem::path kept = upkeep::Restore(command_line.file, command_line.configuration.dsn);
  std::cout << command_line.file << " is restored.\n";
  if (!kept.empty()) std::cout << "The file that was there before is kept as " << kept.string() << ".\n";
  return 0;
}

int Check(const CommandLine& command_line) {
  const auto database = upkeep::OpenDatabase(
      command_line.configuration.dsn, std::chrono::seconds(command_line.configuration.database_wait), TellOfWaiting);
  upkeep::RequireSuitable(*database);
  int damages = 0;
  for (const upkeep::Finding& finding : upkeep::Check(*database)) {
    const bool damage = finding.kind == upkeep::Finding::Kind::kDamage;
    damages += damage ? 1 : 0;
    std::cout << (damage ? "damage: " : "remnant: ") << finding.what << "\n  " << finding.remedy << "\n";
  }
  std::cout << "The configuration is fine. ";
  std::cout << (damages == 0 ? "The database is sound.\n" : "The database is not sound.\n");
  return damages == 0 ? 0 : 1;
}

int Copy(const CommandLine& command_line) {
  const Configuration& configuration = command_line.configuration;
  const auto from = OpenStanding(command_line.from, configuration);
  Configuration of_target = configuration;
  of_target.dsn = command_line.to;
  const auto to = OpenDatabase(of_target, TellOfWaiting);
  std::int64_t rows = 0;
  for (const upkeep::CopiedTable& table : upkeep::Copy(*from, *to)) {
    std::cout << std::left << std::setw(20) << table.name << std::right << std::setw(10) << table.rows << "\n";
    rows += table.rows;
  }
  std::cout << std::left << std::setw(20) << "rows copied" << std::right << std::setw(10) << rows << "\n";
  to->Close();
  return 0;
}

int Anonymise(const CommandLine& command_line) {
  const std::optional<DateTime> day = desk::ReadDay(command_line.before);
  if (!day) throw UsageError("--before must be a day such as 2024-01-31");
  const auto database = OpenStanding(command_line.configuration.dsn, command_line.configuration);
  if (command_line.dry_run) {
    const desk::Anonymised many = desk::CountBefore(*database, *day);
    database->Close();
    std::cout << many.students << " students would lose their names, " << many.addresses
              << " anonymous forms their addresses. Nothing has been changed.\n";
    return 0;
  }
  const desk::Anonymised done =
      desk::AnonymiseBefore(*database, *day, command_line.keep_texts ? desk::Texts::kKeep : desk::Texts::kErase);
  database->Close();
  std::cout << done.students << " students have no name any more, " << done.addresses
            << " anonymous forms no address. Backups still hold what they held.\n";
  return 0;
}

int Staff(const CommandLine& command_line) {
  return Staff(*OpenDatabase(command_line.configuration, TellOfWaiting), command_line.staff);
}

int ShowHistory(const CommandLine& command_line) {
  return ShowHistory(*OpenDatabase(command_line.configuration, TellOfWaiting), command_line.history);
}

}  // namespace surva::program
