#include "guard/role.h"

#include "frame/values/text.h"

namespace surva::guard {

std::string_view NameOf(Role role) {
  switch (role) {
    case Role::kOwner:
      return "owner";
    case Role::kPlanner:
      return "planner";
    case Role::kDesigner:
      return "designer";
    case Role::kAnalyst:
      break;
  }
  return "analyst";
}

std::optional<Role> ReadRole(std::string_view name) {
  for (const Role role : kRoles) {
    if (EqualNames(NameOf(role), name)) return role;
  }
  return {};
}

}  // namespace surva::guard
