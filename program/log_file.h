// LogFile: a bounded buffer of lines that any thread fills, and that one thread writes out without ever being held up.
#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>

namespace surva::program {

class LogFile {
 public:
  static constexpr std::size_t kMostBuffered = 1024 * 1024;

  // A file's path, or "-" for the standard stream. Throws a std::system_error that names the file if it cannot be
  // opened.
  LogFile(std::string path, int standard_stream);
  ~LogFile();
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  // Takes the lines, or drops and counts them if the buffer is full. True if it is time to write.
  bool Append(std::string_view lines);
  // Lines that were dropped since this was last asked.
  std::size_t TakeDropped();

  // For the writing thread: writes what the file's reader takes at once. True if nothing is left.
  bool WriteOut();
  // Opens the path anew, for what is written from now on; throws as above, and stays with the old file then.
  void Reopen();

  // Whether the lines go to the system's journal, which reads a priority in front of each.
  bool is_journal() const { return is_journal_; }

 private:
  int Open() const;
  bool IsReady() const;
  bool TakeLines();   // true if there are any
  bool WriteTaken();  // true if all are written

  const std::string path_;
  bool is_journal_ = false;

  std::mutex mutex_;  // of these
  std::string lines_;
  std::size_t dropped_ = 0;
  int next_descriptor_ = -1;  // to be written to from the next round on

  int descriptor_;  // of the writing thread, as are these
  bool is_regular_ = false;
  std::string writing_;
  std::size_t written_ = 0;
};

}  // namespace surva::program
