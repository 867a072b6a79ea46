#include "frame/data/tally.h"

#include <sqlite3.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace surva::data {
namespace {

constexpr std::int64_t kNull = std::numeric_limits<std::int64_t>::min();

class Tally {
 public:
  void Count(std::int64_t a, std::int64_t b, std::int64_t c) {
    Slot* slot = &Find(a, b, c);
    if (slot->times == 0) {
      if (++used_ * 2 > slots_.size()) {
        Grow();
        slot = &Find(a, b, c);
      }
      *slot = {a, b, c, 0};
    }
    ++slot->times;
  }

  std::string Json() const {
    std::string json = "[";
    for (const Slot& slot : slots_) {
      if (slot.times == 0) continue;
      json += json.size() > 1 ? ",[" : "[";
      json += std::to_string(slot.a) + "," + std::to_string(slot.b) + ",";
      json += (slot.c == kNull ? "null" : std::to_string(slot.c)) + "," + std::to_string(slot.times) + "]";
    }
    return json + "]";
  }

 private:
  struct Slot {
    std::int64_t a = 0, b = 0, c = 0;
    std::int64_t times = 0;  // 0: free
  };

  Slot& Find(std::int64_t a, std::int64_t b, std::int64_t c) {
    auto hash = static_cast<std::uint64_t>(a) * 0x9E3779B97F4A7C15U;
    hash = (hash ^ static_cast<std::uint64_t>(b)) * 0xC2B2AE3D27D4EB4FU;
    hash = (hash ^ static_cast<std::uint64_t>(c)) * 0x165667B19E3779F9U;
    for (std::size_t at = hash >> 32U;; ++at) {
      Slot& slot = slots_[at & (slots_.size() - 1)];
      if (slot.times == 0 || (slot.a == a && slot.b == b && slot.c == c)) return slot;
    }
  }
  void Grow() {
    std::vector<Slot> old(4 * slots_.size());
    old.swap(slots_);
    for (const Slot& slot : old) {
      if (slot.times != 0) Find(slot.a, slot.b, slot.c) = slot;
    }
  }

  std::vector<Slot> slots_ = std::vector<Slot>(1024);  // open addressing; a power of two
  std::size_t used_ = 0;
};

// SQLite keeps a pointer's room for each group, in zeroes at first.
void Step(sqlite3_context* context, int, sqlite3_value** values) {
  auto** const tally = static_cast<Tally**>(sqlite3_aggregate_context(context, sizeof(void*)));
  if (tally == nullptr) return sqlite3_result_error_nomem(context);
  try {
    if (*tally == nullptr) *tally = new Tally;
    const bool null = sqlite3_value_type(values[2]) == SQLITE_NULL;
    (*tally)->Count(sqlite3_value_int64(values[0]), sqlite3_value_int64(values[1]),
                    null ? kNull : sqlite3_value_int64(values[2]));
  } catch (const std::bad_alloc&) {
    sqlite3_result_error_nomem(context);
  }
}

void Final(sqlite3_context* context) {
  auto** const kept = static_cast<Tally**>(sqlite3_aggregate_context(context, 0));
  const std::unique_ptr<Tally> tally(kept == nullptr ? nullptr : *kept);
  try {
    const std::string json = tally ? tally->Json() : "[]";
    sqlite3_result_text64(context, json.data(), json.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  } catch (const std::bad_alloc&) {
    sqlite3_result_error_nomem(context);
  }
}

}  // namespace

int AddTally(sqlite3* database) {
  return sqlite3_create_function_v2(database, "tally", 3, SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS,
                                    nullptr, nullptr, Step, Final, nullptr);
}

}  // namespace surva::data
