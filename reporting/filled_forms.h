// FilledForms: the forms that a visitor's filter finds, listed, counted, and their answers counted. Named forms and
// anonymous ones are two of a kind; what tells them apart is data.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "frame/data/connection.h"
#include "frame/page_frame.h"
#include "frame/request.h"
#include "frame/session.h"

namespace surva {

// A field of the filter. A key of the session and a control of the criteria form have its name.
struct Criterion {
  enum class Holds : std::uint8_t { kKey, kText };

  std::string_view name;
  data::Piece column;
  Holds holds;
  bool of_person = false;  // of a respondent, not of an event
};

// A date of the filter: the key of the session, and the three controls of the criteria form.
struct DateCriterion {
  std::string_view name;
  std::string_view day, month, year;
};

struct FormKind {
  std::span<const Criterion> criteria;
  DateCriterion begin, end;
  bool always_dated;       // the dates count even where none was ever given
  bool of_event;           // a ScheduleID on the request takes the place of the whole filter
  const Menu& menu;        // of the pages that show these forms
  std::string_view posts;  // the criteria form's hidden control

  // Statements in pieces.
  data::Piece list_columns, list_order;
  // SQLite reads the tables on the left of a cross join first, and guesses badly where it is left the choice: from the
  // events on; or from the persons on, where the filter names one or a company.
  data::Piece tables, tables_by_person;
  data::Piece joins;
  data::Piece form_keys, marks_of_form;  // what names a form, and the marks of a form that is so named
  data::Piece distinct_columns, filled;  // what a form is counted by, and which rows are filled forms
  data::Piece from_date, to_date;
};

namespace forms {
extern const FormKind kNamed, kAnonymous;
}  // namespace forms

class FilledForms {
 public:
  FilledForms(const FormKind& kind, const Session& session, const Request& request);

  // A row for each participant of the events found, filled in or not; or for each anonymous form.
  data::Rows List(data::Connection& connection) const;
  // The number of filled forms.
  std::int64_t Count(data::Connection& connection) const;
  // A row for each answer text of a phrase of a version, texts that differ in letter case being one: Content,
  // FieldValue (null where no choice was stored) and Answers, the number of marks. Text answers are left out.
  // Of several spellings that of the lowest key shows.
  data::Rows CountAnswers(data::Connection& connection) const;

 private:
  using Pieces = std::vector<data::Piece>;
  data::Piece Tables() const;
  void AddFilter(Pieces& statement) const;

  const FormKind& kind_;
  std::string event_;                // the ScheduleID, if it takes the filter's place
  std::vector<std::string> values_;  // of the criteria
  std::string begin_, end_;
};

}  // namespace surva
