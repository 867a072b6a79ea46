#include "desk/table_file.h"

#include <unistd.h>
#include <xlsxwriter.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <utility>
#include <vector>

#include "frame/values/text.h"

namespace surva::desk {
namespace {

constexpr std::size_t kPiece = 32 * 1024;
constexpr std::size_t kCellText = 32767;  // what a workbook's cell holds, in units of UTF-16

// What would spoil the workbook's XML or be read as an escape in it (ECMA-376, 22.9.2.19): two signs that XML does not
// know, and "_x0041_".
void MakePlain(std::string& text) {
  for (std::size_t at = 0; (at = text.find("\xef\xbf", at)) != std::string::npos; at += 2) {
    if (at + 2 < text.size() && (text[at + 2] == '\xbe' || text[at + 2] == '\xbf')) text[at + 2] = '\xbd';
  }
  constexpr std::size_t kEscape = 7;
  for (std::size_t at = 0; (at = text.find("_x", at)) != std::string::npos; ++at) {
    const std::string digits = text.substr(at, kEscape).erase(0, 2);
    if (digits.size() == 5 && digits[4] == '_' && digits.find_first_not_of("0123456789abcdefABCDEF") == 4) {
      text.insert(at, "_x005F");
      at += kEscape;
    }
  }
}

// As much of a text as a cell holds; a text that was cut says so.
std::string CellText(std::string text) {
  MakePlain(text);
  constexpr std::string_view kCut = " [cut: a cell holds no more]";
  const auto units = [](unsigned char byte) -> std::size_t { return (byte & 0xC0) == 0x80 ? 0 : byte >= 0xF0 ? 2 : 1; };
  std::size_t length = 0, end = 0;  // of the text, and of what stands before the mark
  for (std::size_t i = 0; i < text.size(); ++i) {
    length += units(static_cast<unsigned char>(text[i]));
    if (length <= kCellText - kCut.size()) end = i + 1;
  }
  return length <= kCellText ? std::move(text) : text.substr(0, end).append(kCut);
}

class Csv final : public TableFile {
 public:
  Csv(bool utf8, char separator, Sink sink) : utf8_(utf8), separator_(separator), sink_(std::move(sink)) {
    if (utf8_) bytes_ = "\xef\xbb\xbf";
  }

  void Row(std::span<const Value> cells) override {
    for (const Value& cell : cells) {
      if (&cell != cells.data()) bytes_ += separator_;
      const Field field = cell.view();
      if (const auto* text = std::get_if<std::string_view>(&field.content())) {
        AppendText(*text);
      } else if (const auto* date = std::get_if<DateTime>(&field.content())) {
        bytes_ += IsoText(*date);
      } else {
        field.AppendTo(bytes_);
      }
    }
    bytes_ += "\r\n";
    if (bytes_.size() >= kPiece) Send();
  }

  void Finish() override { Send(); }

 private:
  void AppendText(std::string_view stored) {
    std::string text = Harmless(WithLetters(stored));
    if (!utf8_) text = ToWindows1252(text);
    const bool quoted =
        text.find_first_of("\",;\t\r\n") != std::string::npos || text.starts_with(' ') || text.ends_with(' ');
    if (!quoted) {
      bytes_ += text;
      return;
    }
    bytes_ += '"';
    for (const char c : text) {
      if (c == '"') bytes_ += '"';
      bytes_ += c;
    }
    bytes_ += '"';
  }

  // Whoever opens the file with another separator begins cells within texts: there too a formula gets its apostrophe.
  static std::string Harmless(std::string text) {
    if (LooksLikeFormula(text)) text.insert(0, 1, '\'');
    bool begins = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
      const char c = text[at];
      constexpr std::string_view kSeparators = ",;|\t\r\n";
      const bool separates = kSeparators.find(c) != std::string_view::npos;
      if (begins && !separates && LooksLikeFormula(std::string_view(text).substr(at))) text.insert(at++, 1, '\'');
      begins = separates || (begins && c == '"');
    }
    return text;
  }

  void Send() {
    if (!bytes_.empty() && !sink_(bytes_)) throw NobodyReads();
    bytes_.clear();
  }

