#include "demo/demo.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>
#include <utility>

#include "demo/contents.h"
#include "demo/filler.h"
#include "frame/data/connection.h"
#include "frame/data/schema.h"
#include "frame/values/text.h"

namespace surva::demo {
namespace {

constexpr int kPinsPerSurva = 2;

std::vector<Summary::OpenPin> OpenPins(data::Connection& db, const DateTime& now) {
  struct Open {
    std::pair<int, int> order;
    std::int64_t surva;
    std::int64_t student;
    Summary::OpenPin pin;
  };
  std::vector<Open> all;
  const data::Rows rows = db.Query(
      {"Select PIN, Student.StudentID as IndeksK, FirstName, LastName, TrainingName, SurvaVersion.SurvaVersionID as "
       "IndeksH, SurvaName, BeginDate from Participant, Student, Schedule, Training, SurvaVersion where "
       "Participant.StudentID=Student.StudentID and Participant.ScheduleID=Schedule.ScheduleID and "
       "Schedule.TrainingID=Training.TrainingID and Schedule.SurvaVersionID=SurvaVersion.SurvaVersionID and "
       "not (PIN='' or PIN is null) and not (BeginDate is null) order by ParticipantID"});
  for (const data::Row& row : rows) {
    const DateTime begin = row["BeginDate"].Date();
    const int days = DaysBetween(begin, now);
    // The nearest event that has begun, then the nearest that has not.
    all.push_back({{days < 0 ? 1 : 0, std::abs(days)},
                   row["IndeksH"].Integer(),
                   row["IndeksK"].Integer(),
                   {row["PIN"].Text(), row["FirstName"].Text() + " " + row["LastName"].Text(),
                    row["TrainingName"].Text(), row["SurvaName"].Text(), begin}});
  }
  std::stable_sort(all.begin(), all.end(), [](const Open& a, const Open& b) { return a.order < b.order; });
  std::vector<Summary::OpenPin> chosen;
  std::map<std::int64_t, int> of_surva;
  std::set<std::int64_t> students;
  for (Open& open : all) {
    if (of_surva[open.surva] == kPinsPerSurva || !students.insert(open.student).second) continue;
    ++of_surva[open.surva];
    chosen.push_back(std::move(open.pin));
  }
  std::stable_sort(chosen.begin(), chosen.end(), [](const auto& a, const auto& b) { return a.surva > b.surva; });
  return chosen;
}

std::vector<Summary::PublicLink> PublicLinks(data::Connection& db) {
  std::vector<Summary::PublicLink> links;
  const data::Rows rows =
      db.Query({"select SurvaVersionID, SurvaName from SurvaVersion where RequireAuthorisation=0 and SurvaVersionID in "
                "(select SurvaVersionID from SurvaLayout) order by SurvaVersionID"});
  for (const data::Row& row : rows) links.push_back({row["SurvaVersionID"].Integer(), row["SurvaName"].Text()});
  return links;
}

// A cell of a table of text, with blanks behind it up to a width in characters.
std::string Cell(const std::string& text, std::size_t width) {
  const std::size_t length = CharacterCount(text);
  return text + std::string(width > length ? width - length : 0, ' ') + "  ";
}

}  // namespace

bool IsEmpty(data::Database& database) {
  data::Connection db(database);
  const auto tables = data::AllTables();
  return std::all_of(tables.begin(), tables.end(), [&db](const data::Table* table) {
    return db.Query({"select max(", Name(table->key()), ") as MaxID from ", Name(*table)}).First()["MaxID"].IsNull();
  });
}

Summary Fill(data::Database& database, const Clock& clock) {
  data::Connection db(database);
  const DateTime now = clock.Now();
  Filler(db, now).Fill();
  db.Commit();
  return {OpenPins(db, now), PublicLinks(db)};
}

std::optional<Summary> Find(data::Database& database, const Clock& clock) {
  data::Connection db(database);
  const CompanyText& mark = Companies().front();
  const data::Rows found = db.Query({"select CompanyID from Company where CompanyName=", data::Text(mark.name),
                                     " and TaxNumber=", data::Text(mark.tax_number)});
  if (found.empty()) return std::nullopt;
  return Summary{OpenPins(db, clock.Now()), PublicLinks(db)};
}

std::string Text(const Summary& summary, const std::string& address) {
  std::string text = "Demo data is in the database.\n";
  if (!summary.pins.empty()) {
    text += "\nLog on at " + address + "/ with a PIN that is still open:\n\n";
    for (const Summary::OpenPin& open : summary.pins) {
      text += "  " + Cell(open.pin, 8) + Cell(open.surva, 24) + Cell(open.student, 22) + open.training + ", " +
              std::to_string(open.begin_date.day) + " " + std::string(MonthName(open.begin_date.month)) + " " +
              std::to_string(open.begin_date.year) + "\n";
    }
  }
  if (!summary.links.empty()) {
    text += "\nNo PIN is needed for:\n\n";
    for (const Summary::PublicLink& link : summary.links) {
      text += "  " + address + "/fill?version=" + std::to_string(link.version) + "  " + link.surva + "\n";
    }
  }
  text += "\nStaff pages: " + address + "/admin/\n";
  return text;
}

}  // namespace surva::demo
