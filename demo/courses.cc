// The catalogue of trainings, and where they take place.
#include "demo/contents.h"

namespace surva::demo {
namespace {

constexpr TrainingText kTrainings[] = {
    {"Leading a Team for the First Time",
     "Leadership",
     "LD-101",
     "10-01",
     "Three days for people who were colleagues yesterday and lead today: expectations, delegation, feedback.",
     3,
     {0, 6},
     Form::kEvaluation,
     0.2},
    {"Difficult Conversations at Work",
     "Leadership",
     "LD-204",
     "10-07",
     "Preparing and holding the talks that one would rather put off. Much practice in pairs.",
     2,
     {0, 6},
     Form::kEvaluation,
     0.3},
    {"Project Management Foundations",
     "Project management",
     "PM-110",
     "20-01",
     "From the first idea to the final report: goals, plan, risks, people. Ends with a test.",
     5,
     {1, 2},
     Form::kEvaluation,
     0.0},
    {"Agile Methods for Mixed Teams",
     "Project management",
     "PM-230",
     "20-04",
     "What agile working asks of departments that do not write software.",
     2,
     {1, 6},
     Form::kEvaluation,
     -0.1},
    {"Negotiating with Suppliers",
     "Sales and purchasing",
     "SP-115",
     "30-02",
     "Preparation, tactics, closing. Two recorded negotiations for each participant.",
     2,
     {2, 0},
     Form::kEvaluation,
     0.3},
    {"Key Account Management",
     "Sales and purchasing",
     "SP-240",
     "30-05",
     "Keeping and growing the customers that matter most.",
     3,
     {2, 1},
     Form::kEvaluation,
     0.0},
    {"Finance for Managers Who Are Not Accountants: Reading Balance Sheets, Cash Flow and Budgets with Confidence",
     "Finance",
     "FI-101",
     "40-01",
     "Three statements, one case, no bookkeeping.",
     3,
     {5, 1},
     Form::kEvaluation,
     -0.4},
    {"Spreadsheets: From Lists to Answers",
     "Office skills",
     "OF-120",
     "50-01",
     "Look-ups, pivot tables and charts, with the participants' own files.",
     2,
     {3, 7},
     Form::kEvaluation,
     0.2},
    {"Business Writing in Plain English",
     "Communication",
     "CO-130",
     "60-03",
     "Letters, reports and e-mail that are read to the end.",
     2,
     {4, 0},
     Form::kEvaluation,
     0.1},
    {"Presenting to an Audience",
     "Communication",
     "CO-135",
     "60-04",
     "One day, one talk each, filmed and reviewed.",
     1,
     {4, 2},
     Form::kShort,
     0.3},
    {"Time Management Workshop",
     "Personal effectiveness",
     "PE-105",
     "70-01",
     "A day with one's own calendar and list of tasks.",
     1,
     {6, 4},
     Form::kShort,
     0.0},
    {"Data Protection for Everyone",
     "Compliance",
     "CP-100",
     "80-01",
     "What each employee has to know about personal data. Repeated every year.",
     1,
     {7, 3},
     Form::kShort,
     -0.3},
};

constexpr std::string_view kPlaces[] = {
    "Training centre, room Ada",
    "Training centre, room Grace",
    "Training centre, room Emmy",
    "At the client's office",
    "Harbour Hotel, Aarhus",
    "Hôtel des Célestins, Lyon",
    "Online",
    "Stuttgart, Haus der Wirtschaft",
};

constexpr std::string_view kEventNotes[] = {
    "Projector lamp flickers; take the spare one.",
    "Two participants need a vegetarian lunch.",
    "Client asks for the attendance list on the last day.",
    "Starts at 9:30 because of the train from Gdynia.",
};

constexpr std::string_view kStreets[] = {
    "Mill Lane 4",    "Station Road 17", "Church Street 9", "Garden Row 23", "Harbour View 2", "Linden Avenue 56",
    "School Hill 11", "Market Square 8", "King's Road 130", "Brook Close 3", "Orchard Way 41", "Castle Street 62",
};

}  // namespace

std::span<const TrainingText> Trainings() {
  return kTrainings;
}

std::span<const std::string_view> Places() {
  return kPlaces;
}

std::span<const std::string_view> EventNotes() {
  return kEventNotes;
}

std::span<const std::string_view> Streets() {
  return kStreets;
}

}  // namespace surva::demo
