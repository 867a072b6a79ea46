#include "frame/values/value.h"

#include <cmath>

#include "frame/values/fault.h"
#include "frame/values/numbers.h"

namespace surva {
namespace {

template <class... Cases>
struct Overloaded : Cases... {
  using Cases::operator()...;
};
template <class... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

}  // namespace

bool Field::IsEmpty() const {
  if (const auto* text = std::get_if<std::string_view>(&content_)) return text->empty();
  return IsNull();
}

bool Field::IsTrue() const {
  return !Is(0);
}

bool Field::Is(std::int64_t number) const {
  return std::visit(Overloaded{
                        [&](std::monostate) { return number == 0; },
                        [&](std::int64_t own) { return own == number; },
                        [&](double own) { return own == static_cast<double>(number); },
                        [&](std::string_view text) {
                          if (text.empty()) return number == 0;
                          const std::optional<double> own = ReadNumeric(text);
                          if (!own) throw Fault::TypeMismatch();
                          return *own == static_cast<double>(number);
                        },
                        [](const DateTime&) { return false; },
                    },
                    content_);
}

void Field::AppendTo(std::string& out) const {
  std::visit(Overloaded{
                 [](std::monostate) {},
                 [&](std::int64_t number) { AppendNumber(out, number); },
                 [&](double number) { AppendNumber(out, number); },
                 [&](std::string_view text) { out.append(text); },
                 [&](const DateTime& at) { out.append(PageText(at)); },
             },
             content_);
}

std::string Field::Text() const {
  std::string text;
  AppendTo(text);
  return text;
}

std::int64_t Field::Integer() const {
  return std::visit(Overloaded{
                        [](std::monostate) { return std::int64_t{0}; },
                        [](std::int64_t number) { return number; },
                        [](double number) { return static_cast<std::int64_t>(std::llrint(number)); },
                        [](std::string_view text) { return std::int64_t{ToInt32(text)}; },
                        [](const DateTime&) -> std::int64_t { throw Fault::TypeMismatch(); },
                    },
                    content_);
}

DateTime Field::Date() const {
  const auto* at = std::get_if<DateTime>(&content_);
  if (at == nullptr) throw Fault::TypeMismatch();
  return *at;
}

Value::Value(const Field& field) {
  std::visit(Overloaded{
                 [](std::monostate) {},
                 [this](std::string_view text) { content_ = std::string(text); },
                 [this](const auto& other) { content_ = other; },
             },
             field.content());
}

Field Value::view() const {
  return std::visit(Overloaded{
                        [](std::monostate) { return Field(); },
                        [](const std::string& text) { return Field(std::string_view(text)); },
                        [](const auto& other) { return Field(other); },
                    },
                    content_);
}

}  // namespace surva
