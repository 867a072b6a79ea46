#include "host/page_service.h"

#include <sodium.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <memory>
#include <utility>

#include "desk/close_date.h"
#include "desk/personal_data.h"
#include "desk/sign_in.h"
#include "frame/values/ascii.h"
#include "frame/values/text.h"
#include "guard/acts.h"
#include "guard/history.h"
#include "guard/origin.h"
#include "guard/token.h"
#include "host/form_decoder.h"
#include "host/policies.h"
#include "host/statement_times.h"
#include "wire/response_head.h"
#include "wire/status_page.h"

namespace surva::host {
namespace {

constexpr std::string_view kCookie = "surva_visit";

// The prefix keeps out what a neighbour host has set for this one.
std::string VisitCookie(const wire::HttpRequest& request) {
  return std::string(request.https ? "__Host-" : "").append(kCookie);
}

// An address as it stands, but for what a header must not hold.
std::string LocationOf(std::string_view url) {
  std::string location;
  for (const char c : url) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte >= 0x7F) {
      location += {'%', kCapitalHexDigits[byte / 16], kCapitalHexDigits[byte % 16]};
    } else {
      location += c;
    }
  }
  return location;
}

wire::HttpResponse Redirection(std::string location) {
  wire::HttpResponse answer;
  answer.status = 302;
  answer.headers.emplace_back("Location", std::move(location));
  return answer;
}

// A request in front of what the log tells of it; its line in the access log has the same id.
std::string Named(const wire::HttpRequest& request) {
  return request.request_id + " " + request.path + ": ";
}

wire::HttpResponse Overrun() {
  return wire::StatusPage(503, "The server is busy. Please try again in a moment.", std::chrono::seconds(2));
}

wire::HttpResponse AnswerOf(Response& response, std::string policy) {
  wire::HttpResponse answer;
  std::string cache_control = response.cache_control();
  if (response.redirect()) {
    answer = Redirection(LocationOf(*response.redirect()));
    if (cache_control.empty()) cache_control = "no-store";
  } else {
    answer.headers.emplace_back("Content-Security-Policy", std::move(policy));
    if (cache_control.empty()) cache_control = "private";
  }
  answer.headers.insert(answer.headers.end(), response.headers().begin(), response.headers().end());
  answer.headers.emplace_back("Cache-Control", std::move(cache_control));
  if (const auto minutes = response.expires()) {
    answer.headers.emplace_back("Expires", wire::HttpDate(std::time(nullptr) + 60 * *minutes));
  }
  if (!response.redirect()) {
    answer.body = IsAscii(response.page()) ? std::move(response).TakePage() : ToWindows1252(response.page());
  }
  return answer;
}

// Where a request waits. One that writes after all, in a lane where nobody does, begins anew in the writers'.
Lane LaneOf(const wire::HttpRequest& request, const Route& route) {
  const bool posted = request.method == wire::HttpRequest::Method::kPost;
  if (route.hashes && posted) return Lane::kPasswords;
  if (route.desk != nullptr) return posted ? Lane::kWriting : Lane::kStaff;
  if (!route.roles.empty()) return Lane::kStaff;
  return posted || !request.query.empty() ? Lane::kWriting : Lane::kReading;
}

// What the sign-in page needs as well.
bool IsOpenFile(std::string_view path) {
  return path.starts_with("/admin/css/") || path.starts_with("/admin/java/") || path.starts_with("/admin/images/") ||
         path == "/admin/favicon.ico";
}

// Address and body of a request, decoded.
struct Decoded {
  Decoded(const wire::HttpRequest& http, FormRules rules) : query(DecodeUrlEncoded(http.query, rules)) {
    const bool posted = http.method == wire::HttpRequest::Method::kPost;
    if (posted && query.refusal == 0) form = DecodeBody(http.Header("Content-Type"), http.body, rules);
  }
  unsigned refusal() const { return query.refusal != 0 ? query.refusal : form.refusal; }
  Request TakeRequest(const wire::HttpRequest& http) {
    return {
        std::move(query.values), std::move(form.values), {http.remote_addr, http.path, http.server_name, http.https}};
  }

  DecodedForm query;
  DecodedForm form;
};

