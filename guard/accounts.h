// Accounts: who of the staff may sign in, and how. Names are compared without regard to letter case.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "frame/data/connection.h"
#include "guard/role.h"

namespace surva::guard {

// Why an account cannot be made or changed; one sentence for whoever asked.
class AccountError : public std::exception {
 public:
  explicit AccountError(std::string message) : message_(std::move(message)) {}
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  std::string message_;
};

class Accounts {
 public:
  // What changes accounts asks first whether whoever wants it `may` still, when nobody else can change them any more:
  // an AccountError otherwise.
  explicit Accounts(data::Connection& connection, std::function<bool()> may = {})
      : connection_(connection), may_(std::move(may)) {}

  bool Any() const;
  std::vector<Person> List() const;
  std::optional<Person> Find(std::string_view name) const;

  // All throw an AccountError: a name that is taken, unknown or no name, a password that is too easy, the removal of
  // the last owner while others remain. A new password, another role and the removal end the account's sessions.
  void Add(std::string_view name, Role role, std::string_view password);
  void Remove(std::string_view name);
  void SetPassword(std::string_view name, std::string_view password);
  void SetRole(std::string_view name, Role role);

  // Who that is, if the password is his. Takes the same time for a name that nobody has. Holds the accounts to the
  // commit: what he begins by it, a change of his account finds and ends.
  std::optional<Person> Verify(std::string_view name, std::string_view password) const;

 private:
  void Hold();
  void KeepAnOwner(std::string_view without) const;
  void EndSessions(std::string_view name);

  data::Connection& connection_;
  std::function<bool()> may_;
};

// Computes and compares Argon2id hashes of passwords; a tenth of a second of one processor, 64 MiB. Never on a thread
// that others wait for.
std::string HashOf(std::string_view password);

}  // namespace surva::guard
