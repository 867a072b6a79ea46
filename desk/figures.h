// Figures: how often each answer of each question was given, over an event, a trainer, a training or the house. They
// count the stored marks, as the answer statistics do.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "frame/data/connection.h"
#include "reporting/average.h"

namespace surva::desk {

struct Choice {
  std::int64_t key = 0;
  std::string text;
};

// A row of a surva as it is laid out.
struct LaidOut {
  enum class Role : std::uint8_t { kGroup = 1, kQuestion = 2, kPart = 3, kLabel = 4 };
  enum class Control : std::uint8_t { kNone = 0, kList = 1, kBoxes = 2, kText = 3, kButtons = 4, kNoControl = 5 };

  std::int64_t question = 0;
  std::string content;
  Role role = Role::kQuestion;
  Control control = Control::kNone;
  std::vector<Choice> choices;

  bool HasChoices() const {
    return control == Control::kList || control == Control::kBoxes || control == Control::kButtons;
  }
  // Whether one choice of numbers is given: an average has a meaning.
  bool IsScale() const;
};

// In the order of the form.
std::vector<LaidOut> ReadLayout(data::Connection& connection, std::int64_t version);

// What is counted: the marks of one event, of a trainer's or training's events, or all.
class Scope {
 public:
  static Scope OfEvent(std::int64_t key) { return Scope("ScheduleID=", key, ""); }
  static Scope OfTrainer(std::int64_t key) {
    return Scope("ScheduleID in (select ScheduleID from Schedule where TrainerID=", key, ")");
  }
  static Scope OfTraining(std::int64_t key) {
    return Scope("ScheduleID in (select ScheduleID from Schedule where TrainingID=", key, ")");
  }
  static Scope OfHouse() { return Scope("1=", 1, ""); }

  data::Piece before, value, after;

 private:
  Scope(data::Piece before_value, std::int64_t key, data::Piece after_value)
      : before(before_value), value(data::Number(key)), after(after_value) {}
};

// Whose answers are counted for an event.
std::int64_t CountForms(data::Connection& connection, std::int64_t event);

class Figures {
 public:
  Figures(data::Connection& connection, const Scope& scope);

  std::int64_t Count(std::int64_t question, std::int64_t choice) const;
  // Over the choices with a text.
  Average AverageOf(const LaidOut& question) const;
  // Marks of a choice with a text; boxes count each tick.
  std::int64_t Answers(const LaidOut& question) const;

 private:
  std::map<std::pair<std::int64_t, std::int64_t>, std::int64_t> counts_;
};

}  // namespace surva::desk
