#include "demo/filler.h"

#include <algorithm>
#include <cmath>

#include "frame/data/schema.h"

namespace surva::demo {
namespace {

using namespace data::tables;
using data::Name;

constexpr int kFirstWeek = -39;
constexpr int kLastWeek = 13;
constexpr int kAnonymousVisits = 68;
constexpr int kAnonymousDays = 120;

constexpr std::int64_t kYes = -1;
constexpr std::int64_t kNo = 0;
std::int64_t Flag(bool flag) {
  return flag ? kYes : kNo;
}

// How PINs are made on an enrolment: second times hour plus minute, a zero, the student's key.
constexpr std::string_view kPinMiddle = "0";

constexpr std::string_view kVisitorAddresses[] = {
    "192.0.2.14",  "192.0.2.77",   "192.0.2.130",  "198.51.100.3",  "198.51.100.23",   "198.51.100.61",
    "203.0.113.5", "203.0.113.42", "203.0.113.99", "203.0.113.180", "2001:db8:41::1c", "2001:db8:7:2::9",
};

// The letters of an e-mail address: small, without accents, and none in place of an apostrophe or a blank.
std::string AddressPart(std::string_view name) {
  struct Letter {
    std::string_view accented;
    std::string_view plain;
  };
  static constexpr Letter kLetters[] = {
      {"á", "a"}, {"Á", "a"}, {"å", "a"}, {"Å", "a"},  {"ä", "ae"}, {"æ", "ae"}, {"ç", "c"}, {"é", "e"},  {"É", "e"},
      {"è", "e"}, {"ë", "e"}, {"í", "i"}, {"ï", "i"},  {"ñ", "n"},  {"ó", "o"},  {"ò", "o"}, {"ö", "oe"}, {"Ö", "o"},
      {"ø", "o"}, {"Ø", "o"}, {"š", "s"}, {"ß", "ss"}, {"ú", "u"},  {"ü", "ue"}, {"ý", "y"}, {"ž", "z"},  {"î", "i"},
  };
  std::string part;
  while (!name.empty()) {
    const auto letter = std::find_if(std::begin(kLetters), std::end(kLetters),
                                     [name](const Letter& candidate) { return name.starts_with(candidate.accented); });
    if (letter != std::end(kLetters)) {
      part += letter->plain;
      name.remove_prefix(letter->accented.size());
      continue;
    }
    const char c = name.front();
    if (c >= 'A' && c <= 'Z') part += static_cast<char>(c + 32);
    if ((c >= 'a' && c <= 'z') || c == '-') part += c;
    name.remove_prefix(1);
  }
  return part;
}

DateTime At(const DateTime& day, int hour, int minute, int second) {
  return {day.year, day.month, day.day, hour, minute, second};
}

// Fewer events in the weeks of summer and at the turn of the year.
bool IsQuiet(const DateTime& monday) {
  return monday.month == 8 || (monday.month == 12 && monday.day > 18) || (monday.month == 1 && monday.day < 5);
}

}  // namespace

Filler::Filler(data::Connection& db, const DateTime& now)
    : db_(db), dice_(20'240), today_(At(now, 0, 0, 0)), monday_(AddDays(today_, 1 - Weekday(today_))) {}

void Filler::Fill() {
  evaluation_ = AddSurva(Evaluation(), AddDays(today_, -340), true);
  short_feedback_ = AddSurva(ShortFeedback(), AddDays(today_, -300), false);
  open_day_ = AddSurva(OpenDay(), AddDays(today_, -kAnonymousDays - 5), false);
  AddUnfinishedCopy(AddDays(today_, -12));
  AddCompanies();
  AddTrainers();
  AddTrainings();
  for (int week = kFirstWeek; week <= kLastWeek; ++week) AddWeek(week);
  AddAnonymousVisits();
  AddRemarks();
}

std::int64_t Filler::Add(data::RowWriter& row, const data::Table& table) {
  row.Update();
  return db_.Query({"select max(", Name(table.key()), ") as MaxID from ", Name(table)}).First()["MaxID"].Integer();
}

// ---- survas

Filler::Surva Filler::AddSurva(const SurvaText& text, const DateTime& created, bool is_default) {
  Surva surva;
  surva.key = Add(db_.AddNew(kSurvaVersion)
                      .Set("SurvaName", text.name)
                      .Set("Valid", Flag(is_default))
                      .Set("CreateDate", At(created, 10, 24, 31))
                      .Set("RequireAuthorisation", Flag(text.authorisation))
                      .Set("RequirePersonalDataPreview", Flag(text.personal_data_preview))
                      .Set("ThankYouPage", std::string_view())
                      .Set("DisplayMenu", Flag(text.display_menu)),
                  kSurvaVersion);
  std::int64_t position = 0;
  for (const QuestionText& question : text.questions) {
    Question added{&question, 0, {}};
    added.key = Add(db_.AddNew(kQuestion)
                        .Set("Content", question.content)
                        .Set("AnswerType", static_cast<std::int64_t>(question.role))
                        .Set("QuestionType", static_cast<std::int64_t>(question.control))
                        .Set("SizeX", std::int64_t{question.size_x})
                        .Set("SizeY", std::int64_t{question.size_y})
                        .Set("LineRows", Flag(question.choice_per_line || question.control == Control::kCombo))
                        .Set("Required", Flag(question.required)),
                    kQuestion);
    for (const std::string_view choice : question.choices) {
      added.choices.push_back(
          Add(db_.AddNew(kFieldValue).Set("QuestionID", added.key).Set("FieldValue", choice), kFieldValue));
    }
    db_.AddNew(kSurvaLayout)
        .Set("SurvaVersionID", surva.key)
        .Set("QuestionID", added.key)
        .Set("PositionID", ++position)
        .Update();
    surva.questions.push_back(std::move(added));
  }
  return surva;
}

// A copy shares its questions with the surva that it was made from.
void Filler::AddUnfinishedCopy(const DateTime& created) {
  const std::string name = "Copy of: " + std::string(Evaluation().name);
  const std::int64_t copy = Add(db_.AddNew(kSurvaVersion)
                                    .Set("SurvaName", std::string_view(name))
                                    .Set("Valid", kNo)
                                    .Set("CreateDate", At(created, 16, 2, 55))
                                    .Set("RequireAuthorisation", kYes)
                                    .Set("RequirePersonalDataPreview", kYes),
                                kSurvaVersion);
  std::int64_t position = 0;
  for (const Question& question : evaluation_.questions) {
    db_.AddNew(kSurvaLayout)
        .Set("SurvaVersionID", copy)
        .Set("QuestionID", question.key)
        .Set("PositionID", ++position)
        .Update();
  }
}

// ---- records

void Filler::AddCompanies() {
  for (const CompanyText& company : Companies()) {
    const std::string email = company.domain.empty() ? "" : "training@" + std::string(company.domain);
    companies_.push_back(Add(db_.AddNew(kCompany)
                                 .Set("CompanyName", company.name)
                                 .Set("Street", company.street)
                                 .Set("PostCode", company.post_code)
                                 .Set("City", company.city)
                                 .Set("Phone", company.phone)
                                 .Set("FAX", company.fax)
                                 .Set("eMail", std::string_view(email))
                                 .Set("TaxNumber", company.tax_number)
                                 .Set("Description", company.description),
                             kCompany));
  }
  // Students come in over the months, not company by company.
  for (std::size_t number = 0; students_.size() < 150; ++number) {
    for (std::size_t company = 0; company < companies_.size(); ++company) {
      const std::span<const PersonText> staff = Companies()[company].staff;
      if (number < staff.size()) AddStudent(company, staff[number]);
    }
  }
}

void Filler::AddStudent(std::size_t company, const PersonText& person) {
  const CompanyText& employer = Companies()[company];
  std::string email;
  if (!employer.domain.empty() && !dice_.Chance(8)) {
    const std::string initial = AddressPart(person.first_name).substr(0, 1);
    email = initial + "." + AddressPart(person.last_name) + "@" + std::string(employer.domain);
  }
  const std::string phone =
      dice_.Chance(20) ? "" : std::string(employer.phone) + " ext. " + std::to_string(dice_.Between(101, 499));
  const bool has_address = !dice_.Chance(15);
  data::RowWriter row = db_.AddNew(kStudent);
  row.Set("CompanyID", companies_[company])
      .Set("FirstName", person.first_name)
      .Set("LastName", person.last_name)
      .Set("Phone", std::string_view(phone))
      .Set("Fax", std::string_view())
      .Set("email", std::string_view(email))
      .Set("PostCode", has_address ? employer.post_code : std::string_view())
      .Set("City", employer.city)
      .Set("Street", has_address ? dice_.Pick(Streets()) : std::string_view())
      .Set("Description", std::string_view());
  students_.push_back({Add(row, kStudent), company, {}});
}

void Filler::AddTrainers() {
  for (const TrainerText& trainer : Trainers()) {
    trainers_.push_back(Add(db_.AddNew(kTrainer)
                                .Set("FirstName", trainer.first_name)
                                .Set("LastName", trainer.last_name)
                                .Set("eMail", trainer.email)
                                .Set("Phone", trainer.phone)
                                .Set("Description", trainer.description),
                            kTrainer));
  }
}

void Filler::AddTrainings() {
  for (const TrainingText& training : Trainings()) {
    data::RowWriter row = db_.AddNew(kTraining);
    row.Set("TrainingName", training.name)
        .Set("Category", training.category)
        .Set("OfficialID", training.official_id)
        .Set("InternalID", training.internal_id)
        .Set("Description", training.description);
    // Some trainings have no surva of their own: their events take the default.
    if (training.form == Form::kShort || dice_.Chance(60)) row.Set("SurvaVersionID", SurvaOf(training).key);
    trainings_.push_back(Add(row, kTraining));
  }
}

// ---- events

void Filler::AddWeek(int week) {
  const auto any = [this] {
    return static_cast<std::size_t>(dice_.Between(0, static_cast<int>(trainings_.size()) - 1));
  };
  if (week == 0) {
    // One with each of the survas has begun, whatever day it is.
    AddEvent(week, 0, true);
    AddEvent(week, trainings_.size() - 2, true);
    AddEvent(week, 4, false);
    return;
  }
  const int events = IsQuiet(AddDays(monday_, 7 * week)) ? dice_.Between(0, 1) : dice_.Between(1, 3);
  for (int event = 0; event < events; ++event) AddEvent(week, any(), false);
}

void Filler::AddEvent(int week, std::size_t training, bool from_monday) {
  const TrainingText& text = Trainings()[training];
  const std::size_t trainer = TrainerFor(text, week);
  const DateTime begin = AddDays(monday_, 7 * week + (from_monday ? 0 : dice_.Between(0, 5 - text.days)));
  const DateTime end = AddDays(begin, text.days - 1);
  const std::string_view note = dice_.Chance(10) ? dice_.Pick(EventNotes()) : std::string_view();
  Event event{0, &text, &Trainers()[trainer], week, end};
  event.key = Add(db_.AddNew(kSchedule)
                      .Set("TrainingID", trainings_[training])
                      .Set("TrainerID", trainers_[trainer])
                      .Set("SurvaVersionID", SurvaOf(text).key)
                      .Set("BeginDate", begin)
                      .Set("EndDate", end)
                      .Set("Place", dice_.Pick(Places()))
                      .Set("Description", note),
                  kSchedule);
  for (const Student* student : Enrol(event)) AddParticipant(event, *student);
}

// One of the trainers of the training who is free in that week, else anybody who is.
std::size_t Filler::TrainerFor(const TrainingText& training, int week) {
  std::vector<std::size_t> candidates;
  for (const int trainer : training.trainers) candidates.push_back(static_cast<std::size_t>(trainer));
  for (std::size_t trainer = 0; trainer < trainers_.size(); ++trainer) candidates.push_back(trainer);
  const auto free = std::find_if(candidates.begin(), candidates.end(), [this, week](std::size_t trainer) {
    return !busy_trainers_.contains({week, trainer});
  });
  const std::size_t found = free == candidates.end() ? candidates.front() : *free;
  busy_trainers_.insert({week, found});
  return found;
}

// Companies send several people at once.
std::vector<Filler::Student*> Filler::Enrol(const Event& event) {
  const std::size_t wanted = static_cast<std::size_t>(dice_.Between(6, 14));
  std::vector<Student*> enrolled;
  for (int attempt = 0; attempt < 6 && enrolled.size() < wanted; ++attempt) {
    const auto company = static_cast<std::size_t>(dice_.Between(0, static_cast<int>(companies_.size()) - 1));
    int seats = dice_.Between(2, 5);
    for (Student& student : students_) {
      if (seats == 0 || enrolled.size() == wanted) break;
      if (student.company != company || !dice_.Chance(40) || !student.weeks.insert(event.week).second) continue;
      enrolled.push_back(&student);
      --seats;
    }
  }
  return enrolled;
}

void Filler::AddParticipant(const Event& event, const Student& student) {
  const std::string pin = NewPin(student.key);
  const int days_later = dice_.Chance(55) ? 0 : dice_.Between(1, 6);
  const DateTime filled =
      At(AddDays(event.end_date, days_later), days_later == 0 ? dice_.Between(15, 18) : dice_.Between(8, 21),
         dice_.Between(0, 59), dice_.Between(0, 59));
  const bool is_filled = event.week < 0 && filled < today_ && dice_.Chance(90);
  data::RowWriter row = db_.AddNew(kParticipant);
  row.Set("ScheduleID", event.key).Set("StudentID", student.key);
  if (!is_filled) {
    row.Set("PIN", std::string_view(pin)).Update();
    return;
  }
  row.Set("PIN", std::string_view()).Set("FillDate", filled).Update();
  Answer(SurvaOf(*event.training),
         {student.key, event.key, event.trainer->skill + event.training->appeal + dice_.Bell(1.5)});
}

std::string Filler::NewPin(std::int64_t student) {
  for (;;) {
    const int clock = dice_.Between(0, 59) * dice_.Between(8, 17) + dice_.Between(0, 59);
    std::string pin = std::to_string(clock) + std::string(kPinMiddle) + std::to_string(student);
    if (pins_.insert(pin).second) return pin;
  }
}

// ---- respondents

void Filler::AddAnonymousVisits() {
  for (int visit = 0; visit < kAnonymousVisits; ++visit) {
    const DateTime day = AddDays(today_, -kAnonymousDays + visit * kAnonymousDays / kAnonymousVisits);
    const int hour = dice_.Between(9, 20);
    const int minute = dice_.Between(0, 40);
    const bool finished = !dice_.Chance(10);
    data::RowWriter row = db_.AddNew(kAnonymousStudent);
    row.Set("IPAddress", dice_.Pick(std::span<const std::string_view>(kVisitorAddresses)))
        .Set("CreateDate", At(day, hour, minute, dice_.Between(0, 59)))
        .Set("SurvaVersionID", open_day_.key);
    if (finished) row.Set("FillDate", At(day, hour, minute + dice_.Between(2, 19), dice_.Between(0, 59)));
    const std::int64_t visitor = Add(row, kAnonymousStudent);
    if (finished) Answer(open_day_, {visitor, 0, dice_.Bell(1.5)});
  }
}

void Filler::AddRemarks() {
  for (const std::string_view remark : Remarks()) {
    db_.AddNew(kMessage).Set("Message", remark).Set("StudentID", dice_.Pick(students_).key).Update();
  }
}

void Filler::Answer(const Surva& surva, const Respondent& respondent) {
  for (const Question& question : surva.questions) {
    const QuestionText& text = *question.text;
    switch (text.control) {
      case Control::kNone:
      case Control::kNoControl:
        break;
      case Control::kText:
        Store(respondent, question.key, std::int64_t{-1}, TextOf(text));
        break;
      case Control::kBoxes: {
        const std::size_t first = ChoiceOf(text, respondent.mood);
        for (std::size_t box = 0; box < question.choices.size(); ++box) {
          const bool ticked = dice_.Chance(30) || (text.required && box == first);
          if (ticked) Store(respondent, question.key, question.choices[box], {});
        }
        break;
      }
      case Control::kCombo:
      case Control::kRadio: {
        const bool unanswered = text.control == Control::kRadio && !text.required && dice_.Chance(6);
        const std::int64_t choice = question.choices[ChoiceOf(text, respondent.mood)];
        Store(respondent, question.key, unanswered ? Field() : Field(choice), {});
        break;
      }
    }
  }
}

void Filler::Store(const Respondent& respondent, std::int64_t question, const Field& choice, std::string_view text) {
  data::RowWriter row = db_.AddNew(respondent.event == 0 ? kAnonymousMark : kMark);
  if (respondent.event != 0) row.Set("ScheduleID", respondent.event);
  row.Set("StudentID", respondent.student)
      .Set("QuestionID", question)
      .Set("FieldValueID", choice)
      .Set("TextAnswer", text)
      .Update();
}

std::size_t Filler::ChoiceOf(const QuestionText& question, double mood) {
  // A first choice without a text stands for no answer.
  const int first = question.choices.front().empty() ? 1 : 0;
  if (first == 1 && !question.required && dice_.Chance(8)) return 0;
  const int last = static_cast<int>(question.choices.size()) - 1 - first;
  // Marks lean to the good side: 0 is the worst choice, 1 the best.
  const double mark = 0.72 + mood * 0.22 + dice_.Bell(0.5);
  double place = 0;
  switch (question.habit) {
    case Habit::kWorstUp:
      place = mark * last;
      break;
    case Habit::kBestDown:
      place = (1 - mark) * last;
      break;
    case Habit::kMiddle:
      place = last / 2.0 + dice_.Bell(0.75) * last;
      break;
    default:
      place = dice_.Between(0, last);
      break;
  }
  return static_cast<std::size_t>(first + std::clamp<long>(std::lround(place), 0, last));
}

std::string_view Filler::TextOf(const QuestionText& question) {
  if (!question.required && dice_.Chance(60)) return {};
  return dice_.Pick(Phrases(question.habit));
}

}  // namespace surva::demo
