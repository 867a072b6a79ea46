// Figures: what the guard has counted since the program began, for whoever watches. Any thread may count.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace surva::guard {

// For which rule a request was not let through.
enum class Rule : std::uint8_t {
  kSignIn,        // he must say who he is
  kRole,          // the page is not for his role
  kUnguarded,     // a proxy passed on a stranger's request to pages that nobody guards
  kForeign,       // another page wanted to act
  kLookFirst,     // the same by a link, which was led on without what would act
  kSignInWait,    // too many wrong passwords
  kPinWait,       // too many wrong PINs
  kPublicWrites,  // too much to store
};
inline constexpr auto kRuleNames = std::to_array<std::string_view>(
    {"sign-in", "role", "unguarded", "foreign", "look-first", "sign-in-wait", "pin-wait", "public-writes"});
static_assert(kRuleNames.size() == static_cast<std::size_t>(Rule::kPublicWrites) + 1);

struct Figures {
  using Count = std::atomic<std::uint64_t>;

  void Refused(Rule rule) { ++refusals[static_cast<std::size_t>(rule)]; }

  std::array<Count, kRuleNames.size()> refusals{};
  Count wrong_pins = 0;
  Count paced_pins = 0;  // tries that waited for each other, because so many PINs were wrong
  Count wrong_passwords = 0;
};

}  // namespace surva::guard
