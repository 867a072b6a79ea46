#include "frame/data/rows.h"

#include "frame/values/fault.h"

namespace surva::data {

void Shape::Add(std::string_view name, std::string_view table, std::string_view own_name) {
  const int column = count_++;
  Place(internal::HashName(name), column);
  if (!table.empty()) {
    Place(internal::HashName(own_name, internal::HashName(".", internal::HashName(table))), column);
  }
}

void Shape::Place(std::uint64_t hash, int column) {
  if (slots_.size() < static_cast<std::size_t>(used_ + 1) * 2) {
    std::vector<Slot> old(slots_.empty() ? 16 : slots_.size() * 2, Slot{0, -1});
    old.swap(slots_);
    used_ = 0;
    for (const Slot& slot : old) {
      if (slot.column >= 0) Place(slot.hash, slot.column);
    }
  }
  for (std::size_t at = hash % slots_.size();; at = (at + 1) % slots_.size()) {
    if (slots_[at].column >= 0 && slots_[at].hash == hash) return;  // the first column of a name has it
    if (slots_[at].column < 0) {
      slots_[at] = {hash, column};
      ++used_;
      return;
    }
  }
}

int Shape::Find(const ColumnName& name) const {
  if (slots_.empty()) return -1;
  for (std::size_t at = name.hash() % slots_.size(); slots_[at].column >= 0; at = (at + 1) % slots_.size()) {
    if (slots_[at].hash == name.hash()) return slots_[at].column;
  }
  return -1;
}

Field Row::operator[](const ColumnName& name) const {
  const int column = rows_->shape_->Find(name);
  if (column < 0) {
    throw Fault(FaultNumber::kNoSuchColumn, "surva database",
                "Item cannot be found in the collection corresponding to the requested name or ordinal.",
                std::string(name.name()));
  }
  return (*this)[column];
}

Field Row::operator[](int column) const {
  return rows_->At(first_ + static_cast<std::size_t>(column));
}

RowIterator& RowIterator::operator++() {
  row_.first_ += static_cast<std::size_t>(row_.rows_->shape().size());
  return *this;
}

Row Rows::First() const {
  if (empty()) throw Fault::NoCurrentRow();
  return (*this)[0];
}

void Rows::AddCell(const Field& field) {
  Cell cell;
  if (const auto* whole = std::get_if<std::int64_t>(&field.content())) {
    cell.kind = Cell::Kind::kWhole;
    cell.whole = *whole;
  } else if (const auto* text = std::get_if<std::string_view>(&field.content())) {
    cell.kind = Cell::Kind::kText;
    cell.length = static_cast<std::uint32_t>(text->size());
    cell.offset = texts_.size();
    texts_.append(*text);
  } else if (const auto* real = std::get_if<double>(&field.content())) {
    cell.kind = Cell::Kind::kReal;
    cell.real = *real;
  } else if (const auto* at = std::get_if<DateTime>(&field.content())) {
    cell.kind = Cell::Kind::kDate;
    cell.offset = dates_.size();
    dates_.push_back(*at);
  }
  cells_.push_back(cell);
}

Field Rows::At(std::size_t index) const {
  const Cell& cell = cells_[index];
  switch (cell.kind) {
    case Cell::Kind::kNull:
      break;
    case Cell::Kind::kWhole:
      return Field(cell.whole);
    case Cell::Kind::kReal:
      return Field(cell.real);
    case Cell::Kind::kText:
      return Field(std::string_view(texts_).substr(cell.offset, cell.length));
    case Cell::Kind::kDate:
      return Field(dates_[cell.offset]);
  }
  return {};
}

}  // namespace surva::data
