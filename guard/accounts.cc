#include "guard/accounts.h"

#include <sodium.h>

#include <algorithm>
#include <array>

#include "frame/values/text.h"

namespace surva::guard {
namespace {

using data::Bound;

// Held by what changes accounts and by who has proved to have one, to the commit.
constexpr std::string_view kAccounts = "staff accounts";
constexpr std::size_t kLongestName = 60;
constexpr std::size_t kShortestPassword = 10;
constexpr std::size_t kLongestPassword = 256;

// Such as are tried first.
constexpr std::string_view kCommonWords[] = {
    "password", "passw0rd", "1234567890", "0123456789", "0987654321", "qwertyuiop", "qwerty",     "administrator",
    "letmein",  "iloveyou", "welcome",    "changeme",   "surva",      "1q2w3e4r5t", "abcdefghij", "asdfghjkl"};

Field Key(const std::string& key) {
  return Field(std::string_view(key));
}

std::string KeyOf(std::string_view name) {
  return LowerName(name);
}

void CheckName(std::string_view name) {
  const bool well_formed = std::ranges::all_of(name, [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '-' ||
           c == '_' || c == '@';
  });
  if (name.empty() || name.size() > kLongestName || !well_formed) {
    throw AccountError("A name is made of letters without accents, digits, \".\", \"-\", \"_\" and \"@\", 60 at most.");
  }
}

// Whether nothing but a common word, the account's name or one letter is left when digits and marks at the end are cut.
bool IsEasy(std::string_view name, std::string_view password) {
  const std::string lower = LowerName(password);
  if (lower.find_first_not_of(lower.front()) == std::string::npos) return true;
  const std::size_t end = lower.find_last_not_of("0123456789!.?*#_-");
  const std::string_view stem = std::string_view(lower).substr(0, end == std::string::npos ? 0 : end + 1);
  const auto is_all = [&](std::string_view word) { return stem == word || lower == word; };
  return stem.size() < 3 || is_all(KeyOf(name)) || std::ranges::any_of(kCommonWords, is_all);
}

void CheckPassword(std::string_view name, std::string_view password) {
  if (CharacterCount(password) < kShortestPassword) throw AccountError("A password has at least 10 characters.");
  if (password.size() > kLongestPassword) throw AccountError("A password has at most 256 characters.");
  if (IsEasy(name, password)) throw AccountError("That password is one of the first that others would try.");
}

bool IsPasswordOf(const std::string& hash, std::string_view password) {
  return password.size() <= kLongestPassword &&
         crypto_pwhash_str_verify(hash.c_str(), password.data(), password.size()) == 0;
}

}  // namespace

std::string HashOf(std::string_view password) {
  std::array<char, crypto_pwhash_STRBYTES> hash{};
  if (crypto_pwhash_str_alg(hash.data(), password.data(), password.size(), crypto_pwhash_OPSLIMIT_INTERACTIVE,
                            crypto_pwhash_MEMLIMIT_INTERACTIVE, crypto_pwhash_ALG_ARGON2ID13) != 0) {
    throw std::bad_alloc();
  }
  return hash.data();
}

bool Accounts::Any() const {
  return !connection_.Query({"select AccountKey from StaffAccount limit 1"}).empty();
}

std::vector<Person> Accounts::List() const {
  std::vector<Person> people;
  for (const data::Row& row : connection_.Query({"select Name, Role from StaffAccount order by AccountKey"})) {
    people.push_back({row["Name"].Text(), ReadRole(row["Role"].Text()).value_or(Role::kAnalyst)});
  }
  return people;
}

std::optional<Person> Accounts::Find(std::string_view name) const {
  const std::string key = KeyOf(name);
  const data::Rows rows = connection_.Query({"select Name, Role from StaffAccount where AccountKey=", Bound(Key(key))});
  if (rows.empty()) return {};
  return Person{rows.First()["Name"].Text(), ReadRole(rows.First()["Role"].Text()).value_or(Role::kAnalyst)};
}

void Accounts::Hold() {
  connection_.Lock(kAccounts);
  if (may_ && !may_()) throw AccountError("Your own account has been changed meanwhile.");
}

void Accounts::Add(std::string_view name, Role role, std::string_view password) {
  CheckName(name);
  CheckPassword(name, password);
  const std::string hash = HashOf(password);
  Hold();
  if (!Any() && role != Role::kOwner) throw AccountError("The first account must be an owner's.");
  const std::string key = KeyOf(name);
  if (connection_.Execute({"insert into StaffAccount (AccountKey, Name, Role, PasswordHash) values (", Bound(Key(key)),
                           ", ", Bound(Field(name)), ", ", Bound(Field(NameOf(role))), ", ", Bound(Key(hash)),
                           ") on conflict (AccountKey) do nothing"}) == 0) {
    throw AccountError("There is an account of that name already.");
  }
}

void Accounts::KeepAnOwner(std::string_view without) const {
  const std::vector<Person> people = List();
  const auto is_other = [&](const Person& person) { return !EqualNames(person.name, without); };
  const bool others = std::ranges::any_of(people, is_other);
  const bool owners = std::ranges::any_of(
      people, [&](const Person& person) { return is_other(person) && person.role == Role::kOwner; });
  if (others && !owners) throw AccountError("One owner must remain.");
}

void Accounts::EndSessions(std::string_view name) {
  const std::string key = KeyOf(name);
  connection_.Execute({"delete from StaffSession where AccountKey=", Bound(Key(key))});
}

void Accounts::Remove(std::string_view name) {
  Hold();
  KeepAnOwner(name);
  const std::string key = KeyOf(name);
  if (connection_.Execute({"delete from StaffAccount where AccountKey=", Bound(Key(key))}) == 0) {
    throw AccountError("There is no account of that name.");
  }
  EndSessions(name);
  connection_.Execute({"delete from StaffBrowser where AccountKey=", Bound(Key(key))});
}

void Accounts::SetPassword(std::string_view name, std::string_view password) {
  CheckPassword(name, password);
  const std::string key = KeyOf(name);
  const std::string hash = HashOf(password);
  Hold();
  if (connection_.Execute(
          {"update StaffAccount set PasswordHash=", Bound(Key(hash)), " where AccountKey=", Bound(Key(key))}) == 0) {
    throw AccountError("There is no account of that name.");
  }
  EndSessions(name);
}

void Accounts::SetRole(std::string_view name, Role role) {
  Hold();
  if (role != Role::kOwner) {
    const auto person = Find(name);
    if (person && List().size() == 1) throw AccountError("One owner must remain.");
    KeepAnOwner(name);
  }
  const std::string key = KeyOf(name);
  if (connection_.Execute(
          {"update StaffAccount set Role=", Bound(Field(NameOf(role))), " where AccountKey=", Bound(Key(key))}) == 0) {
    throw AccountError("There is no account of that name.");
  }
  EndSessions(name);
}

std::optional<Person> Accounts::Verify(std::string_view name, std::string_view password) const {
  // Of nobody's password: compared with where a name is unknown.
  static const std::string kNobody = HashOf("a password that nobody has");
  const std::string key = KeyOf(name);
  const auto read = [&] {
    return connection_.Query({"select Name, Role, PasswordHash from StaffAccount where AccountKey=", Bound(Key(key))});
  };
  const data::Rows before = read();
  const std::string hash = before.empty() ? kNobody : before.First()["PasswordHash"].Text();
  if (!IsPasswordOf(hash, password) || before.empty()) return {};
  // That took a while. Whoever has changed or removed the account meanwhile has ended its sessions, and none may begin.
  connection_.Lock(kAccounts);
  const data::Rows now = read();
  if (now.empty() || now.First()["PasswordHash"].Text() != hash) return {};
  return Person{now.First()["Name"].Text(), ReadRole(now.First()["Role"].Text()).value_or(Role::kAnalyst)};
}

}  // namespace surva::guard
