// Fault: what ends the work of a page. The error block shows its number, source and description.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <utility>

namespace surva {

// The numbers are those that the platform's automation and data interfaces give for the same failures, as signed
// 32-bit integers; pages print them in decimal.
enum class FaultNumber : std::int32_t {
  kInvalidArgument = 5,
  kOverflow = 6,
  kTypeMismatch = -2147352571,      // 0x80020005
  kOutOfRange = -2147352566,        // 0x8002000A
  kNoCurrentRow = -2146825267,      // 0x800A0BCD
  kNoSuchColumn = -2146825023,      // 0x800A0CC1
  kStatementFailed = -2147217900,   // 0x80040E14
  kValueRefused = -2147217887,      // 0x80040E21
  kConnectionFailed = -2147467259,  // 0x80004005
  kCommitInDoubt = -2147168234,     // 0x8004D016; no page's: the host commits
};

// A run-time failure below WebClass_Start. It ends the request's page and nothing else.
// The description goes onto the page as it is, so it never holds a visitor's text; `detail` (the engine's own
// words, for instance) goes to the error log only.
class Fault : public std::exception {
 public:
  Fault(FaultNumber number, std::string_view source, std::string_view description, std::string detail = {})
      : number_(number), source_(source), description_(description), detail_(std::move(detail)) {}

  static Fault TypeMismatch() { return {FaultNumber::kTypeMismatch, "surva", "Type mismatch."}; }
  static Fault InvalidArgument() {
    return {FaultNumber::kInvalidArgument, "surva", "Invalid procedure call or argument"};
  }
  static Fault Overflow() { return {FaultNumber::kOverflow, "surva", "Overflow"}; }
  static Fault OutOfRange() { return {FaultNumber::kOutOfRange, "surva", "Out of present range."}; }
  static Fault NoCurrentRow() {
    return {FaultNumber::kNoCurrentRow, "surva database",
            "Either BOF or EOF is True, or the current record has been deleted. "
            "Requested operation requires a current record."};
  }
  static Fault Busy(std::string detail) {
    return {FaultNumber::kConnectionFailed, "surva database", kBusy, std::move(detail)};
  }
  static Fault StatementFailed(std::string detail) {
    return {FaultNumber::kStatementFailed, "surva database", "Syntax error in query expression.", std::move(detail)};
  }

  // Whether somebody else was in the way, and the database is well.
  bool IsBusy() const { return description_ == kBusy; }
  FaultNumber number() const { return number_; }
  const std::string& source() const { return source_; }
  const std::string& description() const { return description_; }
  const std::string& detail() const { return detail_; }
  const char* what() const noexcept override { return detail_.empty() ? description_.c_str() : detail_.c_str(); }

 private:
  static constexpr std::string_view kBusy = "The database is busy. Try again.";

  FaultNumber number_;
  std::string source_;
  std::string description_;
  std::string detail_;
};

}  // namespace surva
