// Routes: every address that a page answers, who may open it, and where it stands in the menu.
#pragma once

#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "desk/desk_page.h"
#include "frame/page_object.h"
#include "guard/role.h"

namespace surva::host {

using MakePage = std::unique_ptr<PageObject> (*)(PageContext& context);

struct Route {
  std::string_view path;      // in small letters
  guard::Roles roles;         // empty: open to everybody
  MakePage make = nullptr;    // one of the eleven page objects
  desk::Page desk = nullptr;  // or a page of our own
  bool hashes = false;        // its posted forms bring passwords
  bool from_any = false;      // its posted forms stand on any staff page
  // In the menu; without a caption, not there.
  std::string_view group = {};
  std::string_view caption = {};
  std::string_view address = {};  // as the menu links to it
  desk::OfEvent of_event = {};
};

// In the order of the menu.
std::span<const Route> Routes();
// The route of a path in small letters, or null.
const Route* FindRoute(std::string_view path);
// The menu of a role.
const std::vector<desk::PageLink>& MenuOf(guard::Role role);

}  // namespace surva::host
