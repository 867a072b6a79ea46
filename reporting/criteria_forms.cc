// The two forms in which a filter of filled forms is chosen. Their lists offer only what occurs.
#include "frame/values/text.h"
#include "reporting/filled_forms.h"
#include "reporting/stat.h"
#include "scheduling/month_picker.h"

namespace surva {

using data::Row;

// A list to choose from: a row of the page for its heading, one for the list.
struct ListBlock {
  data::Piece query;
  std::string_view heading;
  std::string_view rule;
  std::string_view select;
  void (*write_option)(Response& out, const Row& row);
  std::string_view end;
};

namespace {

constexpr std::string_view kRule = "<tr><td colspan=2 bgcolor=#6699FF size=1></td></tr>";

// Long texts lose their beginning.
std::string Tail(const Field& text) {
  return std::string(LastCharacters(text.Text(), 80));
}

void WriteVersion(Response& out, const Row& version) {
  out.Write("<option value=", version["SurvaVersionID"], ">", Tail(version["SurvaName"]),
            " - Create on:", version["CreateDate"], "</option>");
}

constexpr ListBlock kNamedLists[] = {
    {"select OfficialID, TrainingID, TrainingName from Training where exists "
     "(select 1 from Schedule where Schedule.TrainingID=Training.TrainingID) "
     "order by OfficialID nulls first, TrainingID",
     "<TH colspan=2 align=left><Font color=navy>Training name&nbsp;</Font></th></TR>", kRule,
     "<tr><td colspan=2 align=left><select name=TrainingID size=1>",
     [](Response& out, const Row& training) {
       out.Write("<option value=", training["TrainingID"], ">", training["OfficialID"], " ",
                 Tail(training["TrainingName"]), "</option>");
     },
     "</td></tr>"},
    {"select TrainerID, FirstName, LastName from Trainer where exists "
     "(select 1 from Schedule where Schedule.TrainerID=Trainer.TrainerID) "
     "order by LastName nulls first, FirstName nulls first, TrainerID",
     "<TH colspan=2 align=left><Font color=navy>Trainer name&nbsp;</Font></th></TR>", kRule,
     "<tr><td colspan=2 align=left><select name=TrainerID size=1>",
     [](Response& out, const Row& trainer) {
       out.Write("<option value=", trainer["TrainerID"], ">", trainer["LastName"], " ", Tail(trainer["FirstName"]),
                 "</option>");
     },
     "</TD></tr>"},
    // Places that differ in letter case are one; the first event's spelling shows.
    {"select Place from Schedule where ScheduleID in (select min(ScheduleID) from Schedule group by Place) "
     "order by Place nulls first",
     "<TH colspan=2 align=left><Font color=navy>Place&nbsp;</Font></th></TR>",
     "<tr><td bgcolor=#6699FF size=1 colspan=2></td></tr>", "<tr><td align=left  colspan=2><select name=Place size=1>",
     [](Response& out, const Row& event) {
       out.Write("<option value=\"", event["Place"], "\">", Tail(event["Place"]), "</option>");
     },
     "</TD></tr>"},
    {"select CompanyID, CompanyName from Company where exists (select 1 from Student, Participant, Schedule "
     "where Student.CompanyID=Company.CompanyID and Participant.StudentID=Student.StudentID "
     "and Schedule.ScheduleID=Participant.ScheduleID) order by CompanyName nulls first, CompanyID",
     "<TH colspan=2 align=left><Font color=navy>Company name&nbsp;</Font></th></TR>", kRule,
     "<tr><td colspan=2 align=left><select name=CompanyID size=1>",
     [](Response& out, const Row& company) {
       out.Write("<option value=", company["CompanyID"], ">", Tail(company["CompanyName"]), "</option>");
     },
     "</TD></tr>"},
    // No blank stands between the two names.
    {"select StudentID, FirstName, LastName from Student where exists (select 1 from Participant, Schedule "
     "where Participant.StudentID=Student.StudentID and Schedule.ScheduleID=Participant.ScheduleID) "
     "order by LastName nulls first, FirstName nulls first, StudentID",
     "<TH colspan=2 align=left><Font color=navy>Student name&nbsp;</Font></th></TR>", kRule,
     "<tr><td colspan=2 align=left><select name=StudentID size=1>",
     [](Response& out, const Row& student) {
       out.Write("<option value=", student["StudentID"], ">", student["LastName"], Tail(student["FirstName"]),
                 "</option>");
     },
     "</TD></tr>"},
    {"select SurvaVersionID, CreateDate, SurvaName from SurvaVersion where exists "
     "(select 1 from Schedule where Schedule.SurvaVersionID=SurvaVersion.SurvaVersionID) "
     "order by SurvaName nulls first, SurvaVersionID",
     "<TH  colspan=2 align=left><Font color=navy>surva version&nbsp;</Font></th></TR>", kRule,
     "<tr><td colspan=2 align=left><select name=SurvaVersionID size=1>", WriteVersion, "</TD></tr>"},
};

constexpr ListBlock kAnonymousLists[] = {
    {"select IPAddress, Cnt from AnonymousStudent inner join "
     "(select min(AnonymousStudentID) as FirstForm, count(*) as Cnt from AnonymousStudent where FillDate is not null "
     "group by IPAddress) as Addresses on AnonymousStudentID=FirstForm order by IPAddress nulls first",
     "<TH colspan=2 align=left><Font color=navy>IP Address&nbsp;</Font></th></TR>", kRule,
     "<tr><td colspan=2 align=left><select name=IPAddressA size=1>",
     [](Response& out, const Row& address) {
       out.Write("<option value=", address["IPAddress"], ">", address["IPAddress"], "  (", address["Cnt"],
                 ")</option>");
     },
     "</TD></tr>"},
    {"select SurvaVersionID, CreateDate, SurvaName from SurvaVersion where exists "
     "(select 1 from AnonymousStudent where AnonymousStudent.SurvaVersionID=SurvaVersion.SurvaVersionID) "
     "order by SurvaName nulls first, SurvaVersionID",
     "<TH  colspan=2 align=left><Font color=navy>surva version&nbsp;</Font></th></TR>", kRule,
     "<tr><td colspan=2 align=left><select name=SurvaVersionIDA size=1>", WriteVersion, "</TD></tr>"},
};

void WriteDate(Response& out, const DateCriterion& controls, const DateTime& preset) {
  out.Write("<input type=text size=2 name=", controls.day, " value=", preset.day,
            ">&nbsp;&nbsp;"
            "<select name=",
            controls.month, ">");
  for (int month = 1; month <= 12; ++month) {
    out.Write("<option value=\"", MonthName(month), "\" ", SelectedIf(month, preset.month), ">", MonthName(month),
              "</option>");
  }
  out.Write("</select>&nbsp;&nbsp;"
            "<input type=text size=4 name=",
            controls.year, " value=", preset.year, ">");
}

}  // namespace

void Stat::ShowCriteria() {
  // Monday to Friday of this week.
  const int monday = 1 - Weekday(clock().Now());
  WriteCriteriaForm(forms::kNamed, kNamedLists, monday, monday + 4);
}

void Stat::ShowCriteriaA() {
  WriteCriteriaForm(forms::kAnonymous, kAnonymousLists, -1, 1);
}

void Stat::WriteCriteriaForm(const FormKind& kind, std::span<const ListBlock> lists, int first_day, int last_day) {
  WriteHeaders();
  data::Connection& db = OpenConnection();
  Write("<br>"
        "<Form Action=browse.asp Method=POST>"
        "<Input Type=Hidden Name=",
        kind.posts,
        " Value=1>"
        "<Table align=left border=0 cellspacing=0 cellpadding=2>");
  for (const ListBlock& list : lists) {
    // The lists have no closing tag.
    Write("<tr>", list.heading, list.rule, list.select, "<option value=\"\" selected>All</option>");
    for (const Row& row : db.Query({list.query})) list.write_option(response(), row);
    Write(list.end);
  }
  const DateTime today = clock().Now();
  Write("<tr>"
        "<td ><Font color=navy><B>Start date</B></font></td>"
        "<td ><Font color=navy><B>End date</B></font></td></tr>"
        "<tr><td colspan=2 bgcolor=#6699FF size=1></td></tr><tr><TD>");
  WriteDate(response(), kind.begin, AddDays(today, first_day));
  Write("</td><td>");
  WriteDate(response(), kind.end, AddDays(today, last_day));
  Write("</td></tr>"
        "<TR><TD colspan=2 alig=rigtht><INPUT TYPE=Submit Name=Search Value=Search></TD></TR>"
        "</table></form>");
  WriteFooters();
}

}  // namespace surva