  const bool utf8_;
  const char separator_;
  const Sink sink_;
  std::string bytes_;
};

// A file that goes when this does.
class TemporaryFile {
 public:
  TemporaryFile() : path_((std::filesystem::temp_directory_path() / "surva-export-XXXXXX").string()) {
    const int descriptor = mkstemp(path_.data());
    if (descriptor < 0) throw std::runtime_error("no temporary file can be made in " + path_);
    close(descriptor);
  }
  ~TemporaryFile() { std::remove(path_.c_str()); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

class Workbook final : public TableFile {
 public:
  explicit Workbook(Sink sink) : sink_(std::move(sink)) {
    lxw_workbook_options options{};
    options.constant_memory = LXW_TRUE;
    workbook_ = workbook_new_opt(file_.path().c_str(), &options);
    if (workbook_ == nullptr) throw std::runtime_error("no workbook can be made");
    date_format_ = workbook_add_format(workbook_);
    format_set_num_format(date_format_, "yyyy-mm-dd hh:mm");
    sheet_ = workbook_add_worksheet(workbook_, nullptr);
  }
  ~Workbook() override {
    if (workbook_ != nullptr) lxw_workbook_free(workbook_);
  }

  void Row(std::span<const Value> cells) override {
    if (row_ == LXW_ROW_MAX) {
      sheet_ = workbook_add_worksheet(workbook_, nullptr);
      row_ = 0;
      WriteCells(headings_);
    }
    if (headings_.empty()) headings_.assign(cells.begin(), cells.end());
    WriteCells(cells);
    // A writer that has gone is found out by a piece of nothing.
    if (row_ % 1000 == 0 && !sink_({})) throw NobodyReads();
  }

  void Finish() override {
    const lxw_error error = workbook_close(std::exchange(workbook_, nullptr));
    if (error != LXW_NO_ERROR) throw std::runtime_error(std::string("the workbook: ") + lxw_strerror(error));
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> made(std::fopen(file_.path().c_str(), "rb"), std::fclose);
    if (made == nullptr) throw std::runtime_error("the workbook cannot be read");
    std::array<char, kPiece> piece{};
    while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), made.get())) {
      if (!sink_({piece.data(), count})) throw NobodyReads();
    }
    if (std::ferror(made.get()) != 0) throw std::runtime_error("the workbook cannot be read");
  }

 private:
  void WriteCells(std::span<const Value> cells) {
    lxw_col_t column = 0;
    for (const Value& cell : cells) Write(column++, cell.view());
    ++row_;
  }
  void Write(lxw_col_t column, const Field& field) {
    lxw_error error = LXW_NO_ERROR;
    if (const auto* whole = std::get_if<std::int64_t>(&field.content())) {
      error = worksheet_write_number(sheet_, row_, column, static_cast<double>(*whole), nullptr);
    } else if (const auto* real = std::get_if<double>(&field.content())) {
      error = worksheet_write_number(sheet_, row_, column, *real, nullptr);
    } else if (const auto* date = std::get_if<DateTime>(&field.content())) {
      lxw_datetime at{date->year, date->month, date->day, date->hour, date->minute, static_cast<double>(date->second)};
      error = worksheet_write_datetime(sheet_, row_, column, &at, date_format_);
      if (error == LXW_ERROR_PARAMETER_VALIDATION) {  // before 1900
        error = worksheet_write_string(sheet_, row_, column, IsoText(*date).c_str(), nullptr);
      }
    } else if (const auto* stored = std::get_if<std::string_view>(&field.content());
               stored != nullptr && !stored->empty()) {
      error = worksheet_write_string(sheet_, row_, column, CellText(WithLetters(*stored)).c_str(), nullptr);
    }
    if (error != LXW_NO_ERROR) throw std::runtime_error(std::string("the workbook: ") + lxw_strerror(error));
  }

  const Sink sink_;
  const TemporaryFile file_;
  std::vector<Value> headings_;  // each sheet has them
  lxw_workbook* workbook_ = nullptr;
  lxw_worksheet* sheet_ = nullptr;
  lxw_format* date_format_ = nullptr;
  lxw_row_t row_ = 0;
};

}  // namespace

std::unique_ptr<TableFile> TableFile::Make(TableFormat format, char separator, Sink sink) {
  if (format == TableFormat::kXlsx) return std::make_unique<Workbook>(std::move(sink));
  return std::make_unique<Csv>(format == TableFormat::kCsv, separator, std::move(sink));
}

TableFormat ReadTableFormat(std::string_view word) {
  if (word == "xlsx") return TableFormat::kXlsx;
  return word == "csv1252" ? TableFormat::kCsvWindows1252 : TableFormat::kCsv;
}

std::string_view ContentType(TableFormat format) {
  switch (format) {
    case TableFormat::kXlsx:
      return "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet";
    case TableFormat::kCsvWindows1252:
      return "text/csv; charset=windows-1252";
    case TableFormat::kCsv:
      break;
  }
  return "text/csv; charset=utf-8";
}

std::string_view Extension(TableFormat format) {
  return format == TableFormat::kXlsx ? "xlsx" : "csv";
}

bool LooksLikeFormula(std::string_view text) {
  constexpr std::string_view kStarts[] = {"=", "+", "-", "@", "\t", "\r", "\n",
                                          // The wide forms of the first four.
                                          "\uff1d", "\uff0b", "\uff0d", "\uff20"};
  for (const std::string_view start : kStarts) {
    if (text.starts_with(start)) return true;
  }
  return false;
}

}  // namespace surva::desk
