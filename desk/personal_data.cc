#include "desk/personal_data.h"

#include <sodium.h>

#include <array>
#include <vector>

#include "desk/markup.h"
#include "guard/history.h"

namespace surva::desk {

using data::Bound;
using data::Number;
using data::Row;
using data::Rows;

namespace {

constexpr std::string_view kNobody = "Anonymous";
constexpr std::string_view kVeiled = "anonymous-";
constexpr std::string_view kVeiledPattern = "anonymous-%";

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

using Keys = std::vector<std::int64_t>;
using Pieces = std::vector<data::Piece>;

void AddKeys(Pieces& statement, const Keys& keys) {
  for (const std::int64_t& key : keys) {
    if (&key != keys.data()) statement.push_back(",");
    statement.push_back(Number(key));
  }
}

// Old rows are kept as JSON, under the names that the engine gives its columns.
void AddHistoryFilter(Pieces& statement, data::Dialect dialect, const Keys& students) {
  statement.push_back(" where (TableName='Student' and RowKey in (");
  AddKeys(statement, students);
  statement.push_back(")) or (TableName in ('Participant', 'Mark', 'Message') and ");
  statement.push_back(
      dialect == data::Dialect::kSqlite
          ? data::Piece("coalesce(OldRow->>'StudentID', OldRow->>'studentid')")
          : data::Piece("cast(coalesce(OldRow::json->>'studentid', OldRow::json->>'StudentID') as bigint)"));
  statement.push_back(" in (");
  AddKeys(statement, students);
  statement.push_back("))");
}

void ClearHistory(data::Connection& connection, const Keys& students) {
  Pieces statement = {"delete from History"};
  AddHistoryFilter(statement, connection.dialect(), students);
  connection.Execute(statement);
}

// With what was left by enrolments that are gone: nobody can tell whose it was.
void EraseMails(data::Connection& connection, std::int64_t student) {
  connection.Execute(
      {"delete from Outbox where ParticipantID in (select ParticipantID from Participant where StudentID=",
       Number(student), ") or (State>=4 and ParticipantID not in (select ParticipantID from Participant))"});
}

// The visits that a PIN of the student has begun: a session says the length of each of its texts.
std::string OfVisits(std::int64_t student) {
  const std::string value = "i" + std::to_string(student);
  return "%9:StudentID" + std::to_string(value.size()) + ":" + value + "%";
}

std::string LogonOf(std::string_view student) {
  return "logon " + std::string(student);
}

// What a visitor has under way ends before his visit does.
void EndVisits(data::Connection& db, std::int64_t student) {
  const auto hold = [&] {
    for (const Row& visit : db.Query({"select SessionKey from VisitorSession where Contents like ",
                                      data::Pattern(OfVisits(student)), " order by SessionKey"})) {
      db.Lock(visit["SessionKey"].Text());
    }
  };
  hold();
  // A logon has its visitor's key before this one as well.
  db.Lock(LogonOf(std::to_string(student)));
  hold();
  db.Execute({"delete from VisitorSession where Contents like ", data::Pattern(OfVisits(student))});
}

void TakeNameOff(data::Connection& db, std::int64_t student, Texts texts) {
  EraseMails(db, student);
  if (texts == Texts::kErase) {
    db.Execute({"update Mark set TextAnswer='' where FieldValueID=-1 and StudentID=", Number(student)});
  }
  db.Execute({"delete from Message where StudentID=", Number(student)});
  db.Execute({"update Student set FirstName='', LastName=", Bound(Field(kNobody)),
              ", Phone='', Fax='', email='', PostCode='', City='', Street='', Description='' where StudentID=",
              Number(student)});
}

// Those who still have a name and whose last event ended before a day. Who is enrolled on nothing has no last event,
// and may be a newcomer.
void AddStudentsBefore(Pieces& statement, const DateTime& day) {
  statement.insert(statement.end(),
                   {" from Student where not (LastName=", Bound(Field(kNobody)),
                    " and FirstName='' and email='') and exists (select 1 from Participant where "
                    "Participant.StudentID=Student.StudentID) and not exists (select 1 from Participant inner join "
                    "Schedule on Schedule.ScheduleID=Participant.ScheduleID where "
                    "Participant.StudentID=Student.StudentID and (EndDate is null or EndDate>=",
                    Bound(Field(day)), "))"});
}

// Anonymous forms of before a day whose address is still one.
void AddAddressesBefore(Pieces& statement, const DateTime& day) {
  statement.insert(statement.end(),
                   {" from AnonymousStudent where CreateDate<", Bound(Field(day)),
                    " and IPAddress is not null and not (IPAddress like ", data::Pattern(kVeiledPattern), ")"});
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
  json += ",\n";
  AppendRows(json, "history", HistoryOf(db, student), {"changed", "act", "table", "row before"});
  return json + ",\n\"visits under way\": " + std::to_string(CountVisits(db, student)) + "}\n";
}

Rows HistoryOf(data::Connection& db, std::int64_t student) {
  Pieces statement = {"select ChangedAt, Act, TableName, OldRow from History"};
  AddHistoryFilter(statement, db.dialect(), {student});
  statement.push_back(" order by HistoryID desc");
  return db.Query(statement);
}

std::int64_t CountVisits(data::Connection& db, std::int64_t student) {
  return db
      .Query({"select count(*) as Visits from VisitorSession where Contents like ", data::Pattern(OfVisits(student))})
      .First()["Visits"]
      .Integer();
}

bool HoldLogon(data::Connection& db, std::string_view pin, const Value& student) {
  db.Lock(LogonOf(student.Text()));
  return !db.Query({"select PIN from Participant where PIN=", data::Text(pin), " and StudentID=", Number(student)})
              .empty();
}

void EraseStudent(data::Connection& db, std::int64_t student) {
  db.Lock(guard::kPeople);
  EndVisits(db, student);
  EraseMails(db, student);
  db.Execute({"delete from Mark where StudentID=", Number(student)});
  db.Execute({"delete from Participant where StudentID=", Number(student)});
  db.Execute({"delete from Message where StudentID=", Number(student)});
  db.Execute({"delete from Student where StudentID=", Number(student)});
  ClearHistory(db, {student});
}

void AnonymiseStudent(data::Connection& db, std::int64_t student, Texts texts) {
  db.Lock(guard::kPeople);
  TakeNameOff(db, student, texts);
  ClearHistory(db, {student});
}

Anonymised CountBefore(data::Database& database, const DateTime& day) {
  data::Connection db(database);
  const auto count = [&](void (*add)(Pieces&, const DateTime&)) {
    Pieces statement = {"select count(*) as Many"};
    add(statement, day);
    return db.Query(statement).First()["Many"].Integer();
  };
  return {.students = count(AddStudentsBefore), .addresses = count(AddAddressesBefore)};
}

Anonymised AnonymiseBefore(data::Database& database, const DateTime& day, Texts texts) {
  constexpr std::int64_t kAtOnce = 200;
  Anonymised done;
  for (std::int64_t behind = 0;;) {
    data::Connection db(database);
    db.Lock(guard::kPeople);
    Pieces statement = {"select StudentID"};
    AddStudentsBefore(statement, day);
    statement.insert(statement.end(),
                     {" and StudentID>", Number(behind), " order by StudentID limit ", Number(kAtOnce)});
    Keys students;
    for (const Row& student : db.Query(statement)) students.push_back(student[0].Integer());
    if (students.empty()) break;
    behind = students.back();
    for (const std::int64_t student : students) TakeNameOff(db, student, texts);
    // The history is read from end to end: once for all of them.
    ClearHistory(db, students);
    db.Commit();
    done.students += static_cast<std::int64_t>(students.size());
  }
  const AddressVeil veil;
  for (;;) {
    data::Connection db(database);
    Pieces statement = {"select distinct IPAddress"};
    AddAddressesBefore(statement, day);
    statement.insert(statement.end(), {" limit ", Number(kAtOnce)});
    const Rows addresses = db.Query(statement);
    if (addresses.empty()) return done;
    for (const Row& address : addresses) {
      const std::string text = address[0].Text();
      done.addresses += db.Execute(
          {"update AnonymousStudent set IPAddress=", Bound(Field(std::string_view(veil(text)))), " where CreateDate<",
           Bound(Field(day)), " and IPAddress=", Bound(Field(std::string_view(text)))});
    }
    const std::string before = IsoText(day).substr(0, 10);
    if (db.dialect() == data::Dialect::kSqlite) {
      db.Execute({"delete from History where TableName='AnonymousStudent' and coalesce(OldRow->>'CreateDate', "
                  "OldRow->>'createdate')<",
                  Bound(Field(std::string_view(before)))});
    } else {
      db.Execute({"delete from History where TableName='AnonymousStudent' and coalesce(OldRow::json->>'createdate', "
                  "OldRow::json->>'CreateDate')<",
                  Bound(Field(std::string_view(before)))});
    }
    db.Commit();
  }
}

}  // namespace surva::desk
