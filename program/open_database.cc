#include "program/open_database.h"

#include "upkeep/check.h"
#include "upkeep/readiness.h"

namespace surva::program {

std::unique_ptr<data::Database> OpenDatabase(const Configuration& configuration,
                                             const std::function<void(const std::string&)>& tell,
                                             const data::Database::Wrap& wrap, Missing missing) {
  std::unique_ptr<data::Database> database =
      upkeep::OpenDatabase(configuration.dsn, std::chrono::seconds(configuration.database_wait), tell, wrap);
  upkeep::RequireSuitable(*database);
  database->BringUpToDate();
  if (missing == Missing::kMade) upkeep::MakeWhatIsMissing(*database);
  for (const upkeep::Finding& finding : upkeep::RequireTables(*database)) tell(finding.what + "; " + finding.remedy);
  return database;
}

}  // namespace surva::program
