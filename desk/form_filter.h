// Which events and whose participations are meant: the criteria of a request (event, from, to, trainer, training,
// version, place, company, student), all of them open to be left out.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "desk/desk_page.h"

namespace surva::desk {

class FormFilter {
 public:
  explicit FormFilter(const Request& request);
  // False if a criterion is filled with what it cannot be.
  bool valid() const { return valid_; }

  // Adds " and ..." on the columns of Schedule.
  void AddEventFilter(std::vector<data::Piece>& statement) const;
  // Adds " and ..." on the columns of Participant.
  void AddPersonFilter(std::vector<data::Piece>& statement) const;

  const std::optional<std::int64_t>& version() const { return version_; }
  const std::optional<DateTime>& from() const { return from_; }
  const std::optional<DateTime>& to() const { return to_; }

 private:
  std::optional<std::int64_t> event_, trainer_, training_, version_, company_, student_;
  std::optional<DateTime> from_, to_;
  std::string place_;
  bool valid_ = true;
};

}  // namespace surva::desk
