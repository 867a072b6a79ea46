#include "desk/form_filter.h"

#include "desk/parts.h"

namespace surva::desk {

using data::Bound;
using data::Number;

FormFilter::FormFilter(const Request& request) : place_(request("place")) {
  const auto read = [&](std::string_view name, auto reader, auto& criterion) {
    criterion = reader(request(name));
    if (!criterion && request.Filled(name)) valid_ = false;
  };
  read("event", ReadKey, event_);
  read("trainer", ReadKey, trainer_);
  read("training", ReadKey, training_);
  read("version", ReadKey, version_);
  read("company", ReadKey, company_);
  read("student", ReadKey, student_);
  read("from", ReadDay, from_);
  read("to", ReadDay, to_);
}

void FormFilter::AddEventFilter(std::vector<data::Piece>& statement) const {
  const auto add = [&statement](const data::Piece& test, const std::optional<std::int64_t>& key) {
    if (key) statement.insert(statement.end(), {test, Number(*key)});
  };
  add(" and Schedule.ScheduleID=", event_);
  add(" and Schedule.TrainerID=", trainer_);
  add(" and Schedule.TrainingID=", training_);
  add(" and Schedule.SurvaVersionID=", version_);
  if (from_) statement.insert(statement.end(), {" and BeginDate>=", Bound(Field(*from_))});
  if (to_) statement.insert(statement.end(), {" and EndDate<", Bound(Field(AddDays(*to_, 1)))});
  if (!place_.empty()) statement.insert(statement.end(), {" and Place=", Bound(Field(std::string_view(place_)))});
  if (company_ || student_) {
    statement.push_back(" and Schedule.ScheduleID in (select ScheduleID from Participant where 1=1");
    AddPersonFilter(statement);
    statement.push_back(")");
  }
}

void FormFilter::AddPersonFilter(std::vector<data::Piece>& statement) const {
  if (student_) statement.insert(statement.end(), {" and Participant.StudentID=", Number(*student_)});
  if (company_) {
    statement.insert(
        statement.end(),
        {" and Participant.StudentID in (select StudentID from Student where CompanyID=", Number(*company_), ")"});
  }
}

}  // namespace surva::desk
