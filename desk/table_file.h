// A table that goes out row by row: CSV as RFC 4180 has it, or an XLSX workbook. A text stays a text in a spreadsheet,
// whatever it begins with.
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "frame/values/value.h"

namespace surva::desk {

enum class TableFormat { kCsv, kCsvWindows1252, kXlsx };

class TableFile {
 public:
  // Takes bytes as they are made; false if nobody wants them any more.
  using Sink = std::function<bool(std::string_view bytes)>;
  // Thrown by Row and Finish when the sink has given up.
  struct NobodyReads {};

  virtual ~TableFile() = default;

  // Texts are as the database holds them.
  virtual void Row(std::span<const Value> cells) = 0;
  // Without it what came out is no complete file.
  virtual void Finish() = 0;

  // CSV comes out as it is made, a workbook when it is finished; until then it lies in a temporary file. A workbook's
  // cell holds 32,767 letters and a sheet 1,048,576 rows: a longer text is cut and says so, further rows go to further
  // sheets under the same headings, which are the first row.
  static std::unique_ptr<TableFile> Make(TableFormat format, char separator, Sink sink);
};

// The format that a request names; CSV if none.
TableFormat ReadTableFormat(std::string_view word);
std::string_view ContentType(TableFormat format);
std::string_view Extension(TableFormat format);

// A text that a spreadsheet would take for a formula gets an apostrophe in front.
bool LooksLikeFormula(std::string_view text);

}  // namespace surva::desk
