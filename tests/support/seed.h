// Seed: a surva with its rows, and somebody to fill it in, put into an empty database.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "frame/data/connection.h"

namespace surva::test {

// The values are those of Question.AnswerType and Question.QuestionType.
enum Role { kGroup = 1, kMain = 2, kSub = 3, kLabel = 4 };
enum Control { kNoAnswer = 0, kCombo = 1, kBoxes = 2, kText = 3, kRadio = 4, kNoControl = 5 };

struct RowSeed {
  Role role;
  Control control;
  std::string content;
  bool required = false;
  std::vector<std::string> choices = {};
  int size_x = 1;
  int size_y = 0;
  int line_rows = -1;
};

struct SurvaSeed {
  bool authorisation = true;
  bool personal_data = false;
  bool display_menu = false;
  std::string thank_you_page = {};
  std::vector<RowSeed> rows;
};

// Every table starts at a key of its own, so that keys that are mixed up show: SurvaVersion 3, Question 11,
// FieldValue 21, SurvaLayout 31, Company 2, Student 5, Schedule 7, Participant 9, AnonymousStudent 13.
class Seed {
 public:
  explicit Seed(data::Database& database) : database_(database) {}

  // Gives the SurvaVersionID.
  std::int64_t Surva(const SurvaSeed& surva);
  // Enrols a new student of a new company on a new event of the surva. Gives the StudentID.
  std::int64_t Participant(std::int64_t surva, const std::string& pin);

 private:
  void SkipKeys(data::Connection& connection);

  data::Database& database_;
  bool skipped_ = false;
};

// The rows of a select as text: columns by commas, rows by blanks, a null as "-".
std::string Read(data::Database& database, std::initializer_list<data::Piece> select);
void Write(data::Database& database, std::initializer_list<data::Piece> statement);

}  // namespace surva::test
