#include "program/manual.h"

#include "program/command_line.h"
#include "version/version.h"

namespace surva::program {
namespace {

// Text as troff prints it letter by letter.
std::string Roff(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '\\') {
      escaped += "\\e";
    } else if (c == '-') {
      escaped += "\\-";
    } else {
      escaped += c;
    }
  }
  if (escaped.starts_with('.') || escaped.starts_with('\'')) escaped.insert(0, "\\&");
  return escaped;
}

std::string Head(std::string_view name, std::string_view section, std::string_view what) {
  std::string page = ".TH ";
  page.append(name).append(" ").append(section).append(" \"\" \"surva ").append(Version()).append("\"\n.SH NAME\n");
  return page + Roff(name) + " \\- " + Roff(what) + "\n";
}

void AddSettings(std::string& page, std::string_view before_name) {
  for (const Setting& setting : Settings()) {
    page.append(".TP\n.B ").append(Roff(before_name)).append(Roff(setting.name)).append("\n");
    page.append(Roff(setting.help)).append(". ").append(Roff("Default: " + DefaultText(setting))).append(".\n");
  }
}

std::string CommandPage() {
  std::string page = Head("surva", "1", "evaluates courses and trainers");
  page += ".SH SYNOPSIS\n.B surva\n.I COMMAND\n[\\fB\\-\\-config\\fR \\fIFILE\\fR] [\\fIOPTIONS\\fR]\n"
          ".SH DESCRIPTION\nA web server with which a training company evaluates its courses and trainers, on a SQLite "
          "file or a PostgreSQL database.\n.SH COMMANDS\n";
  for (const Subcommand& subcommand : Subcommands()) {
    page.append(".TP\n.B ").append(Roff(subcommand.name)).append(" ").append(Roff(subcommand.operands)).append("\n");
    page.append(Roff(subcommand.help)).append(".\n");
  }
  page += ".SH OPTIONS\nEach has a key of the same name in the configuration file; the command line wins.\n"
          ".TP\n.B \\-\\-config \\fIFILE\\fR\nThe configuration file.\n";
  AddSettings(page, "--");
  page +=
      ".SH EXIT STATUS\n0 when all went well; 1 if a check has found damage; 2 for wrong use and for what will not "
      "do as it is, with one line that tells the remedy; 69 if the database stays away.\n"
      ".SH SIGNALS\nSIGTERM and SIGINT end the server when the requests under way are answered, SIGHUP makes it read "
      "its certificate again and open its logs anew.\n"
      ".SH SEE ALSO\n.BR surva.toml (5)\n";
  return page;
}

std::string SettingsPage() {
  std::string page = Head("surva.toml", "5", "configuration of surva");
  page +=
      ".SH DESCRIPTION\nA TOML file of keys and values. Texts stand in quotes, numbers and true or false do not; what "
      "may be given several times may be a list.\n.SH KEYS\n";
  AddSettings(page, "");
  page += ".SH SEE ALSO\n.BR surva (1)\n";
  return page;
}

std::string Completion() {
  std::string commands;
  std::string options = "--config --help --version";
  for (const Subcommand& subcommand : Subcommands())
    commands.append(commands.empty() ? "" : " ").append(subcommand.name);
  for (const Setting& setting : Settings()) options.append(" --").append(setting.name);
  return "# bash completion for surva\n"
         "_surva() {\n"
         "  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]}\n"
         "  case \"$before\" in\n"
         "    --config|--tls-certificate|--tls-key|--site|--access-log|--error-log|backup|restore)\n"
         "      COMPREPLY=($(compgen -f -- \"$word\")); return ;;\n"
         "  esac\n"
         "  if [ \"$COMP_CWORD\" -eq 1 ]; then\n"
         "    COMPREPLY=($(compgen -W '" +
         commands +
         " help version' -- \"$word\"))\n"
         "  else\n"
         "    COMPREPLY=($(compgen -W '" +
         options +
         "' -- \"$word\"))\n"
         "  fi\n"
         "}\n"
         "complete -o filenames -F _surva surva\n";
}

}  // namespace

std::string Manual(std::string_view name) {
  if (name == "surva.1") return CommandPage();
  if (name == "surva.toml.5") return SettingsPage();
  if (name == "completion") return Completion();
  throw UsageError("the manual has surva.1, surva.toml.5 and completion");
}

}  // namespace surva::program