// What a waiting request keeps in memory.
std::size_t BytesOf(const wire::HttpRequest& request) {
  std::size_t bytes = sizeof request + request.path.size() + request.query.size() + request.body.size();
  for (const auto& [name, value] : request.headers) bytes += name.size() + value.size();
  return bytes;
}

}  // namespace

struct PageService::Order {
  wire::HttpRequest request;
  wire::Respond respond;
  const Route* route;
  std::string session_key;
  bool use_is_due = false;                 // of the session
  std::shared_ptr<WorkerPool::Turn> turn;  // while it is being worked on
  wire::HttpResponse answer;
  guard::Person person = {};
  std::string staff_token = {};  // of the staff session, if its use should be noted
  bool paced = false;            // its turn among many tries of PINs has come
  bool wants_pace = false;
  bool had_wrong_pins = false;
  const std::chrono::steady_clock::time_point begun = std::chrono::steady_clock::now();
  StatementTimes statements = {};
};

PageService::PageService(Options options, data::Database& database, const StaticSite& files, WorkerPool& workers,
                         wire::Log& log, const Clock& clock)
    : options_(std::move(options)),
      database_(database),
      files_(files),
      log_(log),
      clock_(clock),
      workers_(workers),
      health_(database, log, [&workers] { return "requests that wait: " + std::to_string(workers.waiting()) + "\n"; }),
      background_([this](const std::exception& failure) { log_.Error(std::string("an export: ") + failure.what()); }),
      gate_(options_.gate),
      pins_(options_.free_wrong_pins),
      writes_(options_.public_writes) {
  if (sodium_init() < 0) throw std::runtime_error("no source of random numbers");
}

std::function<void()> PageService::SettlesFor(data::Database& database) {
  if (database.shared_transaction() == nullptr) return {};
  return [&database] { database.CommitShared(); };
}

void PageService::Handle(wire::HttpRequest request, wire::Respond respond) {
  const std::string path = LowerName(request.path);
  if (const Route* route = FindRoute(path); route != nullptr) {
    if (request.method == wire::HttpRequest::Method::kHead && !request.query.empty()) {
      wire::HttpResponse refusal = wire::StatusPage(405);
      refusal.headers.emplace_back("Allow", "GET, POST");
      return respond(std::move(refusal));
    }
    auto order = std::make_shared<Order>(Order{std::move(request), std::move(respond), route});
    if (route->make != nullptr) {
      order->session_key = SessionKey(guard::CookieOf(order->request.Header("Cookie"), VisitCookie(order->request)));
    }
    return Enqueue(order);
  }
  if (path == "/healthz") return health_.Answer(request.query == "verbose", std::move(respond));
  if (path == "/admin" || path == "/admin/") {
    std::string location = "/admin/default.asp";
    if (!request.query.empty()) location += "?" + request.query;
    return respond(Redirection(LocationOf(location)));
  }
  if (path.starts_with("/admin/") && !IsOpenFile(path)) {
    // Help, greetings and what is not there: for staff alone.
    static constexpr Route kFile{.path = "/admin/", .roles = guard::Roles::All()};
    return Enqueue(std::make_shared<Order>(Order{std::move(request), std::move(respond), &kFile}));
  }
  respond(FileOr404(request));
}

wire::HttpResponse PageService::FileOr404(const wire::HttpRequest& request) const {
  std::optional<wire::HttpResponse> file = files_.Answer(request);
  return file ? std::move(*file) : wire::StatusPage(404);
}

void PageService::Enqueue(const std::shared_ptr<Order>& order) {
  const wire::HttpRequest& http = order->request;
  workers_.Post({.lane = LaneOf(http, *order->route),
                 .address = http.network,
                 .visitor = order->session_key,
                 .bytes = BytesOf(http),
                 .run =
                     [this, order](std::shared_ptr<WorkerPool::Turn> turn) {
                       order->turn = std::move(turn);
                       Serve(order);
                     },
                 .refuse = [order] { order->respond(Overrun()); }});
}

data::Author PageService::AuthorOf(const Order& order) {
  const std::string& id = order.request.request_id;
  std::string person = order.person.name;
  if (person.empty()) person = order.route->roles.empty() ? "visitor" : "staff";
  if (id.empty()) return {std::move(person), guard::NewToken().substr(0, 16)};
  std::string name = id.substr(0, 50);
  // One that came along may have come before, and what is put back together must be of one request.
  if (id == order.request.Header("X-Request-ID")) name.append(".").append(guard::NewToken().substr(0, 8));
  return {std::move(person), std::move(name)};
}

