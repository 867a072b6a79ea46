#include "wire/status_page.h"

#include <boost/beast/http/status.hpp>
#include <ostream>
#include <string>

namespace surva::wire {

namespace {

// The page stands alone: a host in trouble may have no style sheet to give.
constexpr std::string_view kLook =
    "body{margin:0;border-top:8px solid #039;color:#1d2733;background:#fff;font:17px/1.5 system-ui,Arial,sans-serif}"
    "main{max-width:34em;margin:8vh auto;padding:0 20px}.code{margin:0;color:#55617a}"
    "h1{margin:0 0 12px;color:#039;font-size:26px;line-height:1.25}a{color:#039}";

constexpr std::string_view kPolicy =
    "default-src 'none'; style-src 'unsafe-inline'; img-src 'self'; base-uri 'none'; form-action 'none'; "
    "frame-ancestors 'self'";

std::string_view UsualExplanation(unsigned status) {
  switch (status) {
    case 404:
      return "There is no page at this address. It may have been mistyped, or the page is gone.";
    case 405:
      return "This page cannot be asked for in this way.";
    case 408:
      return "The request took too long to arrive. Please try again.";
    case 413:
      return "What was sent is too large. A shorter text may do.";
    case 429:
      return "There were too many tries in a short time. Please wait a moment.";
    case 500:
      return "Something went wrong here. Please try again.";
    case 503:
      return "The server is busy. Please try again in a moment.";
    default:
      return {};
  }
}

void AppendEscaped(std::string& page, std::string_view text) {
  for (const char c : text) {
    switch (c) {
      case '<':
        page.append("&lt;");
        break;
      case '>':
        page.append("&gt;");
        break;
      case '&':
        page.append("&amp;");
        break;
      default:
        page.push_back(c);
    }
  }
}

}  // namespace

HttpResponse StatusPage(unsigned status, std::string_view explanation, std::chrono::seconds retry_after) {
  const std::string_view reason = boost::beast::http::obsolete_reason(boost::beast::http::int_to_status(status));
  HttpResponse response;
  response.status = status;
  if (retry_after.count() > 0) response.headers.emplace_back("Retry-After", std::to_string(retry_after.count()));
  response.headers.emplace_back("Content-Security-Policy", kPolicy);
  std::string& page = response.body;
  const std::string_view told = explanation.empty() ? UsualExplanation(status) : explanation;
  page.append("<!DOCTYPE html>\n<html lang=\"en\" data-status=\"").append(std::to_string(status));
  page.append("\">\n<head>\n<meta charset=\"windows-1252\">\n"
              "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>");
  page.append(std::to_string(status)).append(" ").append(reason).append("</title>\n<style>").append(kLook);
  page.append("</style>\n</head>\n<body>\n<main>\n<p class=\"code\">surva ").append(std::to_string(status));
  page.append("</p>\n<h1>").append(reason).append("</h1>\n");
  if (!told.empty()) {
    page.append("<p>");
    AppendEscaped(page, told);
    page.append("</p>\n");
  }
  page.append("<p><a href=\"/\">To the first page</a></p>\n</main>\n</body>\n</html>\n");
  return response;
}

}  // namespace surva::wire
