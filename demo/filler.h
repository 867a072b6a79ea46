// Filler: makes the rows of the demo data, table by table, through one connection.
#pragma once

#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "demo/contents.h"
#include "demo/dice.h"
#include "frame/data/connection.h"

namespace surva::demo {

class Filler {
 public:
  // Whatever lies in the past lies before the day of `now`.
  Filler(data::Connection& db, const DateTime& now);

  // Leaves the commit to the caller.
  void Fill();

 private:
  struct Question {
    const QuestionText* text;
    std::int64_t key;
    std::vector<std::int64_t> choices;  // keys, in order
  };
  struct Surva {
    std::int64_t key = 0;
    std::vector<Question> questions;
  };
  struct Student {
    std::int64_t key;
    std::size_t company;
    std::set<int> weeks;  // in which he is on a training
  };
  struct Event {
    std::int64_t key;
    const TrainingText* training;
    const TrainerText* trainer;
    int week;  // 0 is this one
    DateTime end_date;
  };
  // Whose answers are stored, and where.
  struct Respondent {
    std::int64_t student;
    std::int64_t event;  // 0: anonymous
    double mood;         // added to the marks that he gives
  };

  std::int64_t Add(data::RowWriter& row, const data::Table& table);

  Surva AddSurva(const SurvaText& text, const DateTime& created, bool is_default);
  void AddUnfinishedCopy(const DateTime& created);
  void AddCompanies();
  void AddStudent(std::size_t company, const PersonText& person);
  void AddTrainers();
  void AddTrainings();
  void AddWeek(int week);
  void AddEvent(int week, std::size_t training, bool from_monday);
  std::size_t TrainerFor(const TrainingText& training, int week);
  std::vector<Student*> Enrol(const Event& event);
  void AddParticipant(const Event& event, const Student& student);
  std::string NewPin(std::int64_t student);
  void AddAnonymousVisits();
  void AddRemarks();

  void Answer(const Surva& surva, const Respondent& respondent);
  void Store(const Respondent& respondent, std::int64_t question, const Field& choice, std::string_view text);
  std::size_t ChoiceOf(const QuestionText& question, double mood);
  std::string_view TextOf(const QuestionText& question);
  const Surva& SurvaOf(const TrainingText& training) const {
    return training.form == Form::kShort ? short_feedback_ : evaluation_;
  }

  data::Connection& db_;
  Dice dice_;
  const DateTime today_;
  const DateTime monday_;  // of this week
  Surva evaluation_;
  Surva short_feedback_;
  Surva open_day_;
  std::vector<std::int64_t> companies_;
  std::vector<std::int64_t> trainers_;
  std::vector<std::int64_t> trainings_;
  std::vector<Student> students_;
  std::set<std::pair<int, std::size_t>> busy_trainers_;  // by week
  std::set<std::string> pins_;
};

}  // namespace surva::demo
