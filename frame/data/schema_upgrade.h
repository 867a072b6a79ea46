// Schema upgrade: brings a database to the version that this program works on.
#pragma once

#include <exception>
#include <string>

#include "frame/data/schema.h"

namespace surva::data {

class Engine;

// In one transaction: makes all tables in an empty database; takes an older one step by step to kSchemaVersion, then
// makes what the description in schema.cc has beyond it (tables, columns, indexes); leaves a current one alone. Throws
// SchemaError for a database of a later version or of other tables.
void BringUpToDate(Engine& engine);

// In one transaction: makes what a database of the present version lacks all the same, because somebody has dropped it.
void MakeWhatIsMissing(Engine& engine);

// A database that this program cannot work on; the message says what to do.
class SchemaError : public std::exception {
 public:
  explicit SchemaError(std::string message) : message_(std::move(message)) {}
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  std::string message_;
};

}  // namespace surva::data
