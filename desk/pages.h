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

// / and /fill: the respondent's way, around surva.asp.
wire::HttpResponse ShowFillPage(Context& context);
// /fill/thanks.json?version=: where a filled surva leads, if it is not our own greetings.
wire::HttpResponse ShowThanksAddress(Context& context);
// /official: where the public banner leads while no web site of the owner's is set.
wire::HttpResponse LeadHome(Context& context);
// /admin/answered.json?layout=: how many answers hang on a row's question, and on each of its choices.
wire::HttpResponse ShowAnswered(Context& context);
// /admin/import: companies, students, and enrolments on an event, from a table.
wire::HttpResponse ShowImport(Context& context);
// /admin/mail?event=: invitations and reminders.
wire::HttpResponse ShowMail(Context& context);
// /admin/privacy?student=: what is held of a person, and its end.
wire::HttpResponse ShowPrivacy(Context& context);

}  // namespace surva::desk
