#include "host/routes.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <iterator>

#include "design/create_form.h"
#include "desk/history_page.h"
#include "desk/pages.h"
#include "desk/sign_in.h"
#include "filling/fill_form.h"
#include "records/record_page.h"
#include "reporting/browse.h"
#include "reporting/start_page.h"
#include "reporting/stat.h"
#include "scheduling/list.h"
#include "scheduling/schedule.h"

namespace surva::host {
namespace {

using guard::Role;
using guard::Roles;

template <class Page>
std::unique_ptr<PageObject> Make(PageContext& context) {
  return std::make_unique<Page>(context);
}

template <const records::Description& kRecord>
std::unique_ptr<PageObject> MakeRecordPage(PageContext& context) {
  return std::make_unique<RecordPage>(context, kRecord);
}

constexpr Roles kPlanner{Role::kPlanner};
constexpr Roles kDesigner{Role::kDesigner};
constexpr Roles kAnalyst{Role::kAnalyst};
// Who plans an event wants to see how it went.
constexpr Roles kReaders{Role::kPlanner, Role::kAnalyst};

constexpr std::string_view kEvents = "/admin/schedule.asp?Action=P";

constexpr Route kRoutes[] = {
    {.path = "/surva.asp", .roles = {}, .make = Make<FillForm>},
    {.path = "/", .roles = {}, .desk = desk::ShowFillPage},
    {.path = "/fill", .roles = {}, .desk = desk::ShowFillPage},
    {.path = "/fill/thanks.json", .roles = {}, .desk = desk::ShowThanksAddress},
    {.path = "/official", .roles = {}, .desk = desk::LeadHome},
    {.path = "/admin/default.asp",
     .roles = Roles::All(),
     .make = Make<StartPage>,
     .group = "Start",
     .caption = "Start",
     .address = "/admin/default.asp"},
    {.path = "/admin/createform.asp",
     .roles = kDesigner,
     .make = Make<CreateForm>,
     .group = "Survas",
     .caption = "Survas",
     .address = "/admin/CreateForm.asp"},
    {.path = "/admin/schedule.asp",
     .roles = kPlanner,
     .make = Make<Schedule>,
     .group = "Planning",
     .caption = "Events",
     .address = kEvents},
    {.path = "/admin/list.asp",
     .roles = kPlanner,
     .make = Make<List>,
     .group = "Planning",
     .caption = "PIN lists",
     .address = "/admin/list.asp",
     .of_event = {"Schedule", "PIN list", kEvents}},
    {.path = "/admin/slips",
     .roles = kPlanner,
     .desk = desk::ShowSlips,
     .group = "Planning",
     .caption = "Slips",
     .address = "/admin/slips",
     .of_event = {"event", "Slips"}},
    {.path = "/admin/mail",
     .roles = kPlanner,
     .desk = desk::ShowMail,
     .group = "Planning",
     .caption = "Mail",
     .address = "/admin/mail",
     .of_event = {"event", "Mail"}},
    {.path = "/admin/import",
     .roles = kPlanner,
     .desk = desk::ShowImport,
     .group = "Planning",
     .caption = "Import",
     .address = "/admin/import",
     .of_event = {"event", "Enrol from a list"}},
    // Reached from the designer.
    {.path = "/admin/poster", .roles = {Role::kPlanner, Role::kDesigner}, .desk = desk::ShowPoster},
    {.path = "/admin/company.asp",
     .roles = kPlanner,
     .make = MakeRecordPage<records::kCompany>,
     .group = "Records",
     .caption = "Companies",
     .address = "/admin/company.asp?Action=P"},
    {.path = "/admin/student.asp",
     .roles = kPlanner,
     .make = MakeRecordPage<records::kStudent>,
     .group = "Records",
     .caption = "Students",
     .address = "/admin/student.asp?Action=P"},
    {.path = "/admin/trainer.asp",
     .roles = kPlanner,
     .make = MakeRecordPage<records::kTrainer>,
     .group = "Records",
     .caption = "Trainers",
     .address = "/admin/Trainer.asp?Action=P"},
    {.path = "/admin/training.asp",
     .roles = kPlanner,
     .make = MakeRecordPage<records::kTraining>,
     .group = "Records",
     .caption = "Trainings",
     .address = "/admin/training.asp?Action=P"},
    {.path = "/admin/stat.asp",
     .roles = kAnalyst,
     .make = Make<Stat>,
     .group = "Reports",
     .caption = "Statistics",
     .address = "/admin/stat.asp?Action=P"},
    {.path = "/admin/browse.asp",
     .roles = kAnalyst,
     .make = Make<Browse>,
     .group = "Reports",
     .caption = "Filled forms",
     .address = "/admin/browse.asp"},
    {.path = "/admin/report",
     .roles = kReaders,
     .desk = desk::ShowReport,
     .group = "Reports",
     .caption = "Event report",
     .address = "/admin/report",
     .of_event = {"event", "Report"}},
    {.path = "/admin/trends",
     .roles = kAnalyst,
     .desk = desk::ShowTrends,
     .group = "Reports",
     .caption = "Trends",
     .address = "/admin/trends"},
    {.path = "/admin/export",
     .roles = kReaders,
     .desk = desk::ShowExport,
     .group = "Reports",
     .caption = "Export",
     .address = "/admin/export",
     .of_event = {"event", "Export"}},
    {.path = "/admin/privacy",
     .roles = {Role::kOwner},
     .desk = desk::ShowPrivacy,
     .group = "House",
     .caption = "Personal data",
     .address = "/admin/privacy"},
    {.path = "/admin/answered.json", .roles = kDesigner, .desk = desk::ShowAnswered},
    {.path = "/admin/history",
     .roles = Roles::Owner(),
     .desk = desk::ShowHistory,
     .group = "Account",
     .caption = "History",
     .address = "/admin/history"},
    {.path = "/admin/account",
     .roles = Roles::All(),
     .desk = desk::ShowAccount,
     .hashes = true,
     .group = "Account",
     .caption = "Account",
     .address = "/admin/account"},
    {.path = "/admin/sign-in", .roles = {}, .desk = desk::ShowSignIn, .hashes = true},
    {.path = "/admin/sign-out", .roles = {}, .desk = desk::ShowSignOut, .from_any = true},
    {.path = "/admin/pages.json", .roles = Roles::All(), .desk = desk::ShowPageList},
};

// A page's address is in small letters; an entry of the menu stands there whole.
constexpr bool IsSound(const Route& route) {
  const bool small = std::ranges::none_of(route.path, [](char c) { return c >= 'A' && c <= 'Z'; });
  const bool in_menu = !route.caption.empty();
  return small && in_menu == !route.group.empty() && in_menu == !route.address.empty();
}
static_assert(std::ranges::all_of(kRoutes, IsSound));

std::vector<desk::PageLink> MakeMenu(Role role) {
  std::vector<desk::PageLink> menu;
  for (const Route& route : kRoutes) {
    if (!route.caption.empty() && route.roles.Contains(role)) {
      menu.push_back({route.address, route.caption, route.group, route.of_event});
    }
  }
  return menu;
}

}  // namespace

std::span<const Route> Routes() {
  return kRoutes;
}

const Route* FindRoute(std::string_view path) {
  const auto* const found = std::ranges::find(kRoutes, path, &Route::path);
  if (found == std::end(kRoutes)) return nullptr;
  // Not above: with its sanitizers the compiler compares no functions before the program runs.
  assert((found->make == nullptr) != (found->desk == nullptr) && "a page has one maker");
  return found;
}

const std::vector<desk::PageLink>& MenuOf(Role role) {
  static const std::array menus = {MakeMenu(Role::kOwner), MakeMenu(Role::kPlanner), MakeMenu(Role::kDesigner),
                                   MakeMenu(Role::kAnalyst)};
  return menus[static_cast<std::size_t>(role)];
}

}  // namespace surva::host
