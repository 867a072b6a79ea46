// The texts of the demo data: who and what the training company has to do with. They keep to the letters of
// windows-1252, the pages' encoding: a browser posts any other letter as a numeric reference, which would not find it.
#pragma once

#include <span>
#include <string_view>

namespace surva::demo {

struct PersonText {
  std::string_view first_name;
  std::string_view last_name;
};

struct CompanyText {
  std::string_view name;
  std::string_view street;
  std::string_view post_code;
  std::string_view city;
  std::string_view phone;
  std::string_view fax;
  std::string_view domain;  // of its e-mail addresses
  std::string_view tax_number;
  std::string_view description;
  std::span<const PersonText> staff;  // its students
};

// The first one is the mark by which a demo database is known.
std::span<const CompanyText> Companies();

struct TrainerText {
  std::string_view first_name;
  std::string_view last_name;
  std::string_view email;
  std::string_view phone;
  std::string_view description;
  double skill;  // added to the marks that students give
};

std::span<const TrainerText> Trainers();

enum class Form { kEvaluation, kShort };

struct TrainingText {
  std::string_view name;
  std::string_view category;
  std::string_view official_id;
  std::string_view internal_id;
  std::string_view description;
  int days;
  int trainers[2];  // who can give it, as places in Trainers()
  Form form;
  double appeal;  // added to the marks that students give
};

std::span<const TrainingText> Trainings();

std::span<const std::string_view> Places();
std::span<const std::string_view> EventNotes();
// Home streets of students.
std::span<const std::string_view> Streets();

// The values are those of Question.AnswerType and Question.QuestionType.
enum class Role { kGroup = 1, kMain = 2, kSub = 3, kLabel = 4 };
enum class Control { kNone = 0, kCombo = 1, kBoxes = 2, kText = 3, kRadio = 4, kNoControl = 5 };

// How respondents answer.
enum class Habit {
  kNothing,
  kEven,      // any choice
  kWorstUp,   // choices run from the worst to the best
  kBestDown,  // choices run from the best to the worst
  kMiddle,    // mostly the middle choice
  kPraise,
  kCriticism,
  kTopic,
  kPlan,
};

struct QuestionText {
  Role role;
  Control control = Control::kNone;
  std::string_view content;
  Habit habit = Habit::kNothing;
  bool required = false;
  std::span<const std::string_view> choices = {};
  int size_x = 0;
  int size_y = 0;
  bool choice_per_line = false;
};

struct SurvaText {
  std::string_view name;
  bool authorisation;
  bool personal_data_preview;
  bool display_menu;
  std::span<const QuestionText> questions;
};

// For most events: thirty questions.
const SurvaText& Evaluation();
// For short workshops.
const SurvaText& ShortFeedback();
// For the public link.
const SurvaText& OpenDay();

// What respondents write for a habit of writing.
std::span<const std::string_view> Phrases(Habit habit);
// Remarks on the personal details.
std::span<const std::string_view> Remarks();

}  // namespace surva::demo
