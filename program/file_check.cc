#include "program/file_check.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "host/static_site.h"

namespace surva::program {

namespace fs = std::filesystem;

std::vector<wire::TlsFinding> CheckFiles(const Configuration& configuration) {
  std::vector<wire::TlsFinding> findings;
  if (!configuration.tls_certificate.empty()) {
    findings = wire::CheckTlsFiles(configuration.tls_certificate, configuration.tls_key, configuration.hostnames,
                                   std::time(nullptr));
  }
  const auto add = [&](const std::string& what, const std::string& remedy) {
    findings.push_back({true, what, remedy});
  };
  std::error_code error;
  constexpr const char* kCopy = "name a copy of this version's own site folder";
  if (const std::string& site = configuration.site; !site.empty() && !fs::is_directory(site, error)) {
    add("site: there is no folder " + site, kCopy);
  } else if (!site.empty()) {
    try {
      const std::string lack = host::StaticSite(site).Lacks();
      if (!lack.empty()) findings.push_back({false, "site: " + site + " lacks " + lack, kCopy});
    } catch (const std::exception& failure) {
      add(std::string("site: ") + failure.what(), kCopy);
    }
  }
  if (const std::string& file = configuration.mail_password_file; !file.empty()) {
    std::ifstream stream(file);
    std::string password;
    if (!std::getline(stream, password)) {
      add("mail-password-file: " + file + " cannot be read or is empty", "see its path, owner and mode");
    }
  }
  for (const auto& [name, log] :
       {std::pair("access-log", configuration.access_log), std::pair("error-log", configuration.error_log)}) {
    if (log == "-" || log == "off") continue;
    const fs::path folder = fs::path(log).has_parent_path() ? fs::path(log).parent_path() : fs::path(".");
    if (!fs::is_directory(folder, error)) {
      add(std::string(name) + ": there is no folder " + folder.string(), "make it, for the user who runs surva");
    } else if (access((fs::exists(log, error) ? fs::path(log) : folder).c_str(), W_OK) != 0) {
      add(std::string(name) + ": " + log + " may not be written", "give it to the user who runs surva (chown)");
    }
  }
  return findings;
}

}  // namespace surva::program