void PageService::Serve(const std::shared_ptr<Order>& order) {
  try {
    const StatementTimes::Scope counted(order->statements);
    data::Connection connection(database_);
    connection.SetDeadline(order->turn->deadline());
    const Lane lane = order->turn->lane();
    if (lane != Lane::kWriting && lane != Lane::kPasswords) connection.ForbidWriting();
    if (lane == Lane::kWriting && workers_.settles()) {
      // Respondents' requests take a moment each; staff's may take long, and nobody shall wait for them.
      if (order->route->make != nullptr && order->route->roles.empty()) {
        connection.Share();
      } else {
        database_.CommitShared();
      }
    }
    if (std::optional<wire::HttpResponse> stop = Stop(*order, connection)) {
      order->answer = std::move(*stop);
    } else {
      connection.SetAuthor(AuthorOf(*order));
      order->answer = Answer(*order, connection);
    }
    if (order->wants_pace) {
      connection.Rollback();
      order->turn.reset();
      order->wants_pace = false;
      order->paced = true;
      return delays_.Add(options_.pin_pace, options_.longest_pin_wait, [this, order] { Enqueue(order); });
    }
    if (connection.NeedsCommit()) {
      // The worker is free for the next request while the disk is being waited for.
      return connection.Commit([this, order](const std::exception_ptr& failure) { Finish(order, failure); });
    }
    connection.Rollback();
  } catch (const data::WritingForbidden&) {
    return workers_.Pass(std::move(order->turn), Lane::kWriting);
  } catch (const SessionTooLong&) {
    order->answer = wire::StatusPage(413, "That is more than can be remembered from one page to the next.");
  } catch (...) {
    return Finish(order, std::current_exception());
  }
  Finish(order, nullptr);
}

void PageService::Finish(const std::shared_ptr<Order>& order, const std::exception_ptr& failure) {
  if (failure) {
    try {
      std::rethrow_exception(failure);
    } catch (const std::exception& told) {
      order->answer = Failed(order->request, told);
    }
  }
  TellIfSlow(*order);
  // The turn ends first: who asks again at once finds his session free.
  order->turn.reset();
  order->respond(std::move(order->answer));
  if (order->use_is_due) {
    PostChore("a session's use could not be noted",
              [key = order->session_key](data::Connection& connection) { NoteUse(key, connection); });
  }
  if (!order->staff_token.empty()) {
    PostChore("a session's use could not be noted", [this, token = order->staff_token](data::Connection& connection) {
      connection.SetDurability(data::Durability::kMemory);
      gate_.NoteUse(connection, token, guard::SecondsNow());
      connection.Commit();
    });
  }
}

// Without the query: it may hold a PIN.
void PageService::TellIfSlow(const Order& order) {
  const auto taken = std::chrono::steady_clock::now() - order.begun;
  if (options_.slow.count() == 0 || taken < options_.slow) return;
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(taken).count();
  log_.Warning(Named(order.request) + "slow, " + std::to_string(milliseconds) + " ms, " + order.statements.Text());
}

wire::HttpResponse PageService::Answer(Order& order, data::Connection& connection) {
  if (order.route->make != nullptr) return ServePage(order, connection);
  if (order.route->desk != nullptr) return ServeDesk(order, connection);
  return FileOr404(order.request);
}

wire::HttpResponse PageService::Refuse(guard::Rule rule, wire::HttpResponse answer) {
  gate_.figures().Refused(rule);
  return answer;
}

