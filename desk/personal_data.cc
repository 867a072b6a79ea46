#include "desk/personal_data.h"

#include <sodium.h>

#include <array>
#include <vector>

#include "desk/markup.h"

namespace surva::desk {

using data::Bound;
using data::Number;
using data::Row;
using data::Rows;

namespace {

constexpr std::string_view kNobody = "Anonymous";
constexpr std::string_view kVeiled = "anonymous-";

void AppendRows(std::string& json, std::string_view name, const Rows& rows,
                std::initializer_list<std::string_view> columns) {
  json += JsonText(name) + ": [";
  for (std::size_t i = 0; i < rows.size(); ++i) {
    json += i == 0 ? "\n  {" : ",\n  {";
    int column = 0;
    for (const std::string_view heading : columns) {
      const Field field = rows[i][column];
      json += (column++ == 0 ? "" : ", ") + JsonText(heading) + ": ";
      if (field.IsNull()) {
        json += "null";
      } else if (const auto* number = std::get_if<std::int64_t>(&field.content())) {
        json += std::to_string(*number);
      } else if (const auto* date = std::get_if<DateTime>(&field.content())) {
        json += JsonText(IsoText(*date));
      } else {
        json += JsonText(field.Text());
      }
    }
    json += "}";
  }
  json += "]";
}

// Old rows are kept as JSON. A quote inside a text is escaped there, so that only a column's own name is found.
void ClearHistory(data::Connection& connection, std::int64_t student) {
  const data::Table* const history = data::FindTable("History");
  if (history == nullptr) return;
  const std::string key = std::to_string(student);
  connection.Execute({"delete from ", Name(*history), " where TableName='Student' and RowKey=", Number(student)});
  connection.Execute({"delete from ", Name(*history),
                      " where (TableName='Participant' or TableName='Mark' or "
                      "TableName='Message') and (lower(OldRow) like ",
                      data::Pattern("%\"studentid\":" + key + ",%"), " or lower(OldRow) like ",
                      data::Pattern("%\"studentid\":" + key + "}%"), ")"});
}

void EraseMails(data::Connection& connection, std::int64_t student) {
  connection.Execute(
      {"delete from Outbox where ParticipantID in (select ParticipantID from Participant where StudentID=",
       Number(student), ")"});
}

// The same for the same address, so that forms that count once go on to do so; nobody can find the address any more,
// for the key is forgotten.
class AddressVeil {
 public:
  AddressVeil() { randombytes_buf(key_.data(), key_.size()); }
  std::string operator()(std::string_view address) const {
    std::array<unsigned char, crypto_generichash_BYTES_MIN> digest{};
    crypto_generichash(digest.data(), digest.size(), reinterpret_cast<const unsigned char*>(address.data()),
                       address.size(), key_.data(), key_.size());
    std::array<char, 2 * digest.size() + 1> text{};
    sodium_bin2hex(text.data(), text.size(), digest.data(), digest.size());
    return std::string(kVeiled) + text.data();
  }

