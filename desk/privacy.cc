// What is held of a person, to show, to hand over, and to end.
#include "desk/pages.h"
#include "desk/parts.h"
#include "desk/personal_data.h"
#include "frame/values/text.h"

namespace surva::desk {

using data::Bound;
using data::Number;
using data::Row;
using data::Rows;

namespace {

constexpr std::string_view kTitle = "Personal data";

wire::HttpResponse FindStudent(Context& context) {
  const std::string name(context.request("name"));
  Markup page;
  page.Write({"<form method=\"get\" class=\"row\"><label for=\"name\">Last name begins with</label>"
              "<input id=\"name\" name=\"name\" maxlength=\"60\" required value=\"",
              name, "\"><button class=\"quiet\">Find</button></form>\n"});
  if (name.empty()) return Html(context, kTitle, page);
  constexpr int kMost = 100;
  const Rows students = context.connection.Query(
      {"select StudentID, FirstName, LastName, Student.email, CompanyName from Student "
       "left join Company on Company.CompanyID=Student.CompanyID where LastName>=",
       Bound(Field(std::string_view(name))), " and LastName<", Bound(Field(std::string_view(name + "\U0010FFFF"))),
       " order by LastName, FirstName nulls first, StudentID limit ", Number(kMost)});
  if (students.empty()) page.Write({"<p class=\"note\">Nobody's name begins so.</p>\n"});
  page.Write({"<ul>\n"});
  for (const Row& student : students) {
    page.Write({"<li><a href=\"?student=", student["StudentID"], "\">", student["LastName"], ", ", student["FirstName"],
                "</a> ", student["email"], " <span class=\"soft\">", student["CompanyName"], "</span></li>\n"});
  }
  page.Write({"</ul>\n"});
  return Html(context, kTitle, page);
}

// A moment as people write it.
std::string MomentText(const DateTime& at) {
  const std::string day = DayText(Field(at));
  const bool midnight = at.hour == 0 && at.minute == 0 && at.second == 0;
  return midnight ? day : day + ", " + IsoText(at).substr(11, 5);
}

void WriteTable(Markup& page, std::string_view heading, std::initializer_list<std::string_view> columns,
                const Rows& rows) {
  page.Write({"<h2>", heading, "</h2>\n"});
  if (rows.empty()) return page.Write({"<p class=\"soft\">Nothing.</p>\n"});
  page.Write({"<div class=\"wide\" tabindex=\"0\"><table>\n<thead><tr>"});
  for (const std::string_view column : columns) page.Write({"<th scope=\"col\">", column, "</th>"});
  page.Write({"</tr></thead>\n<tbody>\n"});
  for (const Row& row : rows) {
    page.Write({"<tr>"});
    for (int column = 0; column < rows.shape().size(); ++column) {
      const Field field = row[column];
      const auto* const moment = std::get_if<DateTime>(&field.content());
      page.Write({"<td>", moment == nullptr ? Piece(field) : Piece(MomentText(*moment)), "</td>"});
    }
    page.Write({"</tr>\n"});
  }
  page.Write({"</tbody></table></div>\n"});
}

wire::HttpResponse End(Context& context, std::int64_t student) {
  if (!context.request.Filled("sure")) return Sorry(context, kTitle, "Tick that you are sure.", 400);
  Markup page;
  if (context.request("act") == "erase") {
    EraseStudent(context.connection, student);
    page.Write({"<p class=\"note\" role=\"status\">All of this person is erased.</p>\n"});
  } else if (context.request("act") == "anonymise") {
    AnonymiseStudent(context.connection, student, context.request.Filled("texts") ? Texts::kKeep : Texts::kErase);
    page.Write(
        {"<p class=\"note\" role=\"status\">Nobody can tell any more whose these answers are; the figures are as "
         "they were.</p>\n"});
  } else {
    return Sorry(context, kTitle, "Say what is to be done.", 400);
  }
  page.Write({"<p>Backups still hold what they held; they end as your house lets them end.</p>\n"});
  return Html(context, kTitle, page);
}

}  // namespace

wire::HttpResponse ShowPrivacy(Context& context) {
  if (!context.request.Filled("student")) return FindStudent(context);
  data::Connection& db = context.connection;
  const auto key = ReadKey(context.request("student"));
  const Rows students =
      db.Query({"select FirstName, LastName, Student.Phone, Student.Fax, Student.email, Student.PostCode, "
                "Student.City, Student.Street, Student.Description, CompanyName from Student "
                "left join Company on Company.CompanyID=Student.CompanyID where StudentID=",
                Number(key.value_or(0))});
  if (students.empty()) return Sorry(context, kTitle, "There is no such person.");
  if (context.http.method == wire::HttpRequest::Method::kPost) return End(context, *key);
  if (context.request("as") == "json") {
    wire::HttpResponse answer = Json(PersonalDataAsJson(db, *key));
    answer.headers.emplace_back("Content-Disposition",
                                "attachment; filename=\"person-" + std::to_string(*key) + ".json\"");
    return answer;
  }
  Markup page;
  page.Write({"<h2>Record</h2>\n<dl class=\"facts\">\n"});
  int column = 0;
  for (const std::string_view name :
       {"First name", "Last name", "Phone", "Fax", "E-mail", "Post code", "City", "Street", "Description", "Company"}) {
    page.Write({"<div><dt>", name, "</dt><dd>", students.First()[column++], "</dd></div>\n"});
  }
  page.Write({"</dl>\n"});
  WriteTable(page, "Enrolments", {"Event", "Training", "Begins", "PIN", "Answered"},
             db.Query({"select Participant.ScheduleID, TrainingName, BeginDate, PIN, FillDate from Participant "
                       "left join Schedule on Schedule.ScheduleID=Participant.ScheduleID "
                       "left join Training on Training.TrainingID=Schedule.TrainingID where Participant.StudentID=",
                       Number(*key), " order by ParticipantID"}));
  WriteTable(page, "Answers", {"Event", "Question", "Choice", "Text"},
             db.Query({"select ScheduleID, Content, FieldValue, TextAnswer from Mark "
                       "left join Question on Question.QuestionID=Mark.QuestionID "
                       "left join FieldValue on FieldValue.FieldValueID=Mark.FieldValueID where StudentID=",
                       Number(*key), " order by ScheduleID, MarkID"}));
  WriteTable(page, "Remarks", {"Remark"},
             db.Query({"select Message from Message where StudentID=", Number(*key), " order by MessageID"}));
  WriteTable(page, "Mails", {"Event", "Attempts", "The server's word"},
             db.Query({"select Outbox.ScheduleID, Attempts, Told from Outbox inner join Participant on "
                       "Participant.ParticipantID=Outbox.ParticipantID where StudentID=",
                       Number(*key), " order by OutboxID"}));
  WriteTable(page, "History", {"Changed", "Act", "Table", "The row before"}, HistoryOf(db, *key));
  page.Write(
      {"<h2>Forms under way</h2>\n<p>", CountVisits(db, *key),
       "</p>\n<p class=\"soft\">A form that is being filled in may leave a draft in the visitor's own browser, and "
       "there alone. What the server's logs and backups hold is told in docs/operating.md.</p>\n"});
  page.Write(
      {"<p><a class=\"button quiet\" href=\"?student=", *key,
       "&amp;as=json\">Hand it over as a file</a></p>\n<h2>End it</h2>\n<form method=\"post\">"
       "<input type=\"hidden\" name=\"student\" value=\"",
       *key,
       "\">\n<p><input type=\"checkbox\" id=\"sure\" name=\"sure\" value=\"1\" required> "
       "<label class=\"inline\" for=\"sure\">I am sure; it cannot be undone</label></p>\n"
       "<p><input type=\"checkbox\" id=\"texts\" name=\"texts\" value=\"1\"> <label class=\"inline\" for=\"texts\">"
       "Keep what was written in answers, if it does not tell who wrote it</label></p>\n"
       "<p><button name=\"act\" value=\"anonymise\">Take the name off: the figures stay</button> "
       "<button name=\"act\" value=\"erase\" class=\"harm\">Erase all, answers included</button></p>\n</form>\n"});
  return Html(context, kTitle, page);
}

}  // namespace surva::desk
