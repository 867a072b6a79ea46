#include "program/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <map>
#include <vector>

#include "program/manual.h"
#include "version/version.h"

namespace surva::program {

namespace {

constexpr std::array kSubcommands{
    Subcommand{CommandLine::Command::kServe, "serve", "", "Serve the pages; makes or upgrades the tables first"},
    Subcommand{CommandLine::Command::kInit, "init", "", "Make or upgrade the tables; harmless when they stand"},
    Subcommand{CommandLine::Command::kDemo, "demo", "", "Fill an empty database with a year of example data"},
    Subcommand{CommandLine::Command::kBackup, "backup", "FILE",
               "Write the database into a new file, also while it is served"},
    Subcommand{CommandLine::Command::kRestore, "restore", "FILE", "Put a backup in the place of the database"},
    Subcommand{CommandLine::Command::kCheck, "check", "", "Look configuration and database over; changes nothing"},
    Subcommand{CommandLine::Command::kHealth, "health", "", "Ask the surva that serves on this machine how it is"},
    Subcommand{CommandLine::Command::kCopy, "copy", "--from DSN --to DSN",
               "Copy a database into an empty one, of either engine"},
    Subcommand{CommandLine::Command::kAnonymise, "anonymise", "--before DATE",
               "Take the names off students whose last event ended before a day"},
    Subcommand{CommandLine::Command::kStaff, "staff", "ACT [NAME]",
               "Accounts: add NAME --role ROLE, remove NAME, password NAME, role NAME --role ROLE, list"},
    Subcommand{CommandLine::Command::kHistory, "history", "",
               "List what was before changes and deletions, and put it back"},
};

constexpr const char* kManual = "manual";

// What was given on the command line, by setting.
struct Given {
  std::string config;
  std::string file;
  std::string from;
  std::string to;
  std::string before;
  bool keep_texts = false;
  bool dry_run = false;
  std::map<const Setting*, std::vector<std::string>> texts;
  std::map<const Setting*, bool> flags;
};

bool TakesPart(const Setting& setting, const Subcommand& subcommand) {
  // A configuration is checked by its file.
  if (subcommand.command == CommandLine::Command::kCheck) return setting.whom == Setting::For::kAll;
  // A copy names both its databases.
  if (subcommand.command == CommandLine::Command::kCopy) return std::string_view(setting.name) == "database-wait";
  const bool serves = subcommand.command == CommandLine::Command::kServe;
  switch (setting.whom) {
    case Setting::For::kServe:
      return serves;
    case Setting::For::kAddress:
      return serves || subcommand.command == CommandLine::Command::kDemo ||
             subcommand.command == CommandLine::Command::kHealth;
    case Setting::For::kAll:
      break;
  }
  return true;
}

// Help and version are asked for by flags or by words, of the program or of a command.
void AddQuestions(CLI::App& app) {
  app.set_version_flag("--version", std::string("surva ") + Version());
  app.set_help_flag("-h,--help", "Print this help and exit");
}

void AddOptions(CLI::App& app, const Subcommand& subcommand, Given& given) {
  app.add_option("--config", given.config, "TOML file with keys named as these options")->type_name("FILE");
  switch (subcommand.command) {
    case CommandLine::Command::kBackup:
      app.add_option("FILE", given.file, "The backup to write; it must not stand yet")->required()->type_name("");
      break;
    case CommandLine::Command::kRestore:
      app.add_option("FILE", given.file, "The backup to read")->required()->type_name("");
      break;
    case CommandLine::Command::kCopy:
      app.add_option("--from", given.from, "The database to copy: sqlite:PATH or a postgresql:// address")
          ->required()
          ->type_name("DSN");
      app.add_option("--to", given.to, "The empty database to copy into")->required()->type_name("DSN");
      break;
    case CommandLine::Command::kAnonymise:
      app.add_option("--before", given.before, "The day, such as 2024-01-31")->required()->type_name("DATE");
      app.add_flag("--dry-run", given.dry_run, "Only tell how many they are");
      app.add_flag("--keep-texts", given.keep_texts, "Leave what students wrote in answers");
      break;
    default:
      break;
  }
  for (const Setting& setting : Settings()) {
    if (!TakesPart(setting, subcommand)) continue;
    const std::string option = std::string("--") + setting.name;
    if (std::holds_alternative<bool Configuration::*>(setting.member)) {
      app.add_flag(option, given.flags[&setting], setting.help);
      continue;
    }
    CLI::Option* added = app.add_option(option, given.texts[&setting],
                                        std::string(setting.help) + " (default: " + DefaultText(setting) + ")");
    const bool is_list = std::holds_alternative<std::vector<std::string> Configuration::*>(setting.member);
    const bool is_number = std::holds_alternative<Setting::Number>(setting.member);
    added->expected(1)->type_name(is_number ? "NUMBER" : "TEXT");
    added->multi_option_policy(is_list ? CLI::MultiOptionPolicy::TakeAll : CLI::MultiOptionPolicy::TakeLast);
  }
}

void AddOrders(CLI::App& app, const Subcommand& subcommand, CommandLine& result) {
  if (subcommand.command == CommandLine::Command::kStaff) {
    app.add_option("ACT", result.staff.words, "What to do, and the account's name")->expected(0, 2)->type_name("");
    app.add_option("--role", result.staff.role, "owner, planner, designer or analyst");
  }
  if (subcommand.command == CommandLine::Command::kHistory) {
    app.add_option("--table", result.history.table, "Only changes of this table");
    app.add_option("--person", result.history.person, "Only changes by this account");
    app.add_option("--day", result.history.day, "Only changes of this day, as 2026-11-21");
    app.add_option("--request", result.history.request, "Only changes of this request");
    app.add_option("--change", result.history.change, "The change to put back, by its number");
    app.add_flag("--put-back", result.history.put_back, "Put back the rows of --request or --change");
  }
}

}  // namespace

std::span<const Subcommand> Subcommands() {
  return kSubcommands;
}

CommandLine ReadCommandLine(int argc, const char* const* argv) {
  CLI::App app("surva: evaluates courses and trainers", "surva");
  AddQuestions(app);
  app.require_subcommand(0, 1);
  Given given;
  CommandLine result;
  for (const Subcommand& subcommand : kSubcommands) {
    CLI::App* added = app.add_subcommand(subcommand.name, subcommand.help);
    AddQuestions(*added);
    AddOptions(*added, subcommand, given);
    AddOrders(*added, subcommand, result);
  }

  std::string manual;
  // For the packager alone.
  app.add_subcommand(kManual, "")->group("")->add_option("PAGE", manual)->required();

  std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  if (words == std::vector<std::string>{"help"} || words == std::vector<std::string>{"version"}) {
    words.front().insert(0, "--");
  }
  std::reverse(words.begin(), words.end());
  try {
    app.parse(words);
  } catch (const CLI::CallForHelp&) {
    result.text = app.help();
    return result;
  } catch (const CLI::CallForVersion&) {
    result.text = app.version() + "\n";
    return result;
  } catch (const CLI::ArgumentMismatch& error) {
    // It begins with the option and a colon.
    const std::string what = error.what();
    const std::string option = what.substr(0, what.find(':'));
    if (!option.starts_with('-')) throw UsageError(what + "; \"surva --help\" tells what it takes");
    throw UsageError(option +
                     " stands without its value; \"surva --help\" and \"surva serve --help\" tell what it takes");
  } catch (const CLI::ParseError& error) {
    throw UsageError(std::string(error.what()) + "; \"surva --help\" and \"surva serve --help\" list what there is");
  }
  if (app.get_subcommands().empty())
    throw UsageError("say what to do, for instance surva serve; \"surva --help\" lists it");

  const std::string name = app.get_subcommands().front()->get_name();
  if (name == kManual) {
    result.text = Manual(manual);
    return result;
  }
  for (const Subcommand& subcommand : kSubcommands) {
    if (name == subcommand.name) result.command = subcommand.command;
  }
  result.file = given.file;
  result.from = given.from;
  result.to = given.to;
  result.before = given.before;
  result.keep_texts = given.keep_texts;
  result.dry_run = given.dry_run;
  if (!given.config.empty()) ReadFile(given.config, result.configuration);
  for (const Setting& setting : Settings()) {
    const std::string where = std::string("--") + setting.name;
    if (given.flags[&setting]) Apply(setting, "true", where, result.configuration);
    const std::vector<std::string>& texts = given.texts[&setting];
    if (texts.empty()) continue;
    // A list on the command line stands in place of the file's.
    if (const auto* list = std::get_if<std::vector<std::string> Configuration::*>(&setting.member)) {
      (result.configuration.**list).clear();
    }
    for (const std::string& text : texts) Apply(setting, text, where, result.configuration);
  }
  if (result.command == CommandLine::Command::kServe || result.command == CommandLine::Command::kCheck) {
    CheckForServing(result.configuration);
  }
  return result;
}

}  // namespace surva::program
