// Signing in and out, and who may: pages of our own for staff.
#pragma once

#include "desk/desk_page.h"

namespace surva::desk {

// /admin/sign-in: `name`, `password`, and `to`, the address that was asked for.
wire::HttpResponse ShowSignIn(Context& context);
// /admin/sign-out: by a posted form; a link alone signs nobody out.
wire::HttpResponse ShowSignOut(Context& context);
// /admin/account: one's own password; an owner adds accounts, changes and removes them.
wire::HttpResponse ShowAccount(Context& context);

// The answers to those who do not pass the guard.
wire::HttpResponse LeadToSignIn(const wire::HttpRequest& request);
// Leads a browser on by a page of our own to the same address without what would act: from there it brings the cookies
// that it keeps back when another site's page leads it here.
wire::HttpResponse AskAgain(const wire::HttpRequest& request);
wire::HttpResponse RefuseForeign(const wire::HttpRequest& request);
wire::HttpResponse RefuseRole(const guard::Person& person);
wire::HttpResponse RefuseProxied();
// Too many tries; `wait` in seconds.
wire::HttpResponse RefuseUntil(std::string_view why, std::int64_t wait);

}  // namespace surva::desk
