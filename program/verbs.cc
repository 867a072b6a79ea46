#include "program/verbs.h"

#include <curl/curl.h>

#include <iomanip>
#include <iostream>
#include <memory>

#include "demo/demo.h"
#include "desk/parts.h"
#include "desk/personal_data.h"
#include "program/file_check.h"
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
  std::unique_ptr<data::Database> database = upkeep::OpenDatabase(
      dsn, std::chrono::seconds(configuration.database_wait), TellOfWaiting, {}, upkeep::Files::kStanding);
  const int version = upkeep::VersionOf(*database);
  if (version == 0) throw upkeep::Refusal("there are no tables of surva in the database; see --dsn");
  if (version != data::kSchemaVersion) {
    throw upkeep::Refusal("the tables are of " + std::string(version < data::kSchemaVersion ? "an older" : "a later") +
                          " surva; " +
                          (version < data::kSchemaVersion ? "\"surva init\" upgrades them" : "install that version"));
  }
  upkeep::RequireTables(*database);
  return database;
}

}  // namespace

int Init(const Configuration& configuration) {
  OpenDatabase(configuration, TellOfWaiting, {}, Missing::kMade)->Close();
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
  int troubles = 0;
  for (const wire::TlsFinding& finding : CheckFiles(command_line.configuration)) {
    troubles += finding.fatal ? 1 : 0;
    std::cout << (finding.fatal ? "trouble: " : "warning: ") << finding.what << "\n  " << finding.remedy << "\n";
  }
  std::cout << std::flush;
  const auto database = upkeep::OpenDatabase(command_line.configuration.dsn,
                                             std::chrono::seconds(command_line.configuration.database_wait),
                                             TellOfWaiting, {}, upkeep::Files::kStanding);
  upkeep::RequireSuitable(*database);
  int damages = 0;
  for (const upkeep::Finding& finding : upkeep::Check(*database)) {
    const bool damage = finding.kind == upkeep::Finding::Kind::kDamage;
    damages += damage ? 1 : 0;
    std::cout << (damage ? "damage: " : "remnant: ") << finding.what << "\n  " << finding.remedy << "\n";
  }
  std::cout << (troubles == 0 ? "The configuration is fine. " : "The configuration will not do. ");
  std::cout << (damages == 0 ? "The database is sound.\n" : "The database is not sound.\n");
  return damages + troubles == 0 ? 0 : 1;
}

int Health(const Configuration& configuration) {
  const ListenAddress listen = ReadListenAddress(configuration.listen);
  const bool any = listen.host == "0.0.0.0" || listen.host == "::";
  const std::string host = any ? (listen.host == "::" ? "::1" : "127.0.0.1") : listen.host;
  const bool https = !configuration.tls_certificate.empty();
  const std::string url = std::string(https ? "https://" : "http://") +
                          (host.find(':') == std::string::npos ? host : "[" + host + "]") + ":" + listen.port +
                          "/healthz?verbose";
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), curl_easy_cleanup);
  if (!curl) throw std::runtime_error("libcurl cannot be used");
  std::string answer;
  curl_slist* headers = nullptr;
  // Under a name that is served.
  if (!configuration.hostnames.empty()) {
    headers = curl_slist_append(headers, ("Host: " + configuration.hostnames.front()).c_str());
  }
  curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(curl.get(), CURLOPT_PROXY, "");
  curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, 5L);
  // Of this machine itself the name in the certificate says nothing.
  curl_easy_setopt(curl.get(), CURLOPT_SSL_VERIFYPEER, 0L);
  curl_easy_setopt(curl.get(), CURLOPT_SSL_VERIFYHOST, 0L);
  curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &answer);
  curl_easy_setopt(
      curl.get(), CURLOPT_WRITEFUNCTION, +[](char* bytes, std::size_t size, std::size_t count, void* text) {
        static_cast<std::string*>(text)->append(bytes, size * count);
        return size * count;
      });
  const CURLcode code = curl_easy_perform(curl.get());
  long status = 0;
  curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status);
  curl_slist_free_all(headers);
  if (code != CURLE_OK) {
    std::cerr << "surva: nobody answers at " << url << " (" << curl_easy_strerror(code) << ")\n";
    return kUnavailable;
  }
  std::cout << answer;
  return status == 200 ? 0 : 1;
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