 private:
  std::array<unsigned char, crypto_generichash_KEYBYTES> key_{};
};

}  // namespace

std::string PersonalDataAsJson(data::Connection& db, std::int64_t student) {
  std::string json = "{";
  AppendRows(json, "person",
             db.Query({"select StudentID, FirstName, LastName, Phone, Fax, email, PostCode, City, Street, Description, "
                       "(select CompanyName from Company where Company.CompanyID=Student.CompanyID) as CompanyName "
                       "from Student where StudentID=",
                       Number(student)}),
             {"number", "first name", "last name", "phone", "fax", "e-mail", "post code", "city", "street",
              "description", "company"});
  json += ",\n";
  AppendRows(json, "enrolments",
             db.Query({"select Participant.ScheduleID, TrainingName, BeginDate, EndDate, Place, PIN, FillDate "
                       "from Participant left join Schedule on Schedule.ScheduleID=Participant.ScheduleID "
                       "left join Training on Training.TrainingID=Schedule.TrainingID where Participant.StudentID=",
                       Number(student), " order by ParticipantID"}),
             {"event", "training", "begins", "ends", "place", "PIN", "answered"});
  json += ",\n";
  AppendRows(json, "answers",
             db.Query({"select ScheduleID, Content, FieldValue, TextAnswer from Mark "
                       "left join Question on Question.QuestionID=Mark.QuestionID "
                       "left join FieldValue on FieldValue.FieldValueID=Mark.FieldValueID where StudentID=",
                       Number(student), " order by ScheduleID, MarkID"}),
             {"event", "question", "choice", "text"});
  json += ",\n";
  AppendRows(json, "remarks",
             db.Query({"select Message from Message where StudentID=", Number(student), " order by MessageID"}),
             {"remark"});
  json += ",\n";
  AppendRows(
      json, "mails",
      db.Query({"select Outbox.ScheduleID, Outbox.Kind, Outbox.State, Told from Outbox inner join Participant on "
                "Participant.ParticipantID=Outbox.ParticipantID where StudentID=",
                Number(student), " order by OutboxID"}),
      {"event", "kind", "state", "the server's word"});
  return json + "}\n";
}

void EraseStudent(data::Connection& db, std::int64_t student) {
  EraseMails(db, student);
  db.Execute({"delete from Mark where StudentID=", Number(student)});
  db.Execute({"delete from Participant where StudentID=", Number(student)});
  db.Execute({"delete from Message where StudentID=", Number(student)});
  db.Execute({"delete from Student where StudentID=", Number(student)});
  ClearHistory(db, student);
}

void AnonymiseStudent(data::Connection& db, std::int64_t student, Texts texts) {
  EraseMails(db, student);
  if (texts == Texts::kErase) {
    db.Execute({"update Mark set TextAnswer='' where FieldValueID=-1 and StudentID=", Number(student)});
  }
  db.Execute({"delete from Message where StudentID=", Number(student)});
  db.Execute({"update Student set FirstName='', LastName=", Bound(Field(kNobody)),
              ", Phone='', Fax='', email='', PostCode='', City='', Street='', Description='' where StudentID=",
              Number(student)});
  ClearHistory(db, student);
}

Anonymised AnonymiseBefore(data::Database& database, const DateTime& day, Texts texts) {
  constexpr std::int64_t kAtOnce = 200;
  Anonymised done;
  for (std::int64_t behind = 0;;) {
    data::Connection db(database);
    // Who is enrolled on nothing has no last event, and may be a newcomer.
    const Rows students = db.Query(
        {"select StudentID from Student where StudentID>", Number(behind), " and not (LastName=", Bound(Field(kNobody)),
         " and FirstName='' and email='') and exists (select 1 from Participant where "
         "Participant.StudentID=Student.StudentID) and not exists (select 1 from Participant inner join Schedule on "
         "Schedule.ScheduleID=Participant.ScheduleID where Participant.StudentID=Student.StudentID and (EndDate is null "
         "or EndDate>=",
         Bound(Field(day)), ")) order by StudentID limit ", Number(kAtOnce)});
    for (const Row& student : students) {
      behind = student[0].Integer();
      AnonymiseStudent(db, behind, texts);
      ++done.students;
    }
    db.Commit();
    if (static_cast<std::int64_t>(students.size()) < kAtOnce) break;
  }
  const AddressVeil veil;
  for (;;) {
    data::Connection db(database);
    const Rows addresses = db.Query({"select distinct IPAddress from AnonymousStudent where CreateDate<",
                                     Bound(Field(day)), " and IPAddress is not null and not (IPAddress like ",
                                     data::Pattern(std::string(kVeiled) + "%"), ") limit ", Number(kAtOnce)});
    for (const Row& address : addresses) {
      const std::string text = address[0].Text();
      done.addresses += db.Execute(
          {"update AnonymousStudent set IPAddress=", Bound(Field(std::string_view(veil(text)))), " where CreateDate<",
           Bound(Field(day)), " and IPAddress=", Bound(Field(std::string_view(text)))});
    }
    if (const data::Table* const history = data::FindTable("History"); history != nullptr && !addresses.empty()) {
      db.Execute({"delete from ", Name(*history), " where TableName='AnonymousStudent'"});
    }
    db.Commit();
    if (addresses.empty()) return done;
  }
}

}  // namespace surva::desk
