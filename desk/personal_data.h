// What is held of a person, and its end: erased, or without a name, so that the figures stay.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "frame/data/connection.h"
#include "frame/values/date_time.h"

namespace surva::desk {

enum class Texts { kKeep, kErase };  // what a person wrote in answers, which may tell who he is

// All of a person, as JSON.
std::string PersonalDataAsJson(data::Connection& connection, std::int64_t student);

// What the history keeps of the person: when it changed, how, in which table, and the row before. The newest first.
data::Rows HistoryOf(data::Connection& connection, std::int64_t student);
// Forms that somebody has begun with a PIN of the person's and may go on with.
std::int64_t CountVisits(data::Connection& connection, std::int64_t student);

// Lets the visit of a PIN begin, if the PIN still is the student's: whoever erases him meanwhile waits for the commit,
// and finds the visit.
bool HoldLogon(data::Connection& connection, std::string_view pin, const Value& student);

// The person, his enrolments, answers, remarks, mails, visits, and what the history knows of them. The figures of his
// events lose his answers.
void EraseStudent(data::Connection& connection, std::int64_t student);

// Name, addresses, remarks, mails and history go; enrolments and chosen answers stay, of somebody whose name nobody
// knows, in the same company.
void AnonymiseStudent(data::Connection& connection, std::int64_t student, Texts texts);

// Everyone whose last event ended before a day, and the visitors' addresses of anonymous forms of before. Commits a few
// hundred at a time; stopped, it is begun again.
struct Anonymised {
  std::int64_t students = 0;
  std::int64_t addresses = 0;
};
// How many they would be.
Anonymised CountBefore(data::Database& database, const DateTime& day);
Anonymised AnonymiseBefore(data::Database& database, const DateTime& day, Texts texts);

}  // namespace surva::desk
