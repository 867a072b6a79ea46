#include "reporting/filled_forms.h"

#include <algorithm>

namespace surva {
namespace {

using data::Number;
using data::Pattern;
using data::Piece;
using enum Criterion::Holds;

constexpr Criterion kNamedCriteria[] = {
    {"TrainerID", "Trainer.TrainerID", kKey},
    {"CompanyID", "Company.CompanyID", kKey, true},
    {"StudentID", "Student.StudentID", kKey, true},
    {"TrainingID", "Training.TrainingID", kKey},
    {"SurvaVersionID", "SurvaVersion.SurvaVersionID", kKey},
    {"Place", "Place", kText},
};
constexpr Criterion kAnonymousCriteria[] = {
    {"IPAddressA", "IPAddress", kText},
    {"SurvaVersionIDA", "SurvaVersion.SurvaVersionID", kKey},
};

// Whether a text is the one in which a key is printed: 12, but not 012 or 1e1.
bool IsKeyText(std::string_view text) {
  constexpr std::size_t kMostDigits = 18;
  if (text.empty() || text.size() > kMostDigits || (text.front() == '0' && text.size() > 1)) return false;
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// `column like 'value'` for a key, without what it would cost to compare every key's text: all keys match "%", one at
// most a number, none the empty text.
void AddKeyFilter(std::vector<Piece>& statement, const Piece& column, std::string_view value) {
  if (value == "%") return;
  if (value.empty()) {
    statement.push_back(" and 1=0");
  } else if (IsKeyText(value)) {
    statement.insert(statement.end(), {" and ", column, "=", Number(value)});
  } else {
    statement.insert(statement.end(), {" and ", column, " like ", Pattern(value)});
  }
}

void AddTextFilter(std::vector<Piece>& statement, const Piece& column, std::string_view value) {
  if (value == "%") {
    statement.insert(statement.end(), {" and ", column, " is not null"});
  } else if (value.find_first_of("%_") == std::string_view::npos) {
    statement.insert(statement.end(), {" and ", column, "=", data::Text(value)});
  } else {
    statement.insert(statement.end(), {" and ", column, " like ", Pattern(value)});
  }
}

}  // namespace

namespace forms {

const FormKind kNamed{
    .criteria = kNamedCriteria,
    .begin = {"BDate", "BDay", "BMonth", "BYear"},
    .end = {"EDate", "EDay", "EMonth", "EYear"},
    .always_dated = false,
    .of_event = true,
    .menu = menus::kBrowse,
    .posts = "ReadCriteria",
    .list_columns = "select SurvaName, Schedule.SurvaVersionID, PIN, OfficialID, Trainer.FirstName as TFirstName, "
                    "Trainer.LastName as TLastName, BeginDate, EndDate, Place, TrainingName, Student.FirstName, "
                    "Student.LastName, CompanyName, Schedule.ScheduleID, Student.StudentID",
    .list_order = " order by Schedule.ScheduleID, Student.LastName nulls first, Student.FirstName nulls first, "
                  "ParticipantID",
    .tables = " from SurvaVersion, Training, Trainer, Schedule cross join Participant cross join Student, Company",
    .tables_by_person = " from Company, Student cross join Participant cross join Schedule, SurvaVersion, Training, "
                        "Trainer",
    .joins = " where SurvaVersion.SurvaVersionID=Schedule.SurvaVersionID and Training.TrainingID=Schedule.TrainingID "
             "and Trainer.TrainerID=Schedule.TrainerID and Schedule.ScheduleID=Participant.ScheduleID "
             "and Student.StudentID=Participant.StudentID and Company.CompanyID=Student.CompanyID",
    .form_keys = "Student.StudentID as StudentK, Schedule.ScheduleID as ScheduleK",
    .marks_of_form = "Mark where Mark.StudentID=StudentK and Mark.ScheduleID=ScheduleK",
    // All that the list shows of a form hangs on these three.
    .distinct_columns = "Schedule.ScheduleID, Student.StudentID, PIN",
    .filled = " and (PIN='' or PIN is null)",
    .from_date = " and BeginDate>=CDate(",
    .to_date = ") and EndDate<=CDate(",
};

const FormKind kAnonymous{
    .criteria = kAnonymousCriteria,
    .begin = {"BDateA", "BDayA", "BMonthA", "BYearA"},
    .end = {"EDateA", "EDayA", "EMonthA", "EYearA"},
    .always_dated = true,
    .of_event = false,
    .menu = menus::kBrowseAnonymous,
    .posts = "ReadCriteriaA",
    .list_columns = "select AnonymousStudentID, SurvaName, AnonymousStudent.CreateDate, "
                    "AnonymousStudent.SurvaVersionID, IPAddress, FillDate",
    .list_order = " order by FillDate desc, AnonymousStudentID",
    .tables = " from SurvaVersion, AnonymousStudent",
    .tables_by_person = " from SurvaVersion, AnonymousStudent",
    .joins = " where FillDate is not null and AnonymousStudent.SurvaVersionID=SurvaVersion.SurvaVersionID",
    .form_keys = "AnonymousStudentID as StudentK",
    .marks_of_form = "AnonymousMark where AnonymousMark.StudentID=StudentK",
    // Two forms of one address that were accepted in the same second count once.
    .distinct_columns = "AnonymousStudent.SurvaVersionID, IPAddress, FillDate",
    .filled = "",
    .from_date = " and FillDate>=CDate(",
    .to_date = ") and FillDate<=CDate(",
};

}  // namespace forms

FilledForms::FilledForms(const FormKind& kind, const Session& session, const Request& request)
    : kind_(kind), begin_(session[kind.begin.name].Text()), end_(session[kind.end.name].Text()) {
  if (kind.of_event) event_ = request("ScheduleID");
  for (const Criterion& criterion : kind.criteria) values_.push_back(session[criterion.name].Text());
}

data::Piece FilledForms::Tables() const {
  bool names_person = false;
  for (std::size_t i = 0; i < values_.size(); ++i) {
    names_person = names_person || (kind_.criteria[i].of_person && IsKeyText(values_[i]));
  }
  return names_person && event_.empty() ? kind_.tables_by_person : kind_.tables;
}

void FilledForms::AddFilter(Pieces& statement) const {
  if (!event_.empty()) return AddKeyFilter(statement, "Schedule.ScheduleID", event_);
  for (std::size_t i = 0; i < values_.size(); ++i) {
    const Criterion& criterion = kind_.criteria[i];
    (criterion.holds == kKey ? AddKeyFilter : AddTextFilter)(statement, criterion.column, values_[i]);
  }
  if (kind_.always_dated || !begin_.empty()) {
    statement.insert(statement.end(),
                     {kind_.from_date, data::DateText(begin_), kind_.to_date, data::DateText(end_), ")"});
  }
}

data::Rows FilledForms::List(data::Connection& connection) const {
  Pieces statement = {kind_.list_columns, Tables(), kind_.joins};
  AddFilter(statement);
  statement.push_back(kind_.list_order);
  return connection.Query(statement);
}

std::int64_t FilledForms::Count(data::Connection& connection) const {
  Pieces statement = {"select count(*) as Forms from (select distinct ", kind_.distinct_columns, Tables(), kind_.joins,
                      kind_.filled};
  AddFilter(statement);
  statement.push_back(") as Filled");
  return connection.Query(statement).First()["Forms"].Integer();
}

// The forms are found first, so that their event and person are looked up once and not for every mark. The marks are
// counted by their keys, and what is left, a row for each choice, by the texts: comparing texts without regard to case
// is slow work.
data::Rows FilledForms::CountAnswers(data::Connection& connection) const {
  Pieces statement = {"with Forms as materialized (select SurvaVersion.SurvaVersionID as VersionK, ", kind_.form_keys,
                      Tables(), kind_.joins};
  AddFilter(statement);
  // A million marks make a few hundred counts.
  if (connection.dialect() == data::Dialect::kSqlite) {
    statement.insert(
        statement.end(),
        {"), Counted as materialized (select value->>0 as VersionK, value->>1 as QuestionK, value->>2 as "
         "FieldValueK, value->>3 as Marks from json_each((select tally(VersionK, QuestionID, FieldValueID) "
         "from Forms cross join ",
         kind_.marks_of_form,
         "))), Grouped as (select VersionK, max(PositionID) as MaxOfPositionID, "
         "min(min(Question.QuestionID)) over (partition by VersionK, Content) as FirstQuestion, "
         "min(FieldValue.FieldValueID) as FirstValue, FieldValue.FieldValue as ValueOrder, sum(Marks) as Answers "
         "from Counted inner join Question on Question.QuestionID=QuestionK "
         "inner join SurvaLayout on SurvaLayout.QuestionID=QuestionK and SurvaLayout.SurvaVersionID=VersionK "
         "left join FieldValue on FieldValue.FieldValueID=FieldValueK "
         "where QuestionType<>3 group by VersionK, Question.Content, FieldValue.FieldValue) "});
  } else {
    // What citext does at each comparison, once for each text: its order is that of the bytes of the small letters, by
    // the database's own locale.
    static constexpr Piece kSmall = "lower(cast(";
    static constexpr Piece kLetters = " as text) collate \"default\") collate \"C\"";
    statement.insert(
        statement.end(),
        {"), Counted as materialized (select VersionK, QuestionID as QuestionK, FieldValueID as FieldValueK, "
         // Whole numbers of 32 bits, whose sum is one of 64 and not a decimal.
         "cast(count(*) as integer) as Marks "
         // Form by form: PostgreSQL would guess that next to no marks meet these keys, and sort a million.
         "from Forms cross join lateral (select QuestionID, FieldValueID from ",
         kind_.marks_of_form,
         " offset 0) as OfForm group by VersionK, QuestionID, FieldValueID), "
         // A question with all its choices is one row as long as its own text is looked at.
         "Asked as (select VersionK, PositionID, Chosen, Times, "
         "min(Question.QuestionID) over (partition by VersionK, ",
         kSmall, "Content", kLetters,
         ") as FirstQuestion from (select VersionK, QuestionK, array_agg(FieldValueK) as Chosen, "
         "array_agg(Marks) as Times from Counted group by VersionK, QuestionK) as OfQuestion "
         "inner join Question on Question.QuestionID=QuestionK "
         "inner join SurvaLayout on SurvaLayout.QuestionID=QuestionK and SurvaLayout.SurvaVersionID=VersionK "
         "where QuestionType<>3), "
         "Grouped as (select VersionK, max(PositionID) as MaxOfPositionID, FirstQuestion, "
         "min(FieldValueID) as FirstValue, ",
         kSmall, "FieldValue", kLetters,
         " as ValueOrder, sum(Marks) as Answers from Asked cross join lateral unnest(Chosen, Times) as "
         "Choice(FieldValueK, Marks) left join FieldValue on FieldValueID=FieldValueK "
         "group by VersionK, FirstQuestion, ",
         kSmall, "FieldValue", kLetters, ") "});
  }
  statement.insert(statement.end(),
                   {"select Question.Content, FieldValue.FieldValue, Answers from Grouped "
                    "inner join Question on Question.QuestionID=FirstQuestion "
                    "left join FieldValue on FieldValue.FieldValueID=FirstValue "
                    "order by VersionK, MaxOfPositionID nulls first, ValueOrder nulls first, FirstQuestion"});
  return connection.Query(statement);
}

}  // namespace surva
