// The pages of our own that the table of addresses names.
#pragma once

#include "desk/desk_page.h"

namespace surva::desk {

// /admin/report?event=: an event in figures, beside its trainer, its training and the house.
wire::HttpResponse ShowReport(Context& context);
// /admin/trends?trainer=|training=|company=: averages by month or quarter against the house.
wire::HttpResponse ShowTrends(Context& context);

}  // namespace surva::desk
