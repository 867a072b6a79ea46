// Configuration: one table of settings, from which come both the options of the command line and the keys of the
// configuration file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "frame/page_object.h"
#include "host/visitor_sessions.h"

namespace surva::program {

// The program was started wrongly; the text is one line that says what to do. Exit code 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Configuration {
  std::string dsn = "sqlite:surva.db";
  std::size_t database_wait = 60;  // seconds
  std::string listen = "127.0.0.1:8080";
  std::string metrics_listen;
  std::string site;  // a directory, or empty for the files in the binary
  bool no_staff_guard = false;
  std::string tls_certificate;
  std::string tls_key;
  std::vector<std::string> trusted_proxies;
  std::vector<std::string> hostnames;
  Owner owner;
  std::size_t workers = 0;  // of each lane; 0: two for each processor, four to sixteen
  std::size_t queue_seconds = 5;
  std::size_t queue_mebibytes = 64;
  std::size_t max_connections = 10'000;
  std::size_t max_connections_per_address = 2'500;
  std::size_t session_minutes = host::SessionRules().idle_minutes;
  std::size_t staff_hours = 12;
  std::size_t staff_idle_minutes = 60;
  std::size_t wrong_pins = 10;       // 0: off
  std::size_t public_writes = 2000;  // 0: off
  std::size_t history_days = 90;
  std::string public_address;
  std::string readers;
  std::size_t least_answers = 5;
  std::string mail_server;
  std::string mail_sender;
  std::string mail_account;
  std::string mail_password_file;
  std::string mail_tls = "required";
  std::string mail_authority;
  std::size_t mail_rate = 60;
  std::string access_log = "-";
  std::string error_log = "-";
  std::string log_level = "info";
  std::string log_format = "text";
  std::size_t slow_request_milliseconds = 1000;  // 0: off
  std::size_t max_body_kib = 1024;
  std::size_t max_in_flight_mib = 64;
};

struct Setting {
  struct Number {
    std::size_t Configuration::*member;
    std::size_t least;
    std::size_t most;
    bool may_be_off = false;  // "off" is 0
  };
  struct Choice {
    std::string Configuration::*member;
    std::span<const std::string_view> words;
  };
  using Member = std::variant<std::string Configuration::*, std::string Owner::*, bool Configuration::*,
                              std::vector<std::string> Configuration::*, Number, Choice>;

  // Whom it tells something: all commands, those that name the address, or `serve` alone.
  enum class For : std::uint8_t { kAll, kAddress, kServe };

  const char* name;  // of the option, after "--", and of the key
  Member member;
  For whom;
  const char* help;
};

std::span<const Setting> Settings();

// What holds where a setting is not given, as text; "none" for an empty one.
std::string DefaultText(const Setting& setting);

// Sets what the text says; a list grows by it. Throws a UsageError that begins with `where` if it is no value for the
// setting.
void Apply(const Setting& setting, const std::string& text, const std::string& where, Configuration& configuration);

// Sets what a TOML file says. Throws a UsageError for a file that cannot be read, an unknown key, a wrong type or
// value.
void ReadFile(const std::filesystem::path& file, Configuration& configuration);

// What no setting can see alone: throws a UsageError for half a pair of TLS files.
void CheckForServing(const Configuration& configuration);

// The host and the port of "HOST:PORT" or "[ADDRESS]:PORT". Throws a UsageError if it is neither.
struct ListenAddress {
  std::string host;
  std::string port;
};
bool IsLoopback(const std::string& host);
ListenAddress ReadListenAddress(const std::string& listen, const char* setting = "listen");

// The address for a browser, without a slash behind it, with the port in place of a listener's 0.
std::string SiteAddress(const Configuration& configuration, unsigned short port);
std::string SiteAddress(const Configuration& configuration);

}  // namespace surva::program
