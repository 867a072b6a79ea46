// Session: one bag of values per visitor, names without regard to letter case.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frame/values/value.h"

namespace surva {

class Session {
 public:
  // The value of a key; null for a key never set. The reference holds until the next Set.
  const Value& operator[](std::string_view key) const;
  void Set(std::string_view key, Value value);
  // A value of the host's own (DSN, homepage): the pages read it, the host gives it anew and never stores it.
  void Provide(std::string_view key, Value value);

  // Idle minutes after which the visit ends.
  int timeout() const { return timeout_; }
  void set_timeout(int minutes);

  // Whether anything was set since the last MarkSaved.
  bool changed() const { return changed_; }
  void MarkSaved() { changed_ = false; }
  // Whether the session says no more than an empty one: every key is null, empty or the number 0.
  bool IsBlank() const;

  // The stored form of the keys that pages set, and back. Restore gives nothing for a text that is none of ours.
  std::string Store() const;
  static std::optional<Session> Restore(std::string_view stored);

 private:
  struct Entry {
    std::string key;
    Value value;
    bool provided = false;
  };
  Entry* Find(std::string_view key);

  std::vector<Entry> entries_;
  int timeout_ = 0;
  bool changed_ = false;
};

}  // namespace surva
