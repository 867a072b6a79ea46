// PageObject: what the eleven pages have in common. A page object lives for one request; it can be made and run in a
// test without a server: a Request in, a Response out.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "frame/data/connection.h"
#include "frame/request.h"
#include "frame/response.h"
#include "frame/session.h"
#include "frame/values/date_time.h"
#include "frame/values/fault.h"

namespace surva {

// What the owner of an installation says of himself; written into the pages as it is.
struct Owner {
  std::string author = "surva";  // the author meta line
  std::string notice = "surva";  // the footer's link text
  std::string official;          // address of the owner's web site; the public banner links to its /official
  std::string homepage = "/";    // the address behind the footer's link
};

// All that one request's page works with. The connection is the request's: its writes are committed by whoever runs
// the page, once the page has ended.
struct PageContext {
  const Request& request;
  Response& response;
  Session& session;
  data::Connection& connection;
  const Owner& owner;
  const Clock& clock;
  // Told of each Fault that ended in the error block, for the log.
  std::function<void(const Fault&)> on_fault;
};

class PageObject {
 public:
  explicit PageObject(PageContext& context) : context_(context) {}
  virtual ~PageObject() = default;
  PageObject(const PageObject&) = delete;
  PageObject& operator=(const PageObject&) = delete;

  // Runs WebClass_Start; a Fault below it ends in the error block.
  void Serve();

  virtual void WebClass_Start() = 0;
  // From the first byte of the page to the place of its content, and from there to its end.
  virtual void WriteHeaders() = 0;
  virtual void WriteFooters() = 0;

  const Request& request() const { return context_.request; }
  Response& response() { return context_.response; }
  Session& session() { return context_.session; }
  const Session& session() const { return context_.session; }
  const Owner& owner() const { return context_.owner; }
  const Clock& clock() const { return context_.clock; }

 protected:
  // The database that Session("DSN") names. Throws a Fault if it names none.
  data::Connection& OpenConnection();

  template <class... Pieces>
  void Write(const Pieces&... pieces) {
    context_.response.Write(pieces...);
  }

  // Whether the error block stands between header and footer.
  virtual bool FramesErrors() const { return true; }

 private:
  PageContext& context_;
};

}  // namespace surva
