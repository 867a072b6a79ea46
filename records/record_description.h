// Record description: what one record page has of its own. All that the four pages differ in is told here, their
// asymmetries included.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "frame/data/connection.h"
#include "frame/page_frame.h"

namespace surva::records {

// What a list offers.
struct Choices {
  data::Rows (*read)(data::Connection& connection);  // each row a key and a text
  std::size_t last_characters = 0;                   // the text loses its beginning where it is longer; 0 keeps it all
};

// A control of the search form. Controls stand in pairs, captions over them.
struct SearchControl {
  std::string_view caption;
  std::string_view name;
  int maxlength = 0;
  int size = 0;
  const Choices* list = nullptr;  // behind "All"
  bool alone = false;             // across both columns
};

// A criterion, kept in the session under its name, which is also its parameter's.
struct Criterion {
  enum class All : std::uint8_t { kEmpty, kEmptyOrMinusOne };
  enum class Kind : std::uint8_t { kText, kNumber };

  std::string_view name;
  data::Piece column;     // of the record's own table
  All all = All::kEmpty;  // what means that the criterion asks for nothing
  Kind kind = Kind::kText;
  bool walked = false;  // whether the list is ordered by it
};

// A column of the result list.
struct ListColumn {
  std::string_view caption;
  int width;
  bool unbroken = false;
  bool mail_link = false;
};

// A control of the add and modify forms, in pairs likewise.
struct FormControl {
  std::string_view caption;
  bool required = false;
  std::string_view name;  // of the column, too
  int size = 0;
  int maxlength = 0;
  std::string_view text_area = {};       // the measures of one
  const Choices* list = nullptr;         // or of a list
  bool alone = false;                    // across both columns
  std::string_view name_on_modify = {};  // where another control stands under the caption there
};

struct Description {
  const Menu& menu;
  const data::Table& table;
  std::string_view address;  // as the page's own forms and links spell it

  std::span<const SearchControl> search_form;
  std::span<const Criterion> criteria;  // in the order in which they are kept
  data::Piece search;                   // the key, the columns of the list, and the tables
  data::Piece first_link;               // between the search and its first criterion
  data::Piece order;                    // by the list's first column, then by key
  std::span<const ListColumn> columns;

  std::span<const FormControl> form;
  std::span<const std::string_view> written;  // columns, in the order in which they are assigned
  bool key_on_add_form;
  std::string_view add_form_end;

  data::Piece guard;  // finds what forbids to delete a record, the key behind it
  std::string_view guarded;
  std::string_view deleted;
};

extern const Description kCompany, kStudent, kTrainer, kTraining;

}  // namespace surva::records
