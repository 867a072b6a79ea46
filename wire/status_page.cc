#include "wire/status_page.h"

#include <boost/beast/http/status.hpp>
#include <ostream>
#include <string>

namespace surva::wire {

HttpResponse StatusPage(unsigned status, std::string_view explanation, std::chrono::seconds retry_after) {
  const std::string_view reason = boost::beast::http::obsolete_reason(boost::beast::http::int_to_status(status));
  HttpResponse response;
  response.status = status;
  if (retry_after.count() > 0) response.headers.emplace_back("Retry-After", std::to_string(retry_after.count()));
  std::string& page = response.body;
  const std::string title = std::to_string(status) + " " + std::string(reason);
  page.append("<!DOCTYPE html>\n<html><head><title>").append(title).append("</title></head>\n<body><h1>");
  page.append(title).append("</h1>");
  if (!explanation.empty()) {
    page.append("<p>");
    for (const char c : explanation) {
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
    page.append("</p>");
  }
  page.append("</body></html>\n");
  return response;
}

}  // namespace surva::wire
