#include "program/open_database.h"

#include "upkeep/readiness.h"

namespace surva::program {

std::unique_ptr<data::Database> OpenDatabase(const Configuration& configuration,
                                             const std::function<void(const std::string&)>& tell,
                                             const data::Database::Wrap& wrap) {
  std::unique_ptr<data::Database> database =
      upkeep::OpenDatabase(configuration.dsn, std::chrono::seconds(configuration.database_wait), tell, wrap);
  upkeep::RequireSuitable(*database);
  database->BringUpToDate();
  return database;
}

}  // namespace surva::program
