// Rows: what a statement gave, held whole, so that no statement stays open while a page is written.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "frame/values/value.h"

namespace surva::data {

namespace internal {

// FNV-1a over the small letters of a name.
constexpr std::uint64_t HashName(std::string_view name, std::uint64_t hash = 14695981039346656037ULL) {
  for (const char c : name) {
    hash ^= static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
    hash *= 1099511628211ULL;
  }
  return hash;
}

}  // namespace internal

// A column's name as a page spells it, without regard to letter case: its own, or with its table in front where
// several tables of a join have it. Hashed at compile time when it is a literal.
class ColumnName {
 public:
  template <std::size_t kLength>
  consteval ColumnName(const char (&name)[kLength])
      : name_(name, kLength - 1), hash_(internal::HashName(std::string_view(name, kLength - 1))) {}
  constexpr explicit ColumnName(std::string_view name) : name_(name), hash_(internal::HashName(name)) {}

  std::string_view name() const { return name_; }
  std::uint64_t hash() const { return hash_; }

 private:
  std::string_view name_;
  std::uint64_t hash_;
};

// The columns of a statement's rows. A plain name means the first column that has it.
class Shape {
 public:
  // `table` is the table that the column comes from, empty for an expression or an alias.
  void Add(std::string_view name, std::string_view table, std::string_view own_name);
  // The column's place from 0, or -1.
  int Find(const ColumnName& name) const;
  int size() const { return count_; }

 private:
  struct Slot {
    std::uint64_t hash;
    int column;
  };
  void Place(std::uint64_t hash, int column);

  std::vector<Slot> slots_;  // open addressing; column -1 is free
  int used_ = 0;
  int count_ = 0;
};

class Rows;
class RowIterator;

class Row {
 public:
  // A Fault if there is no such column.
  Field operator[](const ColumnName& name) const;
  Field operator[](int column) const;

 private:
  friend class Rows;
  friend class RowIterator;
  friend bool operator==(const RowIterator&, const RowIterator&);
  Row(const Rows* rows, std::size_t first) : rows_(rows), first_(first) {}

  const Rows* rows_;
  std::size_t first_;  // the row's first cell
};

class RowIterator {
 public:
  const Row& operator*() const { return row_; }
  RowIterator& operator++();
  friend bool operator==(const RowIterator& a, const RowIterator& b);

 private:
  friend class Rows;
  explicit RowIterator(Row row) : row_(row) {}
  Row row_;
};

inline bool operator==(const RowIterator& a, const RowIterator& b) {
  return a.row_.first_ == b.row_.first_;
}

class Rows {
 public:
  explicit Rows(std::shared_ptr<const Shape> shape) : shape_(std::move(shape)) {}

  std::size_t size() const {
    return shape_->size() == 0 ? 0 : cells_.size() / static_cast<std::size_t>(shape_->size());
  }
  bool empty() const { return cells_.empty(); }
  RowIterator begin() const { return RowIterator(Row(this, 0)); }
  RowIterator end() const { return RowIterator(Row(this, cells_.size())); }
  Row operator[](std::size_t index) const { return {this, index * static_cast<std::size_t>(shape_->size())}; }
  // The first row; a Fault if there is none.
  Row First() const;
  const Shape& shape() const { return *shape_; }

  // For the engines: cells are added row by row, column by column.
  void AddCell(const Field& field);

 private:
  friend class Row;
  struct Cell {
    enum class Kind : std::uint8_t { kNull, kWhole, kReal, kText, kDate } kind = Kind::kNull;
    std::uint32_t length = 0;  // of a text
    union {
      std::int64_t whole;
      double real;
      std::size_t offset;  // of a text in texts_, of a date in dates_
    };
  };
  Field At(std::size_t cell) const;

  std::shared_ptr<const Shape> shape_;
  std::vector<Cell> cells_;
  std::string texts_;
  std::vector<DateTime> dates_;
};

}  // namespace surva::data
