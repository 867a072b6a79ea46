// The command line and the configuration file.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <vector>

#include "program/command_line.h"

namespace surva::program {
namespace {

CommandLine Read(std::vector<const char*> words) {
  words.insert(words.begin(), "surva");
  return ReadCommandLine(static_cast<int>(words.size()), words.data());
}

// What the command line or the file is refused with; empty if it is taken.
std::string Refusal(const std::vector<const char*>& words) {
  try {
    Read(words);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "";
}

class ConfigurationFile : public ::testing::Test {
 protected:
  ~ConfigurationFile() override { std::remove(path_.c_str()); }
  const char* Holding(std::string_view text) {
    std::ofstream(path_) << text;
    return path_.c_str();
  }
  std::string path_ = ::testing::TempDir() + "surva" + std::to_string(::getpid()) + ".toml";
};

TEST_F(ConfigurationFile, TheCommandLineWins) {
  const char* file = Holding(
      "dsn = \"sqlite:a.db\"\nlisten = \"127.0.0.1:81\"\nworkers = 3\nno-staff-guard = true\n"
      "trusted-proxy = [\"10.0.0.1\", \"10.0.0.2\"]\nauthor = \"M\u00fcller & S\u00f6hne\"\nlog-level = \"debug\"\n");
  const CommandLine plain = Read({"serve", "--config", file});
  EXPECT_EQ(plain.command, CommandLine::Command::kServe);
  EXPECT_EQ(plain.configuration.dsn, "sqlite:a.db");
  EXPECT_EQ(plain.configuration.workers, 3U);
  EXPECT_TRUE(plain.configuration.no_staff_guard);
  EXPECT_EQ(plain.configuration.trusted_proxies, (std::vector<std::string>{"10.0.0.1", "10.0.0.2"}));
  EXPECT_EQ(plain.configuration.owner.author, "M\u00fcller & S\u00f6hne");
  EXPECT_EQ(plain.configuration.queue_seconds, 5U);

  const CommandLine both = Read({"serve", "--workers", "5", "--config", file, "--listen=0.0.0.0:80", "--trusted-proxy",
                                 "10.0.0.3", "--dsn", "sqlite:x.db", "--dsn", "sqlite:b.db"});
  EXPECT_EQ(both.configuration.dsn, "sqlite:b.db");
  EXPECT_EQ(both.configuration.listen, "0.0.0.0:80");
  EXPECT_EQ(both.configuration.workers, 5U);
  EXPECT_EQ(both.configuration.trusted_proxies, std::vector<std::string>{"10.0.0.3"});
  EXPECT_EQ(both.configuration.log_level, "debug");
  // One file serves all commands.
  EXPECT_EQ(Read({"init", "--config", file}).command, CommandLine::Command::kInit);
}

TEST_F(ConfigurationFile, SaysWhatIsWrongInOneLine) {
  const std::pair<const char*, const char*> cases[] = {
      {"colour = \"red\"\n", "line 1: colour is no key"},
      {"\nworkers = \"3\"\n", "line 2: workers must be a whole number"},
      {"workers = -1\n", "from 0 to 1024"},
      {"workers = 3.5\n", "whole number"},
      {"dsn = 7\n", "dsn must be a text"},
      {"dsn = [\"a\"]\n", "dsn must be a text"},
      {"\ntrusted-proxy = [\"::1\", \"10.0.0.0/99\"]\n", "line 2: trusted-proxy: \"10.0.0.0/99\" is no address"},
      {"hostname = \"http://x\"\n", "line 1: hostname: \"http://x\" is no host name"},
      {"metrics-listen = \"9464\"\n", "metrics-listen must be HOST:PORT"},
      {"\nlisten = 127.0.0.1:81\n", "line 2: listen must be a text in quotes: listen = \"127.0.0.1:81\""},
      {"mail-server = \"smtp://\"\nmail-sender = \"a@b\"\n", "mail-server must name a host"},
      {"public-address = \"https://a b\"\n", "without blanks"},
      {"trusted-proxy = [1]\n", "trusted-proxy must be a text"},
      {"no-staff-guard = \"yes\"\n", "true or false"},
      {"log-level = \"loud\"\n", "debug, info, warning, error"},
      {"author = \"a\\r\\nb\"\n", "control character"},
      {"dsn = \n", "line 1"},
      {"[owner]\nauthor = \"a\"\n", "owner is no key"},
      {"tls-key = \"k.pem\"\n", "tls-certificate"},
  };
  for (const auto& [text, told] : cases) {
    const std::string refusal = Refusal({"serve", "--config", Holding(text)});
    EXPECT_NE(refusal.find(told), std::string::npos) << text << refusal;
    EXPECT_EQ(refusal.find('\n'), std::string::npos) << refusal;
  }
  EXPECT_NE(Refusal({"serve", "--config", "/nonexistent.toml"}), "");
  EXPECT_NE(Refusal({"serve", "--config", "/tmp"}).find("/tmp is no regular file"), std::string::npos);
  EXPECT_NE(Refusal({"serve", "--config", "/dev/null"}).find("is no regular file"), std::string::npos);
}

TEST(CommandLine, RefusesWhatItDoesNotKnow) {
  EXPECT_NE(Refusal({}), "");
  for (const char* line : {"fly",
                           "serve fly",
                           "serve --fly",
                           "serve --workers",
                           "serve --workers many",
                           "serve --workers 99999999999999999999",
                           "serve --queue-seconds 0",
                           "serve --log-level loud",
                           "serve --notice a\tb",
                           "serve --listen 8080",
                           "serve --listen :8080",
                           "serve --listen localhost:",
                           "serve --listen localhost:65536",
                           "serve --listen ::1:80",
                           "serve --listen [::1]",
                           "init --listen localhost:80",
                           "serve init",
                           "backup",
                           "copy --from sqlite:a.db",
                           "anonymise --dry-run"}) {
    std::istringstream text(line);
    std::vector<std::string> words;
    for (std::string word; std::getline(text, word, ' ');) words.push_back(word);
    std::vector<const char*> given;
    for (const std::string& word : words) given.push_back(word.c_str());
    const std::string refusal = Refusal(given);
    EXPECT_NE(refusal, "") << line;
    EXPECT_EQ(refusal.find('\n'), std::string::npos) << refusal;
  }
}

TEST(CommandLine, KeepsNumbersWithinTheirBounds) {
  for (const Setting& setting : Settings()) {
    const auto* const number = std::get_if<Setting::Number>(&setting.member);
    if (number == nullptr) continue;
    Configuration read;
    for (const std::size_t fine : {number->least, number->most}) {
      Apply(setting, std::to_string(fine), "", read);
      EXPECT_EQ(read.*number->member, fine) << setting.name;
    }
    EXPECT_THROW(Apply(setting, std::to_string(number->least - 1), "", read), UsageError) << setting.name;
    EXPECT_THROW(Apply(setting, std::to_string(number->most + 1), "", read), UsageError) << setting.name;
  }
  EXPECT_EQ(Refusal({"serve", "--max-body-kib", "1024", "--max-in-flight-mib", "4"}), "");
  EXPECT_NE(Refusal({"serve", "--max-body-kib", "1025", "--max-in-flight-mib", "4"}), "");
}

TEST(CommandLine, AddressForABrowser) {
  EXPECT_EQ(SiteAddress(Read({"demo"}).configuration), "http://127.0.0.1:8080");
  EXPECT_EQ(SiteAddress(Read({"demo", "--listen", "[::1]:443", "--tls-certificate", "c"}).configuration),
            "https://[::1]:443");
  EXPECT_EQ(SiteAddress(Read({"serve", "--listen", "localhost:0"}).configuration, 81), "http://localhost:81");
}

TEST(CommandLine, TellsOfEverySetting) {
  for (const std::vector<const char*>& words : std::initializer_list<std::vector<const char*>>{
           {"--version"}, {"version"}, {"serve", "--version"}, {"serve", "--listen", "127.0.0.1:1", "--version"}}) {
    EXPECT_EQ(Read(words).command, CommandLine::Command::kTell);
    EXPECT_EQ(Read(words).text.substr(0, 6), "surva ");
  }
  for (const char* word : {"--help", "-h", "help"}) {
    EXPECT_TRUE(Read({word}).text.find("demo") != std::string::npos) << word;
  }
  EXPECT_NE(Read({"init", "--help"}).text.find("--dsn"), std::string::npos);
  const std::string help = Read({"serve", "--help"}).text;
  for (const Setting& setting : Settings()) {
    EXPECT_NE(help.find(std::string("--") + setting.name + " "), std::string::npos) << setting.name;
  }
}

}  // namespace
}  // namespace surva::program
