// The survas, and what respondents write into them.
#include "demo/contents.h"

namespace surva::demo {
namespace {

using enum Role;
using enum Control;
using enum Habit;

constexpr std::string_view kOneToFive[] = {"1", "2", "3", "4", "5"};
constexpr std::string_view kNoneToFive[] = {"", "1", "2", "3", "4", "5"};
constexpr std::string_view kChannels[] = {
    "", "My manager", "A colleague", "The catalogue", "The web site", "A newsletter", "Another course"};
constexpr std::string_view kYears[] = {"", "Less than a year", "1 to 3 years", "4 to 10 years", "More than 10 years"};
constexpr std::string_view kReasons[] = {"To do my present work better", "To prepare for a new task",
                                         "To refresh what I knew", "My manager asked me to",
                                         "To meet people from other companies"};
constexpr std::string_view kCoverage[] = {"Less than was announced", "What was announced", "More than was announced"};
constexpr std::string_view kAgain[] = {"Yes", "Perhaps", "No"};
constexpr std::string_view kLength[] = {"Shorter", "As long as it was", "Longer"};
constexpr std::string_view kMaterials[] = {"Handbook", "Slides", "Exercises", "Online"};
constexpr std::string_view kRecommend[] = {"Yes, certainly", "Probably", "Probably not", "No"};
constexpr std::string_view kSoon[] = {
    "", "This week", "This month", "Within half a year", "Later", "I do not think I will"};
constexpr std::string_view kInterests[] = {"Leadership",    "Project management",     "Sales and purchasing", "Finance",
                                           "Office skills", "Personal effectiveness", "None at present"};
constexpr std::string_view kPace[] = {"Too slow", "About right", "Too fast"};
constexpr std::string_view kLiked[] = {"Topic", "Trainer", "Group", "Exercises", "Place"};
constexpr std::string_view kVisitor[] = {"Employee", "Manager", "Human resources", "Self-employed", "Student", "Other"};
constexpr std::string_view kHeard[] = {"From a friend or colleague", "Newspaper or radio", "Social network",
                                       "I was passing by", "I am a customer already"};
constexpr std::string_view kSessions[] = {"Negotiation taster", "Spreadsheet clinic", "Tour of the house",
                                          "Talk with trainers"};

constexpr QuestionText kEvaluation[] = {
    {kGroup, kNone, "You and your course"},
    {kMain, kCombo, "How did you hear about this course?", kEven, false, kChannels, 1},
    {kMain, kCombo, "How long have you worked in your present role?", kEven, false, kYears, 1},
    {kMain, kBoxes, "Why did you attend? Tick all that apply.", kEven, true, kReasons, 0, 0, true},
    {kMain, kRadio, "How much did you know about the subject before? (1 = nothing, 5 = a great deal)", kMiddle, true,
     kOneToFive},

    {kGroup, kNone, "Content"},
    {kLabel, kNone, "Please rate the content of the course (1 = poor, 5 = excellent)"},
    {kSub, kRadio, "Relevance to my work", kWorstUp, true, kOneToFive},
    {kSub, kRadio, "Depth", kWorstUp, true, kOneToFive},
    {kSub, kRadio, "Balance of theory and practice", kWorstUp, true, kOneToFive},
    {kSub, kRadio, "Exercises and case studies", kWorstUp, false, kOneToFive},
    {kSub, kRadio, "Pace", kWorstUp, false, kOneToFive},
    {kMain, kRadio, "The course covered", kMiddle, true, kCoverage, 0, 0, true},
    {kMain, kText, "Which topic was the most useful to you?", kTopic, false, {}, 40, 3},
    {kMain, kText, "Which topic would you shorten, or did you miss?", kCriticism, false, {}, 40, 3},

    {kGroup, kNone, "The trainer"},
    {kLabel, kNone, "Please rate the trainer (1 = poor, 5 = excellent)"},
    {kSub, kRadio, "Knowledge of the subject", kWorstUp, true, kOneToFive},
    {kSub, kRadio, "Clarity of explanations", kWorstUp, true, kOneToFive},
    {kSub, kRadio, "Answers to questions", kWorstUp, true, kOneToFive},
    {kSub, kRadio, "Examples from practice", kWorstUp, false, kOneToFive},
    {kSub, kRadio, "Contact with the group", kWorstUp, false, kOneToFive},
    {kMain, kRadio, "Would you attend another course with this trainer?", kBestDown, true, kAgain, 0, 0, true},
    {kMain, kText, "What would you like to tell the trainer?", kPraise, false, {}, 40, 3},

    {kGroup, kNone, "Materials and organisation"},
    {kLabel, kNone, "Please rate the organisation (1 = poor, 5 = excellent)"},
    {kSub, kCombo, "Course materials", kWorstUp, true, kNoneToFive, 1},
    {kSub, kCombo, "Room and equipment", kWorstUp, true, kNoneToFive, 1},
    {kSub, kCombo, "Catering", kWorstUp, false, kNoneToFive, 1},
    {kSub, kCombo, "Information before the course", kWorstUp, false, kNoneToFive, 1},
    {kMain, kCombo, "How long should the course be?", kMiddle, false, kLength, 3},
    {kMain, kBoxes, "Which materials did you use?", kEven, false, kMaterials},

    {kGroup, kNone, "Altogether"},
    {kMain, kRadio, "How do you rate the course as a whole? (1 = poor, 5 = excellent)", kWorstUp, true, kOneToFive},
    {kMain, kRadio, "Would you recommend the course to a colleague?", kBestDown, true, kRecommend, 0, 0, true},
    {kMain, kCombo, "How soon will you use what you have learned?", kBestDown, true, kSoon, 1},
    {kMain, kBoxes, "Which subjects would interest you next?", kEven, false, kInterests, 0, 0, true},
    {kMain, kText, "Is there anything else that you would like to say?", kPraise, false, {}, 40, 5},
    {kSub, kNoControl, "Thank you. Please look through your answers once more before you send them."},
};

constexpr QuestionText kShortFeedback[] = {
    {kGroup, kNone, "Your workshop in six questions"},
    {kMain, kRadio, "How useful was the workshop to you? (1 = not at all, 5 = very)", kWorstUp, true, kOneToFive},
    {kMain, kRadio, "How well did the trainer explain things? (1 = badly, 5 = very well)", kWorstUp, true, kOneToFive},
    {kMain, kRadio, "The pace was", kMiddle, true, kPace, 0, 0, true},
    {kMain, kBoxes, "What did you like?", kEven, false, kLiked},
    {kMain, kText, "What is the first thing that you will put into practice?", kPlan, true, {}, 50, 3},
    {kMain, kText, "What should we do better?", kCriticism, false, {}, 50, 3},
};

constexpr QuestionText kOpenDay[] = {
    {kGroup, kNone, "Your visit"},
    {kMain, kCombo, "You visit us as", kEven, true, kVisitor, 1},
    {kMain, kRadio, "How did you hear about the open day?", kEven, false, kHeard, 0, 0, true},
    {kMain, kBoxes, "What did you take part in?", kEven, true, kSessions, 0, 0, true},
    {kGroup, kNone, "Your impression"},
    {kLabel, kNone, "Please rate the open day (1 = poor, 5 = excellent)"},
    {kSub, kRadio, "Welcome", kWorstUp, true, kOneToFive},
    {kSub, kRadio, "Programme", kWorstUp, true, kOneToFive},
    {kMain, kRadio, "Will you come again?", kBestDown, true, kAgain},
    {kMain, kText, "What did you miss?", kCriticism, false, {}, 50, 4},
};

constexpr std::string_view kTopics[] = {
    "The part on delegation",
    "The exercises in pairs; I'd never practised that before.",
    "Risk analysis",
    "The checklists",
    "Pivot tables",
    "The case from our own industry",
    "How to prepare a talk in ten minutes",
    "Everything on the second day",
    "Feedback from the others after the role play",
    "The comparison of methods on the last afternoon",
};
constexpr std::string_view kPraises[] = {
    "Thank you, I learned a lot.",        "Very lively, the day went by fast.",
    "Clear, friendly, well prepared.",    "It's rare that somebody answers questions so patiently.",
    "Please offer a follow-up course.",   "The best course I've been to in years!",
    "Good examples from practice.",       "Merci beaucoup, c'était très intéressant.",
    "Vielen Dank für die guten Übungen.", "I'll recommend the course to my team.",
};
constexpr std::string_view kCriticisms[] = {
    "Too much theory on the first morning.",
    "The history part could be shorter.",
    "More time for questions, please.",
    "The room was too warm.",
    "I missed examples from small companies.",
    "Handouts should be sent before the course.",
    "The breaks were too short.",
    "Half of the group were beginners, the other half weren't.",
    "Parking is a problem.",
    "A bit more on budgets would have helped: we spent < 1 hour on them.",
};
constexpr std::string_view kPlans[] = {
    "Plan the week on Friday afternoon.",
    "Rehearse in front of a colleague.",
    "Clear my inbox twice a day, not all day.",
    "Delete old lists with personal data.",
    "Start a talk with the conclusion.",
    "Lock my screen. Really.",
    "Say no to one meeting a week.",
    "Fewer slides, bigger type.",
};
constexpr std::string_view kRemarks[] = {
    "My e-mail address is missing. I'd rather not give it, thank you.",
    "We have moved: the new street is Harbour View 12.",
    "My name is spelt with an accent.",
    "Please take my old mobile number out.",
    "The company's fax has been switched off since spring.",
    "The postcode is that of our old office.",
};

constexpr SurvaText kSurvaEvaluation{"Training evaluation", true, true, true, kEvaluation};
constexpr SurvaText kSurvaShort{"Short workshop feedback", true, false, true, kShortFeedback};
constexpr SurvaText kSurvaOpenDay{"Open day: visitors' opinions", false, false, true, kOpenDay};

}  // namespace

const SurvaText& Evaluation() {
  return kSurvaEvaluation;
}

const SurvaText& ShortFeedback() {
  return kSurvaShort;
}

const SurvaText& OpenDay() {
  return kSurvaOpenDay;
}

std::span<const std::string_view> Phrases(Habit habit) {
  switch (habit) {
    case kTopic:
      return kTopics;
    case kPraise:
      return kPraises;
    case kCriticism:
      return kCriticisms;
    case kPlan:
      return kPlans;
    default:
      return {};
  }
}

std::span<const std::string_view> Remarks() {
  return kRemarks;
}

}  // namespace surva::demo
