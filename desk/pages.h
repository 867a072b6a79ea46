// The pages of our own that the table of addresses names.
#pragma once

#include "desk/desk_page.h"

namespace surva::desk {

// /admin/report?event=: an event in figures, beside its trainer, its training and the house.
wire::HttpResponse ShowReport(Context& context);
// /admin/trends?trainer=|training=|company=: averages by month or quarter against the house.
wire::HttpResponse ShowTrends(Context& context);
// /admin/export?what=: tables of forms, participants, records and figures, as CSV or XLSX.
wire::HttpResponse ShowExport(Context& context);

// /admin/slips?event=: slips with PINs to cut.
wire::HttpResponse ShowSlips(Context& context);
// /admin/poster?version=: a poster with the public link of a surva.
wire::HttpResponse ShowPoster(Context& context);

}  // namespace surva::desk
