#include "program/configuration.h"

#include <toml++/toml.h>
#include <algorithm>
#include <array>
#include <boost/asio/ip/address.hpp>
#include <charconv>
#include <fstream>

#include "desk/outbox.h"
#include "frame/values/ascii.h"
#include "frame/values/text.h"
#include "wire/host_names.h"
#include "wire/proxy.h"

namespace surva::program {

namespace {

using C = Configuration;

constexpr std::string_view kLogLevels[] = {"debug", "info", "warning", "error"};
constexpr std::string_view kLogFormats[] = {"text", "json"};
constexpr std::string_view kMailTls[] = {"required", "none"};
constexpr std::size_t kUnlimited = 1'000'000;

using For = Setting::For;

constexpr std::array kSettings{
    Setting{"dsn", &C::dsn, For::kAll, "The database: sqlite:PATH or a postgresql:// address"},
    Setting{"database-wait", Setting::Number{&C::database_wait, 0, 86'400}, For::kAll,
            "Seconds for which a PostgreSQL that is away is waited for at the start"},
    Setting{"listen", &C::listen, For::kAddress, "HOST:PORT on which to serve"},
    Setting{"metrics-listen", &C::metrics_listen, For::kServe,
            "HOST:PORT on which Prometheus finds /metrics, 127.0.0.1:9464 for instance; for no stranger's eyes"},
    Setting{"site", &C::site, For::kServe, "Directory of the static files, in place of those in the program"},
    Setting{"no-staff-guard", &C::no_staff_guard, For::kServe,
            "Serve beyond this machine: something in front guards /admin/ from strangers"},
    Setting{"tls-certificate", &C::tls_certificate, For::kAddress, "PEM file of the certificate chain; serves HTTPS"},
    Setting{"tls-key", &C::tls_key, For::kAddress, "PEM file of the certificate's private key"},
    Setting{"trusted-proxy", &C::trusted_proxies, For::kServe,
            "Address or range (10.0.0.0/8) whose X-Forwarded headers count; may be given several times"},
    Setting{"hostname", &C::hostnames, For::kServe,
            "Name under which visitors reach the server, others are refused; may be given several times"},
    Setting{"homepage", &Owner::homepage, For::kAll, "Address behind the link in the footer"},
    Setting{"author", &Owner::author, For::kAll, "The owner's name in the author line of each page"},
    Setting{"notice", &Owner::notice, For::kAll, "Text of the link in the footer"},
    Setting{"official", &Owner::official, For::kAll, "Address of the owner's web site"},
    Setting{"workers", Setting::Number{&C::workers, 0, 1024}, For::kServe,
            "Page threads of each kind (see the README); 0 is two for each processor, four to sixteen"},
    Setting{"queue-seconds", Setting::Number{&C::queue_seconds, 1, 60}, For::kServe,
            "How long a request may wait for a worker before it is turned away"},
    Setting{"queue-mebibytes", Setting::Number{&C::queue_mebibytes, 1, 65536}, For::kServe,
            "Most memory for requests that wait"},
    Setting{"max-connections", Setting::Number{&C::max_connections, 1, kUnlimited}, For::kServe,
            "Most open connections"},
    Setting{"max-connections-per-address", Setting::Number{&C::max_connections_per_address, 1, kUnlimited}, For::kServe,
            "Most open connections from one address, trusted proxies aside"},
    Setting{"max-body-kib", Setting::Number{&C::max_body_kib, 64, 64 * 1024}, For::kServe,
            "Longest body of a request, in KiB: what a form may hold"},
    Setting{"max-in-flight-mib", Setting::Number{&C::max_in_flight_mib, 4, kUnlimited}, For::kServe,
            "Memory of all requests and answers on their way, in MiB; others are turned away when it is full"},
    Setting{"session-minutes", Setting::Number{&C::session_minutes, 1, 60 * 24 * 30}, For::kServe,
            "Idle minutes after which a visit ends"},
    Setting{"staff-hours", Setting::Number{&C::staff_hours, 1, 24 * 7}, For::kServe,
            "Hours after which staff sign in anew"},
    Setting{"staff-idle-minutes", Setting::Number{&C::staff_idle_minutes, 1, 60 * 24}, For::kServe,
            "Idle minutes after which staff sign in anew"},
    Setting{"wrong-pins", Setting::Number{&C::wrong_pins, 1, 1000, true}, For::kServe,
            "Wrong PINs of one address before it must wait; off lets everybody guess"},
    Setting{"public-writes", Setting::Number{&C::public_writes, 1, kUnlimited, true}, For::kServe,
            "What one address may store in an hour through the public page, in writes of up to 16 KiB; or off"},
    Setting{"history-days", Setting::Number{&C::history_days, 1, 3650}, For::kServe,
            "Days for which changed and deleted rows can be put back"},
    Setting{"public-address", &C::public_address, For::kServe,
            "The site as respondents reach it (https://surva.example), for links on paper and in mails"},
    Setting{"readers", &C::readers, For::kServe, "What respondents are told of who reads their answers"},
    Setting{"least-answers", Setting::Number{&C::least_answers, 1, kUnlimited}, For::kServe,
            "An analyst sees no average of fewer answers of named forms"},
    Setting{"mail-server", &C::mail_server, For::kServe,
            "smtp://HOST:PORT or smtps://HOST:PORT that takes invitations and reminders; none is sent without it"},
    Setting{"mail-sender", &C::mail_sender, For::kServe, "Sender of mails: an address, or \"Name <address>\""},
    Setting{"mail-account", &C::mail_account, For::kServe, "Account at the mail server, if it wants one"},
    Setting{"mail-password-file", &C::mail_password_file, For::kServe,
            "File whose first line is that account's password"},
    Setting{"mail-tls", Setting::Choice{&C::mail_tls, kMailTls}, For::kServe,
            "required or none: whether an smtp:// server must speak TLS"},
    Setting{"mail-authority", &C::mail_authority, For::kServe,
            "PEM file of the authority behind the mail server's certificate, if the machine does not know it"},
    Setting{"mail-rate", Setting::Number{&C::mail_rate, 1, kUnlimited}, For::kServe,
            "Most mails in a minute, of all nodes"},
    Setting{"access-log", &C::access_log, For::kServe, "File of the access log; - is the standard output, off is none"},
    Setting{"error-log", &C::error_log, For::kAll, "File of the error log; - is the standard error, off is none"},
    Setting{"log-format", Setting::Choice{&C::log_format, kLogFormats}, For::kServe, "text or json"},
    Setting{"slow-request-milliseconds", Setting::Number{&C::slow_request_milliseconds, 1, 600'000, true}, For::kServe,
            "A request that takes longer is a line of the error log, with what its statements took; or off"},
    Setting{"log-level", Setting::Choice{&C::log_level, kLogLevels}, For::kAll, "debug, info, warning or error"},
};

template <class... Cases>
struct Overloaded : Cases... {
  using Cases::operator()...;
};
template <class... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

// Texts of settings stand in pages, header fields and lines of the log.
void SetText(std::string& member, const std::string& text, const std::string& where) {
  if (std::any_of(text.begin(), text.end(), IsControl)) {
    throw UsageError(where + " holds a control character; write it on one line, without tabs");
  }
  member = text;
}

// Of a list: an address that may be trusted, or a name.
void CheckItem(std::vector<std::string> Configuration::*member, const std::string& text, const std::string& where) try {
  if (member == &C::trusted_proxies) {
    wire::TrustedProxies({text});
  } else {
    wire::HostNames({text}, false);
  }
} catch (const std::exception& failure) {
  throw UsageError(where + ": " + failure.what());
}

std::string Joined(std::span<const std::string_view> words) {
  std::string text;
  for (const std::string_view word : words) text.append(text.empty() ? "" : ", ").append(word);
  return text;
}

const Setting* FindSetting(std::string_view name) {
  const auto found = std::ranges::find(kSettings, name, &Setting::name);
  return found == kSettings.end() ? nullptr : &*found;
}

std::string WantedForm(const Setting& setting) {
  if (std::holds_alternative<Setting::Number>(setting.member)) return " must be a whole number";
  if (std::holds_alternative<bool Configuration::*>(setting.member)) return " must be true or false";
  return " must be a text in quotes";
}

// What is amiss with a line that is no TOML. Most often a text stands there without its quotes, which TOML takes for a
// time or a number that has gone wrong.
std::string WhatIsAmiss(const std::filesystem::path& file, std::size_t number, std::string_view description) {
  std::ifstream lines(file);
  std::string line;
  for (std::size_t at = 0; at < number && std::getline(lines, line);) ++at;
  const std::size_t equals = std::min(line.find('='), line.size());
  const std::string name(Trimmed(std::string_view(line).substr(0, equals)));
  const std::string rest = line.substr(std::min(equals + 1, line.size()));
  const std::string value(Trimmed(rest.substr(0, std::min(rest.find(" #"), rest.find('\r')))));
  const Setting* setting = FindSetting(name);
  if (setting == nullptr || value.empty() || value.find_first_of("\"'[") != std::string::npos) {
    return std::string(description);
  }
  const std::string wanted = WantedForm(*setting);
  return name + wanted + (wanted.ends_with("quotes") ? ": " + name + " = \"" + value + "\"" : "");
}

// The value of a key as the text that the command line would have given.
std::string TextOf(const toml::node& node, const Setting& setting, const std::string& where) {
  const bool is_number = std::holds_alternative<Setting::Number>(setting.member);
  const bool is_flag = std::holds_alternative<bool Configuration::*>(setting.member);
  if (is_number) {
    if (const auto number = node.value_exact<std::int64_t>()) return std::to_string(*number);
    const auto word = node.value_exact<std::string>();
    if (word == "off" && std::get<Setting::Number>(setting.member).may_be_off) return *word;
  } else if (is_flag) {
    if (const auto flag = node.value_exact<bool>()) return *flag ? "true" : "false";
  } else if (auto text = node.value_exact<std::string>()) {
    return *text;
  }
  throw UsageError(where + WantedForm(setting));
}

}  // namespace

std::span<const Setting> Settings() {
  return kSettings;
}

std::string DefaultText(const Setting& setting) {
  static const Configuration defaults;
  const std::string text = std::visit(
      Overloaded{[](std::string Configuration::*member) { return defaults.*member; },
                 [](std::string Owner::*member) { return defaults.owner.*member; },
                 [](bool Configuration::*member) { return std::string(defaults.*member ? "true" : "false"); },
                 [](std::vector<std::string> Configuration::*) { return std::string(); },
                 [](const Setting::Number& number) { return std::to_string(defaults.*number.member); },
                 [](const Setting::Choice& choice) { return defaults.*choice.member; }},
      setting.member);
  return text.empty() ? "none" : text;
}

void Apply(const Setting& setting, const std::string& text, const std::string& where, Configuration& configuration) {
  std::visit(Overloaded{[&](std::string Configuration::*member) { SetText(configuration.*member, text, where); },
                        [&](std::string Owner::*member) { SetText(configuration.owner.*member, text, where); },
                        [&](bool Configuration::*member) { configuration.*member = text == "true"; },
                        [&](std::vector<std::string> Configuration::*member) {
                          CheckItem(member, text, where);
                          SetText((configuration.*member).emplace_back(), text, where);
                        },
                        [&](const Setting::Number& number) {
                          std::size_t value = 0;
                          if (number.may_be_off && text == "off") {
                            configuration.*number.member = 0;
                            return;
                          }
                          const char* end = text.data() + text.size();
                          const auto [stop, error] = std::from_chars(text.data(), end, value);
                          if (error != std::errc() || stop != end || value < number.least || value > number.most) {
                            throw UsageError(where + " must be a whole number from " + std::to_string(number.least) +
                                             " to " + std::to_string(number.most) +
                                             (number.may_be_off ? ", or off" : ""));
                          }
                          configuration.*number.member = value;
                        },
                        [&](const Setting::Choice& choice) {
                          if (std::find(choice.words.begin(), choice.words.end(), text) == choice.words.end()) {
                            throw UsageError(where + " must be one of " + Joined(choice.words));
                          }
                          configuration.*choice.member = text;
                        }},
             setting.member);
}

void ReadFile(const std::filesystem::path& file, Configuration& configuration) {
  std::error_code error_code;
  const auto status = std::filesystem::status(file, error_code);
  // A directory opens like an empty file. A pipe is as good as a file: a shell's <(...) is one.
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status) &&
      !std::filesystem::is_fifo(status)) {
    throw UsageError("configuration file " + file.string() + " is no regular file");
  }
  toml::table table;
  try {
    table = toml::parse_file(file.string());
  } catch (const toml::parse_error& error) {
    const auto line = error.source().begin.line;
    throw UsageError("configuration file " + file.string() + (line > 0 ? ", line " + std::to_string(line) : "") + ": " +
                     WhatIsAmiss(file, line, error.description()));
  }
  for (const auto& [key, node] : table) {
    const std::string where = "configuration file " + file.string() + ", line " +
                              std::to_string(node.source().begin.line) + ": " + std::string(key.str());
    const Setting* setting = FindSetting(key.str());
    if (setting == nullptr) throw UsageError(where + " is no key; \"surva serve --help\" lists them");
    if (const toml::array* list = node.as_array();
        list != nullptr && std::holds_alternative<std::vector<std::string> Configuration::*>(setting->member)) {
      for (const toml::node& item : *list) Apply(*setting, TextOf(item, *setting, where), where, configuration);
    } else {
      Apply(*setting, TextOf(node, *setting, where), where, configuration);
    }
  }
}

ListenAddress ReadListenAddress(const std::string& listen, const char* setting) {
  const std::size_t colon = listen.rfind(':');
  std::string host = listen.substr(0, colon);
  const std::string port = colon == std::string::npos ? "" : listen.substr(colon + 1);
  unsigned number = 0;
  const auto [stop, error] = std::from_chars(port.data(), port.data() + port.size(), number);
  const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
  if (bracketed) host = host.substr(1, host.size() - 2);
  if (host.empty() || error != std::errc() || stop != port.data() + port.size() || number > 65535 ||
      bracketed != (host.find(':') != std::string::npos)) {
    throw UsageError(std::string(setting) + " must be HOST:PORT such as 127.0.0.1:8080 or [::1]:8080, not \"" + listen +
                     "\"");
  }
  return {host, port};
}

std::string SiteAddress(const Configuration& configuration, unsigned short port) {
  const ListenAddress listen = ReadListenAddress(configuration.listen);
  const bool is_ipv6 = listen.host.find(':') != std::string::npos;
  return (configuration.tls_certificate.empty() ? "http://" : "https://") +
         (is_ipv6 ? "[" + listen.host + "]" : listen.host) + ":" + std::to_string(port);
}

std::string SiteAddress(const Configuration& configuration) {
  return SiteAddress(configuration,
                     static_cast<unsigned short>(std::stoi(ReadListenAddress(configuration.listen).port)));
}

bool IsLoopback(const std::string& host) {
  if (EqualNames(host, "localhost")) return true;
  boost::system::error_code error;
  const auto address = boost::asio::ip::make_address(host, error);
  return !error && address.is_loopback();
}

void CheckForServing(const Configuration& configuration) {
  ReadListenAddress(configuration.listen);
  if (!configuration.metrics_listen.empty()) ReadListenAddress(configuration.metrics_listen, "metrics-listen");
  if (configuration.max_body_kib * 4 > configuration.max_in_flight_mib * 1024) {
    throw UsageError("max-in-flight-mib must have room for four bodies of max-body-kib");
  }
  if (configuration.tls_certificate.empty() != configuration.tls_key.empty()) {
    throw UsageError("TLS needs both tls-certificate and tls-key");
  }
  const std::string& mail = configuration.mail_server;
  if (!mail.empty() && !mail.starts_with("smtp://") && !mail.starts_with("smtps://")) {
    throw UsageError("mail-server must begin with smtp:// or smtps://");
  }
  if (mail.ends_with("//") || mail.find(' ') != std::string::npos) {
    throw UsageError("mail-server must name a host, such as smtp://mail.example:587");
  }
  if (!mail.empty() && !desk::IsMailAddress(desk::SenderAddress(configuration.mail_sender))) {
    throw UsageError("mail-server needs mail-sender, the address that mails come from");
  }
  if (const std::string& address = configuration.public_address;
      !address.empty() && !address.starts_with("http://") && !address.starts_with("https://")) {
    throw UsageError("public-address must begin with http:// or https://");
  }
  if (configuration.public_address.find_first_of(" ?#\"<>") != std::string::npos) {
    throw UsageError("public-address must be an address without blanks, such as https://surva.example");
  }
}

}  // namespace surva::program
