#include "desk/sign_in.h"

#include "frame/values/text.h"
#include "guard/accounts.h"
#include "guard/acts.h"
#include "guard/gate.h"

namespace surva::desk {
namespace {

constexpr std::string_view kFailed =
    "The name or the password is wrong, or too many tries came before this one. Wait a little, then try again.";

wire::HttpResponse With(unsigned status, wire::HttpResponse answer) {
  answer.status = status;
  return answer;
}

// What a person typed: browsers and the command line must mean the same bytes.
std::string Typed(const Context& context, std::string_view name) {
  const std::vector<std::string_view> values = context.request.Form(name);
  return values.empty() ? std::string() : WithLetters(values.front());
}

wire::HttpResponse SignInForm(std::string_view to, std::string_view name, std::string_view message) {
  Markup page;
  if (!message.empty()) page.Write({"<p class=\"note bad\" role=\"alert\">", message, "</p>\n"});
  page.Write({"<form method=\"post\" action=\"/admin/sign-in\">\n"
              "<input type=\"hidden\" name=\"to\" value=\"",
              to,
              "\">\n"
              "<label for=\"name\">Name</label>\n"
              "<input id=\"name\" name=\"name\" value=\"",
              name,
              "\" autocomplete=\"username\" autocapitalize=\"none\" spellcheck=\"false\" required autofocus>\n"
              "<label for=\"password\">Password</label>\n"
              "<input id=\"password\" name=\"password\" type=\"password\" autocomplete=\"current-password\" required>\n"
              "<p><button>Sign in</button></p>\n</form>\n"});
  return PlainHtml("Sign in", page);
}

void WriteRoles(Markup& page, std::optional<guard::Role> chosen) {
  page.Write({"<select name=\"role\" aria-label=\"Role\">"});
  for (const guard::Role role : guard::kRoles) {
    page.Write({"<option"});
    if (role == chosen) page.Write({" selected"});
    page.Write({">", guard::NameOf(role), "</option>"});
  }
  page.Write({"</select>"});
}

void WriteOwnAccount(Markup& page, const Context& context) {
  page.Write(
      {"<p>You are signed in as <b>", context.person.name, "</b> (", guard::NameOf(context.person.role),
       ").</p>\n"
       "<form method=\"post\" action=\"/admin/sign-out\"><button class=\"quiet\">Sign out</button></form>\n"
       "<h2>Your password</h2>\n<form method=\"post\" action=\"/admin/account\">\n"
       "<input type=\"hidden\" name=\"do\" value=\"own\">\n"
       "<input type=\"hidden\" name=\"name\" autocomplete=\"username\" value=\"",
       context.person.name,
       "\">\n"
       "<label for=\"old\">Password until now</label>\n"
       "<input id=\"old\" name=\"old\" type=\"password\" autocomplete=\"current-password\" required>\n"
       "<label for=\"new\">New password, 10 characters or more</label>\n"
       "<input id=\"new\" name=\"password\" type=\"password\" autocomplete=\"new-password\" minlength=\"10\" required>\n"
       "<p><button>Change it</button></p>\n</form>\n"});
}

void WriteAccounts(Markup& page, const Context& context) {
  page.Write({"<h2>Accounts</h2>\n<p class=\"soft\">An owner may do everything. A planner keeps records and events and "
              "gives out PINs, a designer makes survas, an analyst reads reports.</p>\n"});
  const std::vector<guard::Person> people = guard::Accounts(context.connection).List();
  if (!people.empty()) {
    page.Write({"<div class=\"wide\" tabindex=\"0\"><table>\n<tr><th scope=\"col\">Name</th><th scope=\"col\">Role</th>"
                "<th scope=\"col\">New password</th><th scope=\"col\">Act</th></tr>\n"});
  }
  for (const guard::Person& person : people) {
    page.Write({"<tr><td>", person.name,
                "</td><td><form method=\"post\" action=\"/admin/account\">"
                "<input type=\"hidden\" name=\"do\" value=\"role\"><input type=\"hidden\" name=\"name\" value=\"",
                person.name, "\">"});
    WriteRoles(page, person.role);
    page.Write(
        {" <button class=\"quiet\">Set</button></form></td>"
         "<td><form method=\"post\" action=\"/admin/account\"><input type=\"hidden\" name=\"do\" value=\"set\">"
         "<input type=\"hidden\" name=\"name\" value=\"",
         person.name,
         "\"><input name=\"password\" type=\"password\" autocomplete=\"new-password\" minlength=\"10\" "
         "aria-label=\"New password\" required> <button class=\"quiet\">Set</button></form></td>"
         "<td><form method=\"post\" action=\"/admin/account\"><input type=\"hidden\" name=\"do\" value=\"remove\">"
         "<input type=\"hidden\" name=\"name\" value=\"",
         person.name, "\"><button class=\"harm\">Remove</button></form></td></tr>\n"});
  }
  if (!people.empty()) page.Write({"</table></div>\n"});
  page.Write(
      {"<h2>A new account</h2>\n<form method=\"post\" action=\"/admin/account\">\n"
       "<input type=\"hidden\" name=\"do\" value=\"add\">\n"
       "<label for=\"added\">Name</label>\n"
       "<input id=\"added\" name=\"name\" autocomplete=\"off\" autocapitalize=\"none\" required>\n"
       "<label for=\"first\">Password, 10 characters or more</label>\n"
       "<input id=\"first\" name=\"password\" type=\"password\" autocomplete=\"new-password\" minlength=\"10\" required>\n"
       "<p>"});
  WriteRoles(page, {});
  page.Write({" <button>Add</button></p>\n</form>\n"});
}

wire::HttpResponse AccountPage(const Context& context, std::string_view message, bool bad) {
  Markup page;
  if (!message.empty() && bad) page.Write({"<p class=\"note bad\" role=\"alert\">", message, "</p>\n"});
  if (!message.empty() && !bad) page.Write({"<p class=\"note\" role=\"status\">", message, "</p>\n"});
  if (context.person.name.empty()) {
    page.Write({"<p class=\"note\">There are no accounts: whoever sits at this machine may open all staff pages. With "
                "the first account, which must be an owner's, everybody has to sign in.</p>\n"});
  } else {
    WriteOwnAccount(page, context);
  }
  if (context.person.role == guard::Role::kOwner) WriteAccounts(page, context);
  return With(bad ? 400 : 200, Html(context, "Account", page));
}

}  // namespace

wire::HttpResponse ShowSignIn(Context& context) {
  const std::int64_t now = guard::SecondsNow();
  const bool posted = context.http.method == wire::HttpRequest::Method::kPost;
  const std::string to =
      guard::SafeAddress(posted ? Typed(context, "to") : std::string(context.request.QueryString("to")));
  if (!posted) {
    const guard::Admission admission = context.gate.Admit(context.connection, context.http, guard::Roles::All(), now);
    if (admission.refusal == guard::Admission::Refusal::kNone) return SeeOther(to);
    if (admission.refusal == guard::Admission::Refusal::kProxied) return RefuseProxied();
    return SignInForm(to, "", "");
  }
  const std::string name = Typed(context, "name");
  guard::SignInResult result =
      context.gate.SignIn(context.connection, context.http, name, Typed(context, "password"), now);
  if (!result.person) {
    wire::HttpResponse answer = With(result.wait > 0 ? 429 : 403, SignInForm(to, name, kFailed));
    if (result.wait > 0) answer.headers.emplace_back("Retry-After", std::to_string(result.wait));
    return answer;
  }
  wire::HttpResponse answer = SeeOther(to);
  for (std::string& cookie : result.cookies) answer.headers.emplace_back("Set-Cookie", std::move(cookie));
  return answer;
}

wire::HttpResponse ShowSignOut(Context& context) {
  if (context.http.method != wire::HttpRequest::Method::kPost) {
    Markup page;
    page.Write({"<form method=\"post\" action=\"/admin/sign-out\"><button>Sign out</button></form>\n"});
    return PlainHtml("Sign out", page);
  }
  wire::HttpResponse answer = SeeOther("/admin/sign-in");
  answer.headers.emplace_back("Set-Cookie", context.gate.SignOut(context.connection, context.http));
  answer.headers.emplace_back("Clear-Site-Data", "\"cache\"");
  return answer;
}

wire::HttpResponse ShowAccount(Context& context) {
  if (context.http.method != wire::HttpRequest::Method::kPost) return AccountPage(context, "", false);
  const std::string act = Typed(context, "do");
  const std::string name = Typed(context, "name");
  const std::string password = Typed(context, "password");
  const std::int64_t now = guard::SecondsNow();
  bool ended = false;
  // Another owner may have changed or removed this one while a password was hashed, or at the very same moment.
  guard::Accounts accounts(context.connection, [&] {
    const auto admission = context.gate.Admit(context.connection, context.http, guard::Roles::All(), now);
    ended = admission.refusal != guard::Admission::Refusal::kNone || admission.person.role != context.person.role;
    return !ended;
  });
  const bool owner = context.person.role == guard::Role::kOwner;
  try {
    if (act == "own" && !context.person.name.empty()) {
      if (!context.gate.IsPassword(context.connection, context.person.name, Typed(context, "old"), now)) {
        return AccountPage(context, kFailed, true);
      }
      accounts.SetPassword(context.person.name, password);
      wire::HttpResponse answer = AccountPage(
          context, "Your password is changed. Wherever else you were signed in, you are not any more.", false);
      for (std::string& cookie : context.gate.Begin(context.connection, context.http, context.person.name, now)) {
        answer.headers.emplace_back("Set-Cookie", std::move(cookie));
      }
      return answer;
    }
    if (!owner) return RefuseRole(context.person);
    const std::optional<guard::Role> role = guard::ReadRole(Typed(context, "role"));
    if (act == "add" && role) {
      accounts.Add(name, *role, password);
    } else if (act == "set") {
      accounts.SetPassword(name, password);
    } else if (act == "role" && role) {
      accounts.SetRole(name, *role);
    } else if (act == "remove") {
      accounts.Remove(name);
    }
    return SeeOther("/admin/account");
  } catch (const guard::AccountError& error) {
    if (ended) return LeadToSignIn(context.http);
    return AccountPage(context, error.what(), true);
  }
}

wire::HttpResponse LeadToSignIn(const wire::HttpRequest& request) {
  const std::string path = LowerName(request.path);
  std::string to = request.path;
  if (request.method == wire::HttpRequest::Method::kGet && !request.query.empty()) to += "?" + request.query;
  const std::string address = "/admin/sign-in?to=" + PercentEncoded(guard::SafeAddress(to));
  const std::string_view site = request.Header("Sec-Fetch-Site");
  if (site != "cross-site" && site != "same-site") return SeeOther(address);
  // Perhaps he is signed in, and only another site's page has led him here.
  Markup page;
  page.Write({"<p>This address stands on another page. <a href=\"", address, "\">Go on</a></p>\n"});
  wire::HttpResponse answer = PlainHtml("surva", page);
  answer.headers.emplace_back("Refresh", "0; url=" + address);
  return answer;
}

wire::HttpResponse AskAgain(const wire::HttpRequest& request) {
  std::string to = request.path;
  if (!request.query.empty()) to += "?" + request.query;
  to = guard::SafeAddress(to);
  Markup page;
  page.Write({"<p>An address from elsewhere wanted to change something here. Nothing was changed. "
              "<a href=\"",
              to, "\">Go on to the page</a> and do there what you meant to do.</p>\n"});
  return With(403, PlainHtml("Please look first", page));
}

wire::HttpResponse RefuseForeign(const wire::HttpRequest& request) {
  Markup page;
  page.Write({"<p class=\"note bad\">This did not come from the page that it belongs to. Nothing was changed.</p>\n"
              "<p><a href=\"",
              std::string_view(LowerName(request.path).starts_with("/admin") ? "/admin/default.asp" : "/surva.asp"),
              "\">Go to the start</a></p>\n"});
  return With(403, PlainHtml("Nothing was changed", page));
}

wire::HttpResponse RefuseRole(const guard::Person& person) {
  Markup page;
  page.Write({"<p class=\"note bad\">This page is not for your role (", guard::NameOf(person.role),
              "). An owner can give you another one.</p>\n<p><a href=\"/admin/default.asp\">Go to the start</a></p>\n"
              "<form method=\"post\" action=\"/admin/sign-out\"><button class=\"quiet\">Sign out</button></form>\n"});
  return With(403, PlainHtml("Not for your role", page));
}

wire::HttpResponse RefuseProxied() {
  Markup page;
  page.Write({"<p class=\"note bad\">Nobody guards these pages yet, so they are shown to this machine alone. Make an "
              "account first: <code>surva staff add NAME --role owner</code></p>\n"});
  return With(403, PlainHtml("Not from elsewhere", page));
}

wire::HttpResponse RefuseUntil(std::string_view why, std::int64_t wait) {
  Markup page;
  page.Write({"<p class=\"note bad\" role=\"alert\">", why, " Please try again in ", wait,
              wait == 1 ? Piece(" second") : Piece(" seconds"), ".</p>\n"});
  wire::HttpResponse answer = With(429, PlainHtml("Please wait", page));
  answer.headers.emplace_back("Retry-After", std::to_string(wait));
  return answer;
}

}  // namespace surva::desk
