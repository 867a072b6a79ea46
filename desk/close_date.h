// The close date of an event: the last day on which a PIN of it opens a form. None by default.
#pragma once

#include <optional>
#include <string_view>

#include "desk/desk_page.h"

namespace surva::desk {

// The refusal of a logon with a PIN whose event has closed; nothing if it may go on. One statement.
std::optional<wire::HttpResponse> RefuseClosed(data::Connection& connection, const Clock& clock, std::string_view pin);

// On the pages that set it: stores what was posted (close=YYYY-MM-DD, or empty for none) and leads back, or says what
// is wrong; nothing for any other request.
std::optional<wire::HttpResponse> TakeCloseDate(Context& context, std::int64_t event, std::string_view title);
// The form; gives the date that stands.
std::optional<DateTime> WriteCloseDateForm(Markup& page, Context& context, std::int64_t event);

}  // namespace surva::desk