std::optional<wire::HttpResponse> PageService::Stop(Order& order, data::Connection& connection) {
  const wire::HttpRequest& http = order.request;
  const Route& route = *order.route;
  const bool posted = http.method == wire::HttpRequest::Method::kPost;
  if (!route.path.starts_with("/admin/")) {
    // What a page of the eleven does on the public side is judged by its form.
    if (posted && route.desk != nullptr && !guard::IsFromOwnPage(http)) {
      return Refuse(guard::Rule::kForeign, desk::RefuseForeign(http));
    }
    return {};
  }
  if (!route.roles.empty()) {
    guard::Admission admission = gate_.Admit(connection, http, route.roles, guard::SecondsNow());
    switch (admission.refusal) {
      case guard::Admission::Refusal::kNone:
        break;
      case guard::Admission::Refusal::kSignIn:
        return Refuse(guard::Rule::kSignIn, desk::LeadToSignIn(http));
      case guard::Admission::Refusal::kRole:
        return Refuse(guard::Rule::kRole, desk::RefuseRole(admission.person));
      case guard::Admission::Refusal::kProxied:
        return Refuse(guard::Rule::kUnguarded, desk::RefuseProxied());
    }
    order.person = std::move(admission.person);
    order.staff_token = std::move(admission.token);
  }
  guard::Source source = route.make != nullptr ? guard::Source::kItself : guard::Source::kOurPages;
  if (route.from_any) source = guard::Source::kStaffPages;
  switch (guard::Judge(http, route.path, guard::MayChange(route.path, http.method, http.query), source)) {
    case guard::Verdict::kPass:
      break;
    case guard::Verdict::kAskAgain:
      return Refuse(guard::Rule::kLookFirst, desk::AskAgain(http));
    case guard::Verdict::kRefuse:
      return Refuse(guard::Rule::kForeign, desk::RefuseForeign(http));
  }
  return {};
}

std::optional<wire::HttpResponse> PageService::StopVisitor(Order& order, const Request& request,
                                                           data::Connection& connection) {
  const wire::HttpRequest& http = order.request;
  if ((request.Filled("FormAccepted") || request.Filled("NeXt")) && !guard::IsFromOwnPage(http)) {
    return Refuse(guard::Rule::kForeign, desk::RefuseForeign(http));
  }
  if (http.from_this_machine) return {};
  if (http.method == wire::HttpRequest::Method::kPost || !http.query.empty()) {
    const std::int64_t wait = writes_.Ask(http.network, std::chrono::steady_clock::now());
    if (wait > 0) {
      return Refuse(guard::Rule::kPublicWrites,
                    desk::RefuseUntil("So much has come from your network that no more is taken for now.", wait));
    }
  }
  if (!request.Filled("PIN") || !pins_.on()) return {};
  const std::int64_t now = guard::SecondsNow();
  const guard::PinGuard::Standing standing = pins_.Ask(connection, http.network, now);
  if (standing.wait > 0) {
    return Refuse(guard::Rule::kPinWait,
                  desk::RefuseUntil("Several PINs that nobody has came from your network.", standing.wait));
  }
  order.had_wrong_pins = standing.had_wrong;
  if (standing.busy && !order.paced) {
    order.wants_pace = true;
    ++gate_.figures().paced_pins;
    if (busy_noted_.exchange(now / 60) != now / 60) {
      log_.Warning("many wrong PINs from everywhere: tries of PINs go one after the other now");
    }
    return wire::HttpResponse{};
  }
  return {};
}

wire::HttpResponse PageService::ServePage(Order& order, data::Connection& connection) {
  const wire::HttpRequest& http = order.request;
  Decoded decoded(http, {});
  if (decoded.refusal() != 0) return wire::StatusPage(decoded.refusal());
  const Request request = decoded.TakeRequest(http);
  const bool is_public = order.route->roles.empty();
  if (is_public) {
    if (std::optional<wire::HttpResponse> stop = StopVisitor(order, request, connection)) return std::move(*stop);
  }
  Visit visit(order.session_key, options_.visits, connection);
  Session& session = visit.session();
  if (is_public && request.Filled("PIN")) {
    if (auto closed = desk::RefuseClosed(connection, clock_, request("PIN"))) return *std::move(closed);
  }
  session.Provide("DSN", database_.dsn());
  session.Provide("homepage", options_.owner.homepage);
  Response response;
  PageContext context{request, response, session, connection, options_.owner, clock_, [&](const Fault& fault) {
                        // What a visitor has caused is no failure of the database.
                        const bool database_fails = fault.number() == FaultNumber::kConnectionFailed ||
                                                    fault.number() == FaultNumber::kNoSuchColumn;
                        const std::string text = Named(http) + fault.description() + " " + fault.detail();
                        database_fails ? log_.Error(text) : log_.Warning(text);
                      }};
  order.route->make(context)->Serve();

  const bool erased =
      response.pin_found().value_or(false) && !desk::HoldLogon(connection, request("PIN"), session["StudentID"]);
  if (erased || (is_public && connection.HasWritten() && !visit.Stands(connection))) {
    // Whose visit it was has been erased.
    connection.Rollback();
    return wire::StatusPage(409, "This visit has been ended, and nothing of it was stored.");
  }
  if (is_public && (request.Filled("PIN") || request.Filled("version"))) visit.Renew();

  // What staff look at may take long, and is not worked out twice to write down what they looked for.
  if (order.turn->lane() == Lane::kStaff) connection.AllowWriting();
  visit.Save(connection);
  if (is_public && !http.from_this_machine) CountVisitor(order, request, response, connection);
  order.use_is_due = visit.use_is_due();

  std::string policy = response.redirect() ? std::string() : PagePolicy(http, order.route->path, request, response);
  wire::HttpResponse answer = AnswerOf(response, std::move(policy));
  if (!visit.new_token().empty()) {
    answer.headers.emplace_back("Set-Cookie", VisitCookie(http) + "=" + visit.new_token() +
                                                  "; Path=/; HttpOnly; SameSite=Lax" + (http.https ? "; Secure" : ""));
  }
  return answer;
}

