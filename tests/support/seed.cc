#include "tests/support/seed.h"

namespace surva::test {

using data::Number;
using namespace data::tables;

namespace {

std::int64_t NewKey(data::Connection& db, const data::Table& table) {
  return db.Query({"select max(", Name(table.key()), ") as K from ", Name(table)}).First()["K"].Integer();
}

}  // namespace

void Seed::SkipKeys(data::Connection& db) {
  if (skipped_) return;
  skipped_ = true;
  const auto skip = [&db](const data::Table& table, int keys) {
    for (int key = 0; key < keys; ++key) db.AddNew(table).SetNull(table.columns[1].name).Update();
    db.Execute({"delete from ", Name(table)});
  };
  skip(kSurvaVersion, 2);
  skip(kQuestion, 10);
  skip(kFieldValue, 20);
  skip(kSurvaLayout, 30);
  skip(kCompany, 1);
  skip(kStudent, 4);
  skip(kSchedule, 6);
  skip(kParticipant, 8);
  skip(kAnonymousStudent, 12);
}

std::int64_t Seed::Surva(const SurvaSeed& surva) {
  data::Connection db(database_);
  SkipKeys(db);
  db.AddNew(kSurvaVersion)
      .Set("SurvaName", std::string_view("Course evaluation"))
      .Set("RequireAuthorisation", std::int64_t{surva.authorisation ? -1 : 0})
      .Set("RequirePersonalDataPreview", std::int64_t{surva.personal_data ? -1 : 0})
      .Set("DisplayMenu", std::int64_t{surva.display_menu ? -1 : 0})
      .Set("ThankYouPage", std::string_view(surva.thank_you_page))
      .Update();
  const std::int64_t version = NewKey(db, kSurvaVersion);
  std::int64_t place = 0;
  for (const RowSeed& row : surva.rows) {
    db.AddNew(kQuestion)
        .Set("Content", std::string_view(row.content))
        .Set("AnswerType", std::int64_t{row.role})
        .Set("QuestionType", std::int64_t{row.control})
        .Set("SizeX", std::int64_t{row.size_x})
        .Set("SizeY", std::int64_t{row.size_y})
        .Set("LineRows", std::int64_t{row.line_rows})
        .Set("Required", std::int64_t{row.required ? -1 : 0})
        .Update();
    const std::int64_t question = NewKey(db, kQuestion);
    for (const std::string& choice : row.choices) {
      db.AddNew(kFieldValue).Set("QuestionID", question).Set("FieldValue", std::string_view(choice)).Update();
    }
    db.AddNew(kSurvaLayout)
        .Set("SurvaVersionID", version)
        .Set("QuestionID", question)
        .Set("PositionID", ++place)
        .Update();
  }
  db.Commit();
  return version;
}

std::int64_t Seed::Participant(std::int64_t surva, const std::string& pin) {
  data::Connection db(database_);
  SkipKeys(db);
  const auto text = [](const char* value) { return std::string_view(value); };
  db.AddNew(kCompany)
      .Set("CompanyName", text("Ames & Sons"))
      .Set("Street", text("Mill Lane 2"))
      .Set("PostCode", text("00-950"))
      .Set("City", text("Warsaw"))
      .Set("Phone", text("555-0100"))
      .Set("FAX", text("555-0101"))
      .Set("eMail", text("office@ames.example"))
      .Set("TaxNumber", text("526-000-12-46"))
      .Update();
  db.AddNew(kStudent)
      .Set("CompanyID", NewKey(db, kCompany))
      .Set("FirstName", text("Zo\u00eb"))
      .Set("LastName", text("Ames"))
      .Set("Phone", text("555-0199"))
      .Set("email", text("zoe@ames.example"))
      .Set("PostCode", text("30-059"))
      .Set("City", text("Krakow"))
      .Set("Street", text("Long Street 1"))
      .Update();
  const std::int64_t student = NewKey(db, kStudent);
  db.AddNew(kSchedule).Set("SurvaVersionID", surva).Set("BeginDate", DateTime{2004, 2, 1}).Update();
  db.AddNew(kParticipant)
      .Set("ScheduleID", NewKey(db, kSchedule))
      .Set("StudentID", student)
      .Set("PIN", std::string_view(pin))
      .Update();
  db.Commit();
  return student;
}

std::string Read(data::Database& database, std::initializer_list<data::Piece> select) {
  data::Connection db(database);
  const data::Rows rows = db.Query(select);
  std::string text;
  for (const data::Row& row : rows) {
    if (!text.empty()) text += ' ';
    for (int column = 0; column < rows.shape().size(); ++column) {
      if (column > 0) text += ',';
      text += row[column].IsNull() ? "-" : row[column].Text();
    }
  }
  return text;
}

void Write(data::Database& database, std::initializer_list<data::Piece> statement) {
  data::Connection db(database);
  db.Execute(statement);
  db.Commit();
}

}  // namespace surva::test
