#include "host/page_service.h"

#include <sodium.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <memory>
#include <utility>

#include "desk/close_date.h"
#include "frame/values/ascii.h"
#include "frame/values/text.h"
#include "host/form_decoder.h"
#include "wire/response_head.h"
#include "wire/status_page.h"

namespace surva::host {
namespace {

constexpr std::string_view kCookie = "surva_visit";

std::string_view CookieOf(std::string_view header) {
  while (!header.empty()) {
    const std::size_t end = std::min(header.find(';'), header.size());
    std::string_view pair = header.substr(0, end);
    header.remove_prefix(std::min(end + 1, header.size()));
    while (pair.starts_with(' ')) pair.remove_prefix(1);
    if (pair.starts_with(kCookie) && pair.substr(kCookie.size()).starts_with('='))
      return pair.substr(kCookie.size() + 1);
  }
  return {};
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

// Values stand in the pages as they are, markup included. This lets a browser run the scripts of the site's files and
// those that the page itself has written, and no other.
std::string ContentSecurityPolicy(const std::vector<std::string>& scripts) {
  std::string policy =
      "default-src 'self'; style-src 'self' 'unsafe-inline'; img-src 'self' data:; object-src 'none'; base-uri 'none'; "
      "frame-ancestors 'self'; script-src 'self'";
  // The digests hold for the handlers of elements too.
  if (!scripts.empty()) policy += " 'unsafe-hashes'";
  for (std::string script : scripts) {
    // Browsers read a carriage return as a line feed.
    std::replace(script.begin(), script.end(), '\r', '\n');
    std::array<unsigned char, crypto_hash_sha256_BYTES> digest{};
    crypto_hash_sha256(digest.data(), reinterpret_cast<const unsigned char*>(script.data()), script.size());
    std::array<char, sodium_base64_ENCODED_LEN(crypto_hash_sha256_BYTES, sodium_base64_VARIANT_ORIGINAL)> text{};
    sodium_bin2base64(text.data(), text.size(), digest.data(), digest.size(), sodium_base64_VARIANT_ORIGINAL);
    policy.append(" 'sha256-").append(text.data()).append("'");
  }
  return policy;
}

wire::HttpResponse Redirection(std::string location) {
  wire::HttpResponse answer;
  answer.status = 302;
  answer.headers.emplace_back("Location", std::move(location));
  return answer;
}

wire::HttpResponse Overrun() {
  return wire::StatusPage(503, "The server is busy. Please try again in a moment.", std::chrono::seconds(2));
}

wire::HttpResponse AnswerOf(Response& response) {
  wire::HttpResponse answer;
  std::string cache_control = response.cache_control();
  if (response.redirect()) {
    answer = Redirection(LocationOf(*response.redirect()));
    if (cache_control.empty()) cache_control = "no-store";
  } else {
    answer.body = IsAscii(response.page()) ? std::move(response).TakePage() : ToWindows1252(response.page());
    answer.headers.emplace_back("Content-Security-Policy", ContentSecurityPolicy(response.scripts()));
    if (cache_control.empty()) cache_control = "private";
  }
  answer.headers.insert(answer.headers.end(), response.headers().begin(), response.headers().end());
  answer.headers.emplace_back("Cache-Control", std::move(cache_control));
  if (const auto minutes = response.expires()) {
    answer.headers.emplace_back("Expires", wire::HttpDate(std::time(nullptr) + 60 * *minutes));
  }
  return answer;
}

// Where a request waits. One that writes after all, in a lane where nobody does, begins anew in the writers'.
Lane LaneOf(const wire::HttpRequest& request, const Route& route) {
  const bool posted = request.method == wire::HttpRequest::Method::kPost;
  if (route.desk != nullptr) return posted ? Lane::kWriting : Lane::kStaff;
  if (!route.roles.empty()) return Lane::kStaff;
  return posted || !request.query.empty() ? Lane::kWriting : Lane::kReading;
}

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
      background_([this](const std::exception& failure) { log_.Error(std::string("an export: ") + failure.what()); }) {
  if (sodium_init() < 0) throw std::runtime_error("no source of random numbers");
}

void PageService::Handle(wire::HttpRequest request, wire::Respond respond) {
  const std::string path = LowerName(request.path);
  if (const Route* route = FindRoute(path); route != nullptr) {
    auto order = std::make_shared<Order>(Order{std::move(request), std::move(respond), route});
    if (route->make != nullptr) order->session_key = SessionKey(CookieOf(order->request.Header("Cookie")));
    const wire::HttpRequest& http = order->request;
    return workers_.Post({.lane = LaneOf(http, *route),
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
  if (path == "/healthz") return health_.Answer(request.query == "verbose", std::move(respond));
  if (path == "/admin" || path == "/admin/") {
    std::string location = "/admin/default.asp";
    if (!request.query.empty()) location += "?" + request.query;
    return respond(Redirection(LocationOf(location)));
  }
  std::optional<wire::HttpResponse> file = files_.Answer(request);
  respond(file ? std::move(*file) : wire::StatusPage(404));
}

void PageService::Serve(const std::shared_ptr<Order>& order) {
  try {
    data::Connection connection(database_);
    connection.SetDeadline(order->turn->deadline());
    if (order->turn->lane() != Lane::kWriting) connection.ForbidWriting();
    order->answer = order->route->make != nullptr ? ServePage(*order, connection) : ServeDesk(*order, connection);
    if (connection.HasWritten()) {
      // The worker is free for the next request while the disk is being waited for.
      return connection.Commit([this, order](const std::exception_ptr& failure) { Finish(order, failure); });
    }
    connection.Rollback();
  } catch (const data::WritingForbidden&) {
    return workers_.Pass(std::move(order->turn), Lane::kWriting);
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
  // The turn ends first: who asks again at once finds his session free.
  order->turn.reset();
  order->respond(std::move(order->answer));
  if (order->use_is_due) {
    PostChore("a session's use could not be noted",
              [key = order->session_key](data::Connection& connection) { NoteUse(key, connection); });
  }
}

wire::HttpResponse PageService::ServePage(Order& order, data::Connection& connection) {
  const wire::HttpRequest& http = order.request;
  DecodedForm query = DecodeUrlEncoded(http.query);
  if (query.refusal != 0) return wire::StatusPage(query.refusal);
  DecodedForm form;
  if (http.method == wire::HttpRequest::Method::kPost) {
    form = DecodeBody(http.Header("Content-Type"), http.body);
    if (form.refusal != 0) return wire::StatusPage(form.refusal);
  }
  const Request request(std::move(query.values), std::move(form.values),
                        {http.remote_addr, http.path, http.server_name, http.https});
  Visit visit(order.session_key, {.idle_minutes = options_.session_minutes}, connection);
  Session& session = visit.session();
  if (order.route->roles.empty() && request.Filled("PIN")) {
    if (auto closed = desk::RefuseClosed(connection, clock_, request("PIN"))) return *std::move(closed);
  }
  session.Provide("DSN", database_.dsn());
  session.Provide("homepage", options_.owner.homepage);
  Response response;
  PageContext context{request, response, session, connection, options_.owner, clock_, [&](const Fault& fault) {
                        log_.Warning(http.path + ": " + fault.description() + " " + fault.detail());
                      }};
  order.route->make(context)->Serve();

  if (order.route->roles.empty() && (request.Filled("PIN") || request.Filled("version"))) visit.Renew();
  // What staff look at may take long, and is not worked out twice to write down what they looked for.
  if (order.turn->lane() == Lane::kStaff) connection.AllowWriting();
  visit.Save(connection);
  order.use_is_due = visit.use_is_due();

  wire::HttpResponse answer = AnswerOf(response);
  if (!visit.new_token().empty()) {
    answer.headers.emplace_back("Set-Cookie", std::string(kCookie) + "=" + visit.new_token() +
                                                  "; Path=/; HttpOnly; SameSite=Lax" + (http.https ? "; Secure" : ""));
  }
  return answer;
}

wire::HttpResponse PageService::ServeDesk(Order& order, data::Connection& connection) {
  const wire::HttpRequest& http = order.request;
  constexpr FormRules kRules{.letters = FormRules::Letters::kUtf8, .files = true};
  DecodedForm query = DecodeUrlEncoded(http.query, kRules);
  if (query.refusal != 0) return wire::StatusPage(query.refusal);
  DecodedForm form;
  if (http.method == wire::HttpRequest::Method::kPost) {
    form = DecodeBody(http.Header("Content-Type"), http.body, kRules);
    if (form.refusal != 0) return wire::StatusPage(form.refusal);
  }
  const Request request(std::move(query.values), std::move(form.values),
                        {http.remote_addr, http.path, http.server_name, http.https});
  const guard::Person person;
  desk::Context context{http,          request,        form.files, connection, database_,          background_,
                        options_.desk, options_.owner, clock_,     person,     MenuOf(person.role)};
  return order.route->desk(context);
}

wire::HttpResponse PageService::Failed(const wire::HttpRequest& http, const std::exception& failure) {
  log_.Error(http.path + ": " + failure.what());
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
  PostChore("old sessions could not be deleted", PurgeSessions);
}

}  // namespace surva::host