// Counted with what the page wrote, by the same commit.
void PageService::CountVisitor(const Order& order, const Request& request, const Response& response,
                               data::Connection& connection) {
  const wire::HttpRequest& http = order.request;
  if (connection.HasWritten()) {
    // Sessions too: they are kept for a day.
    writes_.Count(http.network, http.body.size() + http.query.size(), std::chrono::steady_clock::now());
  }
  if (!response.pin_found()) return;
  if (!*response.pin_found()) {
    ++gate_.figures().wrong_pins;
    // Nobody may make the disk work by guessing.
    if (!connection.HasWritten()) connection.SetDurability(data::Durability::kMemory);
    pins_.CountWrong(connection, http.network, guard::SecondsNow());
  } else if (order.had_wrong_pins) {
    pins_.CountRight(connection, http.network, request("PIN"), guard::SecondsNow());
  }
}

wire::HttpResponse PageService::ServeDesk(Order& order, data::Connection& connection) {
  const wire::HttpRequest& http = order.request;
  constexpr FormRules kRules{.letters = FormRules::Letters::kUtf8, .files = true};
  Decoded decoded(http, kRules);
  if (decoded.refusal() != 0) return wire::StatusPage(decoded.refusal());
  const Request request = decoded.TakeRequest(http);
  const guard::Person& person = order.person;
  desk::Context context{
      http,   request, decoded.form.files, connection, database_, background_, options_.desk, options_.owner, clock_,
      person, gate_,   MenuOf(person.role)};
  return order.route->desk(context);
}

wire::HttpResponse PageService::Failed(const wire::HttpRequest& http, const std::exception& failure) {
  log_.Error(Named(http) + failure.what());
  const auto* fault = dynamic_cast<const Fault*>(&failure);
  if (fault != nullptr && fault->number() == FaultNumber::kCommitInDoubt) {
    // Not 503: a proxy may send that one's request again by itself.
    return wire::StatusPage(500,
                            "The database was lost at the very moment when your request was to be stored. It may have "
                            "been stored, and it may not: please look before you send it again.");
  }
  const bool down = fault != nullptr && fault->number() == FaultNumber::kConnectionFailed;
  return wire::StatusPage(down ? 503 : 500,
                          "The request could not be carried out, and nothing of it was stored. Please try again.");
}

void PageService::PostChore(const std::string& name, std::function<void(data::Connection&)> chore) {
  workers_.Post({.lane = Lane::kWriting,
                 .run =
                     [this, name, chore = std::move(chore)](const std::shared_ptr<WorkerPool::Turn>& turn) {
                       try {
                         database_.CommitShared();
                         data::Connection connection(database_);
                         connection.SetDeadline(turn->deadline());
                         chore(connection);
                       } catch (const std::exception& failure) {
                         log_.Warning(name + ": " + failure.what());
                       }
                     },
                 .refuse = [] {}});
}

void PageService::Purge() {
  PostChore("old sessions could not be deleted", [this](data::Connection& connection) {
    bool more = PurgeSessions(connection);
    more |= gate_.Purge(connection, guard::SecondsNow());
    more |= guard::History(connection).Purge(AddDays(clock_.Now(), -options_.history_days));
    connection.Commit();
    // Behind all that waits by now.
    if (more) Purge();
  });
}

}  // namespace surva::host
