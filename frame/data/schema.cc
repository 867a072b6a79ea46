#include "frame/data/schema.h"

#include "frame/values/fault.h"
#include "frame/values/text.h"

namespace surva::data {
namespace {

using enum ColumnType;

constexpr Column kCompanyColumns[] = {
    {"CompanyID", kKey},      {"CompanyName", kText, 100}, {"Street", kText, 100}, {"PostCode", kText, 20},
    {"City", kText, 60},      {"Phone", kText, 25},        {"FAX", kText, 25},     {"eMail", kText, 50},
    {"TaxNumber", kText, 30}, {"Description", kLongText},
};
constexpr Column kStudentColumns[] = {
    {"StudentID", kKey},  {"CompanyID", kLong},  {"FirstName", kText, 60},   {"LastName", kText, 60},
    {"Phone", kText, 45}, {"Fax", kText, 45},    {"email", kText, 50},       {"PostCode", kText, 20},
    {"City", kText, 60},  {"Street", kText, 60}, {"Description", kLongText},
};
constexpr Column kTrainerColumns[] = {
    {"TrainerID", kKey},  {"FirstName", kText, 90}, {"LastName", kText, 90},
    {"eMail", kText, 50}, {"Phone", kText, 50},     {"Description", kLongText},
};
constexpr Column kTrainingColumns[] = {
    {"TrainingID", kKey},      {"TrainingName", kText, 200}, {"Category", kText, 90},   {"OfficialID", kText, 15},
    {"InternalID", kText, 15}, {"Description", kLongText},   {"SurvaVersionID", kLong},
};
constexpr Column kScheduleColumns[] = {
    {"ScheduleID", kKey}, {"TrainingID", kLong}, {"TrainerID", kLong}, {"SurvaVersionID", kLong},
    {"BeginDate", kDate}, {"EndDate", kDate},    {"Place", kText, 50}, {"Description", kLongText},
};
// A PIN is at most three numbers in a row: 4 digits, a second times a 32-bit key, and a 32-bit key.
constexpr Column kParticipantColumns[] = {
    {"ParticipantID", kKey}, {"ScheduleID", kLong}, {"StudentID", kLong}, {"PIN", kText, 50}, {"FillDate", kDate},
};
constexpr Column kSurvaVersionColumns[] = {
    {"SurvaVersionID", kKey},     {"SurvaName", kText, 150},       {"Valid", kLong},
    {"CreateDate", kDate},        {"RequireAuthorisation", kLong}, {"RequirePersonalDataPreview", kLong},
    {"ThankYouPage", kText, 150}, {"DisplayMenu", kLong},
};
constexpr Column kQuestionColumns[] = {
    {"QuestionID", kKey}, {"Content", kText, 250}, {"AnswerType", kLong}, {"QuestionType", kLong},
    {"SizeX", kLong},     {"SizeY", kLong},        {"LineRows", kLong},   {"Required", kLong},
};
constexpr Column kFieldValueColumns[] = {{"FieldValueID", kKey}, {"QuestionID", kLong}, {"FieldValue", kText, 60}};
constexpr Column kSurvaLayoutColumns[] = {
    {"SurvaLayoutID", kKey}, {"SurvaVersionID", kLong}, {"QuestionID", kLong}, {"PositionID", kLong}};
constexpr Column kMarkColumns[] = {
    {"MarkID", kKey},      {"StudentID", kLong},    {"ScheduleID", kLong},
    {"QuestionID", kLong}, {"FieldValueID", kLong}, {"TextAnswer", kLongText},
};
// An address is an IPv6 address with its zone at the longest.
constexpr Column kAnonymousStudentColumns[] = {
    {"AnonymousStudentID", kKey}, {"IPAddress", kText, 64},  {"CreateDate", kDate},
    {"FillDate", kDate},          {"SurvaVersionID", kLong},
};
constexpr Column kAnonymousMarkColumns[] = {
    {"AnonymousMarkID", kKey}, {"StudentID", kLong},      {"QuestionID", kLong},
    {"FieldValueID", kLong},   {"TextAnswer", kLongText},
};
constexpr Column kMessageColumns[] = {{"MessageID", kKey}, {"StudentID", kLong}, {"Message", kLongText}};

// ---- the host's own

// Visitors' sessions by the digest of their cookie. LastUse is in seconds of the system clock.
constexpr Column kVisitorSessionColumns[] = {
    {"SessionKey", kName, 64}, {"Contents", kPlain}, {"LastUse", kBig}, {"TimeoutMinutes", kBig}};

// The last day on which an event's PINs open a form.
constexpr Column kEventCloseColumns[] = {{"EventCloseID", kKey}, {"ScheduleID", kLong}, {"CloseDate", kDate}};

// The texts of mails, by kind; what is missing has its first form.
constexpr Column kMailTextColumns[] = {
    {"MailTextID", kKey}, {"Kind", kLong}, {"Subject", kText, 200}, {"Body", kLongText}};

// Mails to be sent and what became of them. Times are in seconds of the system clock. A mail is written when it is
// sent; here stands only to whom.
constexpr Column kOutboxColumns[] = {
    {"OutboxID", kKey},      {"ScheduleID", kLong}, {"ParticipantID", kLong}, {"Kind", kLong},     {"State", kLong},
    {"Attempts", kLong},     {"NextTry", kBig},     {"ClaimedBy", kPlain},    {"ClaimedAt", kBig}, {"EndedAt", kBig},
    {"MessageName", kPlain}, {"Site", kPlain},      {"Told", kPlain},
};
// Staff, by their names in small letters; sessions and browsers by the digests of their cookies. Times are in seconds
// of the system clock.
constexpr Column kStaffAccountColumns[] = {
    {"AccountKey", kName, 60}, {"Name", kPlain}, {"Role", kPlain}, {"PasswordHash", kPlain}};
constexpr Column kStaffSessionColumns[] = {
    {"SessionKey", kName, 64}, {"AccountKey", kPlain}, {"Begun", kBig}, {"LastUse", kBig}};
constexpr Column kStaffBrowserColumns[] = {{"BrowserKey", kName, 64}, {"AccountKey", kPlain}, {"LastUse", kBig}};
// Wrong tries of PINs and passwords, as a debt of time that is paid off at a moment.
constexpr Column kWrongTryColumns[] = {{"TryKey", kName, 100}, {"PaidOff", kBig}, {"LastTry", kBig}};
// What the rows of the fourteen tables were before they were changed or deleted; the triggers write it.
constexpr Column kHistoryColumns[] = {{"HistoryID", kKey},   {"ChangedAt", kDate},  {"Person", kPlain},
                                      {"RequestID", kPlain}, {"TableName", kPlain}, {"RowKey", kBig},
                                      {"Act", kPlain},       {"OldRow", kPlain}};

// One index for every way in which a page looks rows up, or walks them in order, in a table that grows with use.
constexpr Index kIndexes[] = {
    {"Company", "CompanyName, CompanyID", true},
    {"Company", "City"},
    {"Company", "Street"},
    {"Company", "PostCode"},
    {"Student", "CompanyID"},
    {"Student", "LastName, StudentID", true},
    {"Student", "LastName, FirstName"},
    {"Student", "FirstName"},
    {"Student", "City"},
    {"Trainer", "LastName, TrainerID", true},
    {"Trainer", "LastName, FirstName"},
    {"Trainer", "FirstName"},
    {"Trainer", "eMail"},
    {"Trainer", "Phone"},
    {"Training", "TrainingName, TrainingID", true},
    {"Training", "Category"},
    {"Training", "InternalID"},
    {"Training", "OfficialID"},
    {"Training", "SurvaVersionID"},
    {"Schedule", "BeginDate, EndDate"},
    {"Schedule", "EndDate"},
    {"Schedule", "(julianday(EndDate) - julianday(BeginDate))"},
    {"Schedule", "TrainingID"},
    {"Schedule", "TrainerID"},
    {"Schedule", "SurvaVersionID"},
    {"Schedule", "Place"},
    {"Participant", "PIN"},
    {"Participant", "ScheduleID, StudentID"},
    {"Participant", "StudentID"},
    {"SurvaLayout", "SurvaVersionID, PositionID"},
    {"SurvaLayout", "QuestionID"},
    {"FieldValue", "QuestionID"},
    {"Mark", "StudentID, ScheduleID"},
    // All that the counting of answers asks for: it never looks at the table itself.
    {"Mark", "ScheduleID, StudentID, QuestionID, FieldValueID"},
    {"AnonymousStudent", "IPAddress, AnonymousStudentID"},
    {"AnonymousStudent", "SurvaVersionID"},
    {"AnonymousStudent", "FillDate"},
    {"AnonymousMark", "StudentID"},
    {"Message", "StudentID"},
    {"VisitorSession", "LastUse"},
    {"EventClose", "ScheduleID"},
    {"Outbox", "State, NextTry"},
    {"Outbox", "ScheduleID"},
    {"Outbox", "ParticipantID"},
    {"StaffSession", "AccountKey"},
    {"History", "ChangedAt"},
    {"History", "RequestID"},
    {"Outbox", "EndedAt"},
};

}  // namespace

namespace tables {
const Table kCompany{"Company", kCompanyColumns};
const Table kStudent{"Student", kStudentColumns};
const Table kTrainer{"Trainer", kTrainerColumns};
const Table kTraining{"Training", kTrainingColumns};
const Table kSchedule{"Schedule", kScheduleColumns};
const Table kParticipant{"Participant", kParticipantColumns};
const Table kSurvaVersion{"SurvaVersion", kSurvaVersionColumns};
const Table kQuestion{"Question", kQuestionColumns};
const Table kFieldValue{"FieldValue", kFieldValueColumns};
const Table kSurvaLayout{"SurvaLayout", kSurvaLayoutColumns};
const Table kMark{"Mark", kMarkColumns};
const Table kAnonymousStudent{"AnonymousStudent", kAnonymousStudentColumns};
const Table kAnonymousMark{"AnonymousMark", kAnonymousMarkColumns};
const Table kMessage{"Message", kMessageColumns};
const Table kVisitorSession{"VisitorSession", kVisitorSessionColumns};
const Table kEventClose{"EventClose", kEventCloseColumns};
const Table kMailText{"MailText", kMailTextColumns};
const Table kOutbox{"Outbox", kOutboxColumns};
const Table kStaffAccount{"StaffAccount", kStaffAccountColumns};
const Table kStaffSession{"StaffSession", kStaffSessionColumns};
const Table kStaffBrowser{"StaffBrowser", kStaffBrowserColumns};
const Table kWrongTry{"WrongTry", kWrongTryColumns};
const Table kHistory{"History", kHistoryColumns};
}  // namespace tables

const Column& Table::Find(std::string_view column) const {
  for (const Column& own : columns) {
    if (EqualNames(own.name, column)) return own;
  }
  throw Fault(FaultNumber::kNoSuchColumn, "surva database",
              "Item cannot be found in the collection corresponding to the requested name or ordinal.",
              std::string(column));
}

std::span<const Table* const> AllTables() {
  using namespace tables;
  static constexpr const Table* kAll[] = {
      &kCompany,  &kStudent,    &kTrainer,     &kTraining, &kSchedule,         &kParticipant,   &kSurvaVersion,
      &kQuestion, &kFieldValue, &kSurvaLayout, &kMark,     &kAnonymousStudent, &kAnonymousMark, &kMessage,
  };
  return kAll;
}

std::span<const Table* const> HostTables() {
  using namespace tables;
  static constexpr const Table* kAll[] = {&kVisitorSession, &kEventClose,   &kMailText, &kOutbox, &kStaffAccount,
                                          &kStaffSession,   &kStaffBrowser, &kWrongTry, &kHistory};
  return kAll;
}

std::span<const Index> AllIndexes() {
  return kIndexes;
}

const Table* FindTable(std::string_view name) {
  for (const auto all : {AllTables(), HostTables()}) {
    for (const Table* table : all) {
      if (EqualNames(table->name, name)) return table;
    }
  }
  return nullptr;
}

const Column* FindColumn(std::string_view table, std::string_view column) {
  const Table* found = FindTable(table);
  if (found == nullptr) return nullptr;
  for (const Column& own : found->columns) {
    if (EqualNames(own.name, column)) return &own;
  }
  return nullptr;
}

}  // namespace surva::data
