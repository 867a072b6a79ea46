#include "frame/session.h"

#include <charconv>

#include "frame/values/text.h"

namespace surva {
namespace {

// A stored session is a row of fields, each its length, a colon and its bytes: the timeout, then by turns a key and a
// value. A value is a letter for its kind and its text.
void AppendField(std::string& out, std::string_view bytes) {
  out += std::to_string(bytes.size());
  out += ':';
  out += bytes;
}

bool TakeField(std::string_view& stored, std::string_view& bytes) {
  std::size_t length = 0;
  const auto [end, error] = std::from_chars(stored.data(), stored.data() + stored.size(), length);
  if (error != std::errc()) return false;
  stored.remove_prefix(static_cast<std::size_t>(end - stored.data()));
  if (stored.empty() || stored.front() != ':' || stored.size() - 1 < length) return false;
  bytes = stored.substr(1, length);
  stored.remove_prefix(1 + length);
  return true;
}

std::string StoreValue(const Field& value) {
  struct Letter {
    char operator()(std::monostate) const { return 'n'; }
    char operator()(std::int64_t) const { return 'i'; }
    char operator()(double) const { return 'r'; }
    char operator()(std::string_view) const { return 't'; }
    char operator()(const DateTime&) const { return 'd'; }
  };
  const char letter = std::visit(Letter{}, value.content());
  return letter + (letter == 'd' ? IsoText(value.Date()) : value.Text());
}

template <class Number>
std::optional<Value> ReadNumber(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return {};
  return Value(number);
}

std::optional<Value> RestoreValue(std::string_view stored) {
  if (stored.empty()) return {};
  const std::string_view text = stored.substr(1);
  switch (stored.front()) {
    case 'n':
      return Value();
    case 'i':
      return ReadNumber<std::int64_t>(text);
    case 'r':
      return ReadNumber<double>(text);
    case 't':
      return Value(text);
    case 'd':
      if (const auto at = ReadIso(text)) return Value(*at);
      return {};
    default:
      return {};
  }
}

}  // namespace

Session::Entry* Session::Find(std::string_view key) {
  for (Entry& entry : entries_) {
    if (EqualNames(entry.key, key)) return &entry;
  }
  return nullptr;
}

const Value& Session::operator[](std::string_view key) const {
  static const Value kNone;
  for (const Entry& entry : entries_) {
    if (EqualNames(entry.key, key)) return entry.value;
  }
  return kNone;
}

void Session::Set(std::string_view key, Value value) {
  Entry* entry = Find(key);
  if (entry == nullptr) entry = &entries_.emplace_back(Entry{std::string(key), {}, false});
  if (entry->value == value) return;
  entry->value = std::move(value);
  if (!entry->provided) changed_ = true;
}

void Session::Provide(std::string_view key, Value value) {
  Entry* entry = Find(key);
  if (entry == nullptr) entry = &entries_.emplace_back(Entry{std::string(key), {}, true});
  entry->value = std::move(value);
  entry->provided = true;
}

void Session::set_timeout(int minutes) {
  if (timeout_ == minutes) return;
  timeout_ = minutes;
  changed_ = true;
}

bool Session::IsBlank() const {
  for (const Entry& entry : entries_) {
    if (entry.provided || entry.value.IsEmpty()) continue;
    const auto field = entry.value.view();
    const auto* number = std::get_if<std::int64_t>(&field.content());
    if (number == nullptr || *number != 0) return false;
  }
  return true;
}

std::string Session::Store() const {
  std::string stored;
  AppendField(stored, std::to_string(timeout_));
  for (const Entry& entry : entries_) {
    if (entry.provided) continue;
    AppendField(stored, entry.key);
    AppendField(stored, StoreValue(entry.value.view()));
  }
  return stored;
}

std::optional<Session> Session::Restore(std::string_view stored) {
  Session session;
  std::string_view field;
  if (!TakeField(stored, field)) return {};
  const auto timeout = ReadNumber<std::int64_t>(field);
  if (!timeout) return {};
  session.timeout_ = static_cast<int>(timeout->view().Integer());
  while (!stored.empty()) {
    std::string_view key;
    if (!TakeField(stored, key) || !TakeField(stored, field)) return {};
    std::optional<Value> value = RestoreValue(field);
    if (!value) return {};
    session.entries_.push_back({std::string(key), std::move(*value), false});
  }
  return session;
}

}  // namespace surva
