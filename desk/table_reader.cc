#include "desk/table_reader.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "frame/values/ascii.h"
#include "frame/values/text.h"

namespace surva::desk {
namespace {

void AppendUtf8(std::string& text, std::uint32_t code) {
  if (code < 0x80) {
    text += static_cast<char>(code);
  } else if (code < 0x800) {
    text += {static_cast<char>(0xC0 | code >> 6), static_cast<char>(0x80 | (code & 0x3F))};
  } else if (code < 0x10000) {
    text += {static_cast<char>(0xE0 | code >> 12), static_cast<char>(0x80 | (code >> 6 & 0x3F)),
             static_cast<char>(0x80 | (code & 0x3F))};
  } else {
    text += {static_cast<char>(0xF0 | code >> 18), static_cast<char>(0x80 | (code >> 12 & 0x3F)),
             static_cast<char>(0x80 | (code >> 6 & 0x3F)), static_cast<char>(0x80 | (code & 0x3F))};
  }
}

std::string FromUtf16(std::string_view bytes, bool little) {
  const auto unit = [&](std::size_t at) -> std::uint32_t {
    const auto first = static_cast<unsigned char>(bytes[at]);
    const auto second = static_cast<unsigned char>(bytes[at + 1]);
    return little ? first | second << 8 : second | first << 8;
  };
  const auto is_low = [&](std::size_t at) { return at + 1 < bytes.size() && (unit(at) & 0xFC00) == 0xDC00; };
  std::string text;
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    std::uint32_t code = unit(at);
    if ((code & 0xFC00) == 0xD800 && is_low(at + 2)) {
      code = 0x10000 + ((code & 0x3FF) << 10) + (unit(at + 2) & 0x3FF);
      at += 2;
    } else if ((code & 0xF800) == 0xD800) {
      code = 0xFFFD;
    }
    AppendUtf8(text, code);
  }
  return text;
}

char SeparatorOf(std::string_view text) {
  constexpr std::string_view kSeparators = ",;\t|";
  std::array<std::size_t, kSeparators.size()> counts{};
  bool quoted = false;
  for (const char c : text) {
    if (c == '"') quoted = !quoted;
    if (quoted) continue;
    const std::size_t found = kSeparators.find(c);
    if (found != std::string_view::npos) ++counts[found];
    if ((c == '\n' || c == '\r') && *std::ranges::max_element(counts) > 0) break;
  }
  return kSeparators[static_cast<std::size_t>(std::ranges::max_element(counts) - counts.begin())];
}

// Spreadsheets leave hard blanks too.
std::string CellOf(std::string_view text) {
  constexpr std::string_view kHardBlank = "\u00a0";
  for (std::size_t before = text.size() + 1; text.size() < before;) {
    before = text.size();
    text = Trimmed(text, " \t\r\n");
    if (text.starts_with(kHardBlank)) text.remove_prefix(kHardBlank.size());
    if (text.ends_with(kHardBlank)) text.remove_suffix(kHardBlank.size());
  }
  return std::string(text);
}

class Reader {
 public:
  Reader(std::string_view text, BroughtTable& table) : text_(text), separator_(SeparatorOf(text)), table_(table) {
    // So spreadsheets say what separates.
    constexpr std::string_view kSays = "sep=";
    const std::size_t end = kSays.size() + 1;
    if (!text.starts_with(kSays) || text.size() <= end || (text[end] != '\r' && text[end] != '\n')) return;
    separator_ = text[end - 1];
    at_ = end;
    Next('\r');
    Next('\n');
    ++number_;
  }

  void Read() {
    while (at_ < text_.size() && table_.problem.empty()) ReadLine();
  }

 private:
  void ReadLine() {
    BroughtTable::Line line{.number = number_};
    bool filled = false;
    do {
      line.cells.push_back(ReadCell(line.number));
      filled = filled || !line.cells.back().empty();
      if (line.cells.size() > kMostCells) {
        return Refuse(line.number, "has more than " + std::to_string(kMostCells) + " columns");
      }
    } while (Next(separator_));
    Next('\r');
    Next('\n');
    ++number_;
    if (!table_.problem.empty() || !filled) return;
    if (table_.lines.size() == kMostLines + 1) return Refuse(line.number, "is one too many; bring 20,000 at a time");
    table_.lines.push_back(std::move(line));
  }

  std::string ReadCell(std::size_t first_line) {
    std::string cell;
    if (Next('"')) {
      for (;;) {
        if (at_ == text_.size()) {
          Refuse(first_line, "opens a quote that nothing closes");
          return cell;
        }
        const char c = text_[at_++];
        if (c == '"' && !Next('"')) break;
        if (c == '\n') ++number_;
        cell += c;
      }
    }
    // What stands behind a closing quote belongs to the cell, as spreadsheets have it.
    while (at_ < text_.size() && text_[at_] != separator_ && text_[at_] != '\n' && text_[at_] != '\r')
      cell += text_[at_++];
    return CellOf(cell);
  }

  bool Next(char c) {
    if (at_ == text_.size() || text_[at_] != c) return false;
    ++at_;
    return true;
  }

  void Refuse(std::size_t line, const std::string& why) {
    table_.problem = "Line " + std::to_string(line) + " " + why + ".";
  }

  const std::string_view text_;
  char separator_;
  BroughtTable& table_;
  std::size_t at_ = 0;
  std::size_t number_ = 1;
};

}  // namespace

std::string TextOfFile(std::string_view bytes, std::string& problem, bool& guessed) {
  guessed = false;
  if (bytes.starts_with("\xff\xfe")) return FromUtf16(bytes.substr(2), true);
  if (bytes.starts_with("\xfe\xff")) return FromUtf16(bytes.substr(2), false);
  if (bytes.starts_with("\xef\xbb\xbf")) bytes.remove_prefix(3);
  if (bytes.starts_with("PK\x03\x04") || bytes.starts_with("\xd0\xcf\x11\xe0")) {
    problem = "This is a workbook. Save it as CSV and bring that, or copy its cells and paste them.";
  } else if (bytes.find('\0') != std::string_view::npos) {
    problem = "This is no text.";
  }
  if (!problem.empty()) return {};
  guessed = !IsUtf8(bytes);
  return guessed ? FromWindows1252(bytes) : std::string(bytes);
}

BroughtTable ReadTable(std::string_view text) {
  BroughtTable table;
  Reader(text, table).Read();
  if (table.problem.empty() && table.lines.empty()) table.problem = "There is no line in it.";
  return table;
}

}  // namespace surva::desk
