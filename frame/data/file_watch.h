// FileWatch: sees that somebody has written into a SQLite file behind SQLite's back, or has cut its log of changes off,
// while connections have it open. SQLite itself does not look, and would go on into a file that is no database any
// more.
#pragma once

#include <sqlite3.h>

#include <array>
#include <cstdint>
#include <mutex>
#include <optional>

namespace surva::data {

class FileWatch {
 public:
  enum class Sight { kSound, kLogCut, kOverwritten };

  // Looks at the files that a connection has open; on the thread that uses it, from any connection.
  Sight Look(sqlite3* connection);
  // The next look is the first one.
  void Forget();

 private:
  // How far the log has been written and taken over into the file, as its index tells.
  struct Progress {
    std::uint32_t frames = 0;
    std::uint32_t page_bytes = 0;
    std::array<std::uint32_t, 2> salt{};  // another one whenever the log begins anew
    std::uint32_t taken_over = 0;
    std::uint32_t to_be_taken_over = 0;
    bool operator==(const Progress&) const = default;
  };
  // What changes in a database file with whatever is put into it.
  struct Face {
    sqlite3_int64 bytes = 0;
    std::array<char, 100> head{};
    bool operator==(const Face&) const = default;
  };
  struct Seen {
    Progress progress;
    Face face;
  };

  static std::optional<Progress> ProgressNow(sqlite3_file* file);

  std::mutex mutex_;
  std::optional<Seen> seen_;
};

}  // namespace surva::data
