// The event editor: the forms of an event, and what they post.
#include <optional>
#include <string>

#include "frame/values/text.h"
#include "scheduling/month_picker.h"
#include "scheduling/schedule.h"

namespace surva {
namespace {

using data::Number;
using data::Row;
using data::Rows;

constexpr std::string_view kStar = "<font color=red><b>*</b></font>";
constexpr std::string_view kRule = "<tr><td bgcolor=#6699FF size=1 colspan=2></td></tr><tr>";
constexpr std::string_view kDefaultSurva =
    "<option value=-1>Default surva (associated to chosen training or system default)</option>";
constexpr std::string_view kRequired =
    "<BR><BR><Font color=red><b>*)</b></font><Font color=navy>&nbsp;<I>Field required</I></font>";

void WriteCaption(Response& out, std::string_view caption, std::string_view star) {
  out.Write("<tr><td><font color=navy>", caption, star, "</font></td></tr>", kRule);
}

// Opens an option; the one of the chosen key is selected.
void WriteOption(Response& out, const Field& key, const Field& chosen) {
  const bool selected = !chosen.IsNull() && key.Text() == chosen.Text();
  out.Write(std::string_view(selected ? "<option selected value=" : "<option value="), key, ">");
}

// The form's first rows; `training` and `trainer` are null on the add form.
void WriteTrainingAndTrainer(Response& out, data::Connection& db, const Field& training, const Field& trainer) {
  out.Write("<tr><td colspan=2><font color=navy>Training name&nbsp;", kStar, "</font></td></tr>", kRule,
            "<td colspan=2><select size=1 name=TrainingID>");
  for (const Row& row : db.Query({"Select OfficialID,TrainingID,TrainingName from Training "
                                  "order by OfficialID nulls first, TrainingID"})) {
    WriteOption(out, row["TrainingID"], training);
    out.Write(row["OfficialID"], "&nbsp;", LastCharacters(row["TrainingName"].Text(), 90), "</option>");
  }
  out.Write("</select></td></tr>");

  WriteCaption(out, "Trainer name&nbsp;", kStar);
  out.Write("<td colspan=2><select size=1 name=TrainerID>");
  for (const Row& row :
       db.Query({"Select FirstName,Lastname,TrainerID from Trainer order by LastName nulls first, TrainerID"})) {
    WriteOption(out, row["TrainerID"], trainer);
    out.Write(row["LastName"], "&nbsp;", row["FirstName"], "</option>");
  }
  out.Write("</select></td></tr>");
}

// `chosen` is null on the add form.
void WriteSurvaList(Response& out, data::Connection& db, const Field& chosen) {
  out.Write("<select size=1 name=SurvaVersionID>", kDefaultSurva);
  for (const Row& row : db.Query({"Select SurvaVersionID,SurvaName from SurvaVersion "
                                  "order by SurvaName nulls first, SurvaVersionID"})) {
    WriteOption(out, row["SurvaVersionID"], chosen);
    out.Write(row["SurvaName"], "&nbsp;</option>");
  }
  out.Write("</select>");
}

// The three controls of a date; a null date leaves them empty.
struct DateControls {
  std::string_view day, month, year;
};
void WriteDate(Response& out, const DateControls& names, const Field& date) {
  std::optional<DateTime> at;
  if (!date.IsNull()) at = date.Date();
  out.Write("<input type=text size=2 name=", names.day, " value=");
  if (at) out.Write(at->day);
  out.Write(">&nbsp;&nbsp;<select name=", names.month, ">");
  for (int month = 1; month <= 12; ++month) {
    out.Write("<option value=", month, SelectedIf(at ? at->month : 0, month), ">", MonthName(month), "</option>");
  }
  out.Write("</select>&nbsp;&nbsp;<input type=text size=4 name=", names.year, " value=");
  if (at) out.Write(at->year);
}

void WriteDates(Response& out, const Field& begin, const Field& end) {
  out.Write("<tr><td><font color=navy>Start date", kStar, "</font></td><td><font color=navy>End date", kStar,
            "</font></td></tr>", kRule, "<td>");
  WriteDate(out, {"BDay", "BMonth", "BYear"}, begin);
  out.Write("></td><td>");
  WriteDate(out, {"EDay", "EMonth", "EYear"}, end);
  out.Write("></td></tr>");
}

void WriteNotesAndSave(Response& out, const Field& notes) {
  WriteCaption(out, "Notes", "");
  out.Write("<td colspan=2><textarea name=Description rows=5 cols=40>", notes,
            "</textarea></td></tr>"
            "<TR><td colspan=2><INPUT TYPE=Submit Name=Save Value=Save>&nbsp;");
}

// The version that the event gets: the one posted, or that of its training, or the default one of all.
Value ResolveSurva(data::Connection& db, const Request& request) {
  const std::string_view posted = request("SurvaVersionID");
  if (posted != "-1") return posted;
  const Rows of_training =
      db.Query({"Select SurvaVersionID from Training where trainingID=", Number(request("TrainingID"))});
  if (!of_training.First()["SurvaVersionID"].IsEmpty()) return of_training.First()["SurvaVersionID"];
  const Rows valid =
      db.Query({"Select SurvaVersionID from SurvaVersion where Valid<>0 order by SurvaVersionID limit 1"});
  return valid.First()["SurvaVersionID"];
}

DateTime PostedDate(const Request& request, const DateControls& names) {
  return DateOf(DateTextOf(request(names.day), ToInt32(request(names.month)), request(names.year)));
}

// `notes` is the parameter that becomes the Description.
// Gives the key of the event.
std::int64_t WriteEvent(data::RowWriter event, const Request& request, const Value& surva, std::string_view notes) {
  return event.Set("TrainingID", request("TrainingID"))
      .Set("TrainerID", request("TrainerID"))
      .Set("SurvaVersionID", surva)
      .Set("BeginDate", PostedDate(request, {"BDay", "BMonth", "BYear"}))
      .Set("EndDate", PostedDate(request, {"EDay", "EMonth", "EYear"}))
      .Set("Place", request("Place"))
      .Set("Description", request(notes))
      .Update();
}

}  // namespace

void Schedule::ShowAddEventForm() {
  WriteHeaders();
  data::Connection& db = OpenConnection();
  Write("<Form Action=Schedule.asp method=post>"
        "<Input Type=Hidden Name=ScheduleID Value=><BR>"
        "<Table BORDER=0 cellspacing=0 cellpadding=2 width=460>");
  WriteTrainingAndTrainer(response(), db, {}, {});
  WriteCaption(response(), "surva version&nbsp;", kStar);
  Write("<td colspan=2>");
  WriteSurvaList(response(), db, {});
  Write("</td></tr>");
  WriteCaption(response(), "Place&nbsp;", kStar);
  Write("<td colspan=2><input type=text name=Place size=40 maxlength=50></td></tr>");
  // The coming week, from Monday to Friday.
  const DateTime today = clock().Now();
  const DateTime monday = AddDays(today, 8 - Weekday(today));
  WriteDates(response(), monday, AddDays(monday, 4));
  WriteNotesAndSave(response(), {});
  Write(kRequired, "</td></TR></Table></form>");
  WriteFooters();
}

void Schedule::ShowModifyEventForm(std::string_view id) {
  WriteHeaders();
  data::Connection& db = OpenConnection();
  const Rows events =
      db.Query({"Select TrainingID, TrainerID, BeginDate, EndDate, Place, Description, SurvaVersion.SurvaVersionID, "
                "SurvaName from Schedule,SurvaVersion where Schedule.SurvaVersionID=SurvaVersion.SurvaVersionID "
                "and ScheduleID=",
                Number(id)});
  const bool has_participants =
      !db.Query({"Select ParticipantID from Participant where ScheduleID=", Number(id), " limit 1"}).empty();
  const Row event = events.First();

  Write("<Form Action=Schedule.asp method=post>"
        "<Input Type=Hidden Name=Update Value=",
        id,
        "><BR>"
        "<Table BORDER=0 cellspacing=0 cellpadding=2 width=460>");
  WriteTrainingAndTrainer(response(), db, event["TrainingID"], event["TrainerID"]);
  WriteCaption(response(), "surva version&nbsp;", kStar);
  Write("<td colspan=2>");
  if (has_participants) {
    Write("<input type=hidden name=SurvaVersionID value=", event["SurvaVersion.SurvaVersionID"], ">",
          event["SurvaName"], "<font color=red><B>&nbsp;**</B></font>");
  } else {
    WriteSurvaList(response(), db, event["SurvaVersion.SurvaVersionID"]);
  }
  Write("</td></tr>");
  WriteCaption(response(), "Place&nbsp;", kStar);
  Write("<td colspan=2><input type=text name=Place size=40 maxlength=50 value=\"", event["Place"], "\"></td></tr>");
  WriteDates(response(), event["BeginDate"], event["EndDate"]);
  WriteNotesAndSave(response(), event["Description"]);
  if (!has_participants) Write("<INPUT TYPE=Submit Name=DeleteEvent Value=Delete>&nbsp;");
  Write(kRequired);
  if (has_participants) {
    // No mark of three stars stands anywhere on the page.
    Write("<BR><Font color=red><b>**)</b></font><Font color=navy>&nbsp;<I>You can not change surva of this event "
          "because it has registered participants</I></font>"
          "<BR><Font color=red><b>***)</b></font><Font color=navy>&nbsp;<I>You can not delete this event "
          "because it has registered participants</I></font>");
  }
  Write("</td></TR></Table></form>");
  WriteFooters();
}

// The add form's notes are posted as Description, and are not stored.
void Schedule::SaveNewEvent() {
  data::Connection& db = OpenConnection();
  const Value surva = ResolveSurva(db, request());
  const std::int64_t added = WriteEvent(db.AddNew(data::tables::kSchedule), request(), surva, "Notes");
  // A training that reads as no key (it was rounded for the row) leads to no event.
  const Rows event = db.Query({"Select max(ScheduleID) as MaxScheduleID from Schedule where ScheduleID=", Number(added),
                               " and TrainingID=", Number(request()("TrainingID"))});
  ShowEventFrames(event.First()["MaxScheduleID"]);
}

void Schedule::UpdateEvent(std::string_view id) {
  data::Connection& db = OpenConnection();
  const Value surva = ResolveSurva(db, request());
  WriteEvent(db.Edit(data::tables::kSchedule, Number(id)), request(), surva, "Description");
  ShowEventFrames(id);
}

void Schedule::DeleteEvent(std::string_view id) {
  WriteHeaders();
  OpenConnection().Execute({"delete from Schedule where ScheduleID=", Number(id)});
  Write("<BLOCKQUOTE>Schedule has been successfully deleted from the system.</BLOCKQUOTE>");
  WriteFooters();
}

}  // namespace surva
