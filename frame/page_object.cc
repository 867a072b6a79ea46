#include "frame/page_object.h"

namespace surva {

void PageObject::Serve() {
  try {
    WebClass_Start();
  } catch (const Fault& fault) {
    if (context_.on_fault) context_.on_fault(fault);
    response().Clear();
    if (FramesErrors()) WriteHeaders();
    Write("<BLOCKQUOTE><BR><font face=tahoma color=red size=2>"
          "<B>Error occurred</B><BR><BR>"
          "Error number: ",
          static_cast<std::int32_t>(fault.number()),
          "<BR>"
          "Error source: ",
          fault.source(),
          "<BR>"
          "Error in file: surva.dll<BR>"
          "Error description: ",
          fault.description(), "<BR>");
    if (fault.number() == FaultNumber::kTypeMismatch) Write("Error cause: You have entered an incorrect value.");
    Write("</font>"
          "<BR></BLOCKQUOTE>");
    if (FramesErrors()) WriteFooters();
  }
}

data::Connection& PageObject::OpenConnection() {
  const std::string dsn = session()["DSN"].Text();
  if (dsn.empty() || dsn != context_.connection.dsn()) {
    throw Fault(FaultNumber::kConnectionFailed, "surva database", "Data source name not found.");
  }
  return context_.connection;
}

}  // namespace surva
