#include "program/staff.h"

#include <termios.h>
#include <unistd.h>

#include <charconv>
#include <iostream>

#include "frame/values/text.h"
#include "guard/accounts.h"
#include "guard/history.h"
#include "program/configuration.h"
#include "program/logging.h"

namespace surva::program {
namespace {

constexpr int kMostListed = 200;
constexpr std::size_t kLongestLine = 300;

std::string ReadLine() {
  std::string line;
  std::getline(std::cin, line);
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

// Reads from the terminal what must not stand on the screen.
std::string AskUnseen(const char* question) {
  termios before{};
  tcgetattr(STDIN_FILENO, &before);
  termios unseen = before;
  unseen.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  std::cerr << question << std::flush;
  tcsetattr(STDIN_FILENO, TCSAFLUSH, &unseen);
  std::string line = ReadLine();
  tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
  std::cerr << std::endl;
  return line;
}

// As the sign-in page reads what browsers send.
std::string ReadPassword() {
  if (isatty(STDIN_FILENO) == 0) return WithLetters(ReadLine());
  const std::string first = AskUnseen("Password: ");
  if (AskUnseen("Once more: ") != first) throw UsageError("the two passwords differ");
  return WithLetters(first);
}

guard::Role RoleOf(const StaffOrder& order) {
  const std::optional<guard::Role> role = guard::ReadRole(order.role);
  if (!role) throw UsageError("--role must be one of owner, planner, designer, analyst");
  return *role;
}

}  // namespace

int Staff(data::Database& database, const StaffOrder& order) try {
  const std::string act = order.words.empty() ? "" : order.words.front();
  const bool lists = act == "list";
  if (order.words.size() != (lists ? 1U : 2U)) {
    throw UsageError(
        "say surva staff add NAME --role ROLE, remove NAME, password NAME, role NAME --role ROLE, or list");
  }
  data::Connection connection(database);
  connection.SetAuthor({"command line", "staff"});
  guard::Accounts accounts(connection);
  if (lists) {
    for (const guard::Person& person : accounts.List()) {
      std::cout << person.name << "\t" << guard::NameOf(person.role) << "\n";
    }
    return 0;
  }
  const std::string& name = order.words.back();
  if (act == "add") {
    const guard::Role role = RoleOf(order);
    accounts.Add(name, role, ReadPassword());
  } else if (act == "remove") {
    accounts.Remove(name);
  } else if (act == "password") {
    if (!accounts.Find(name)) throw guard::AccountError("There is no account of that name.");
    accounts.SetPassword(name, ReadPassword());
  } else if (act == "role") {
    accounts.SetRole(name, RoleOf(order));
  } else {
    throw UsageError("surva staff does not know \"" + act + "\"; it knows add, remove, password, role and list");
  }
  connection.Commit();
  return 0;
} catch (const guard::AccountError& error) {
  throw UsageError(error.what());
}

namespace {

// As the history has it; empty for all.
std::string TableNamed(const std::string& given) {
  std::string names;
  for (const data::Table* table : data::AllTables()) {
    if (given.empty() || EqualNames(table->name, given)) return given.empty() ? "" : std::string(table->name);
    names.append(names.empty() ? "" : ", ").append(table->name);
  }
  throw UsageError("--table must be one of " + names);
}

}  // namespace

int ShowHistory(data::Database& database, const HistoryOrder& order) {
  data::Connection connection(database);
  guard::History history(connection);
  if (order.put_back) {
    if (order.request.empty() == order.change.empty()) {
      throw UsageError("--put-back wants --request or --change, to say what to put back");
    }
    connection.SetAuthor({"command line", "put back " + order.request + order.change});
    std::int64_t change = 0;
    const char* const end = order.change.data() + order.change.size();
    if (!order.change.empty() && std::from_chars(order.change.data(), end, change).ptr != end) {
      throw UsageError("--change must be a number of the list");
    }
    const std::int64_t rows = change > 0 ? history.PutBack(change) : history.PutRequestBack(order.request);
    connection.Commit();
    std::cout << rows << (rows == 1 ? " row is back\n" : " rows are back\n");
    return 0;
  }
  guard::History::Filter filter{TableNamed(order.table), order.person, order.request, {}, 0};
  if (!order.day.empty()) {
    filter.day = ReadIso(order.day);
    if (!filter.day) throw UsageError("--day must be a day such as 2026-11-21");
  }
  for (const guard::Change& change : history.List(filter, kMostListed)) {
    std::cout << change.id << "\t" << IsoText(change.at) << "\t" << change.person << "\t" << change.request << "\t"
              << change.act << " " << change.table << " " << change.key << "\t" << Printable(change.row, kLongestLine)
              << "\n";
  }
  return 0;
}

}  // namespace surva::program
