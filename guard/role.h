// Role: what a member of staff may open.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace surva::guard {

enum class Role : std::uint8_t {
  kOwner,     // everything, and accounts
  kPlanner,   // records, events, PINs
  kDesigner,  // survas
  kAnalyst,   // reports
};

constexpr Role kRoles[] = {Role::kOwner, Role::kPlanner, Role::kDesigner, Role::kAnalyst};

// A role's name, as the command line and the database have it, and back.
std::string_view NameOf(Role role);
std::optional<Role> ReadRole(std::string_view name);

// A set of roles. The owner is in every set that is not empty; an empty one says that nobody is asked who he is.
class Roles {
 public:
  constexpr Roles() = default;
  constexpr Roles(std::initializer_list<Role> roles) : bits_(Bit(Role::kOwner)) {
    for (const Role role : roles) bits_ |= Bit(role);
  }
  static constexpr Roles All() { return {Role::kPlanner, Role::kDesigner, Role::kAnalyst}; }
  static constexpr Roles Owner() { return {Role::kOwner}; }

  constexpr bool empty() const { return bits_ == 0; }
  constexpr bool Contains(Role role) const { return (bits_ & Bit(role)) != 0; }

 private:
  static constexpr unsigned Bit(Role role) { return 1U << static_cast<unsigned>(role); }
  unsigned bits_ = 0;
};

// Who asks. Where nobody has to sign in, a person without a name who may do everything.
struct Person {
  std::string name;
  Role role = Role::kOwner;
};

}  // namespace surva::guard
