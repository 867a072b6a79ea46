// What the owner of an installation settles for the pages of our own.
#pragma once

#include <cstddef>
#include <string>

namespace surva::desk {

struct Settings {
  // The site as strangers reach it, without a slash at its end; empty: as the request names it.
  std::string public_address;
  // What respondents are told of who reads their answers.
  std::string readers;
  // An analyst sees no average of fewer answers of named forms.
  std::size_t least_answers = 5;
};

}  // namespace surva::desk
