#include "frame/data/connection.h"

#include "frame/values/fault.h"
#include "frame/values/numbers.h"

namespace surva::data {
namespace {

constexpr std::chrono::seconds kWritersPatience{10};

// A value as its column keeps it.
Value Converted(const Column& column, const Field& value) {
  const auto* text = std::get_if<std::string_view>(&value.content());
  if (value.IsNull()) return {};
  switch (column.type) {
    case ColumnType::kKey:
    case ColumnType::kLong:
      if (text != nullptr) return std::int64_t{ToInt32(*text)};
      return std::int64_t{ToInt32(value.Text())};
    case ColumnType::kDate:
      if (text != nullptr) {
        const auto at = ReadDateText(*text);
        if (!at) throw Fault::TypeMismatch();
        return *at;
      }
      return value.Date();
    case ColumnType::kText:
    case ColumnType::kLongText:
      break;
  }
  // One engine would cut the text there.
  if (text != nullptr && text->find('\0') != std::string_view::npos) {
    throw Fault(FaultNumber::kValueRefused, "surva database", "The database refuses a value.", "a NUL inside a text");
  }
  return value.Text();
}

}  // namespace

Connection::~Connection() {
  Rollback();
}

Engine& Connection::Open() {
  if (!engine_) engine_ = database_.Take();
  return *engine_;
}

Rows Connection::Query(Statement statement) {
  const bool kept = engine_ == nullptr;
  try {
    return Open().Run(statement, Effect::kRead);
  } catch (const Fault&) {
    // A kept connection may have been lost while nobody used it. Nothing has been written on it yet.
    if (written_ || !kept || !engine_ || engine_->Usable()) throw;
    database_.Give(std::move(engine_));
    return Open().Run(statement, Effect::kRead);
  }
}

void Connection::BeginWrite() {
  if (written_) return;
  Engine& engine = Open();
  if (WriteGate* gate = database_.write_gate(); gate != nullptr) {
    if (!gate->Enter(kWritersPatience)) {
      throw Fault(FaultNumber::kConnectionFailed, "surva database", "The database is busy. Try again.");
    }
    in_gate_ = true;
  }
  try {
    engine.Begin(durability_);
  } catch (...) {
    Rollback();
    throw;
  }
  written_ = true;
}

std::int64_t Connection::Write(Statement statement) {
  const bool first = engine_ == nullptr;
  BeginWrite();
  try {
    engine_->Run(statement, Effect::kWrite);
  } catch (const Fault&) {
    if (!first || engine_->Usable()) throw;
    // Lost while nobody used it, as above: the statement was the first of all and reached nothing.
    Rollback();
    BeginWrite();
    engine_->Run(statement, Effect::kWrite);
  }
  return engine_->RowsTouched();
}

std::int64_t Connection::Execute(std::initializer_list<Piece> statement) {
  return Write(statement);
}

RowWriter Connection::Edit(const Table& table, const Piece& id) {
  const Rows rows = Query({"select ", Name(table.key()), " from ", Name(table), " where ", Name(table.key()), "=", id});
  RowWriter writer(*this, table);
  writer.adding_ = false;
  writer.key_ = rows.First()[0].Integer();
  return writer;
}

void Connection::BeginTrans() {
  BeginWrite();
  engine_->BeginInner();
}

void Connection::CommitTrans() {
  engine_->CommitInner();
}

void Connection::RollbackTrans() noexcept {
  if (engine_ && written_) engine_->RollbackInner();
}

void Connection::Commit() {
  if (written_) {
    try {
      engine_->Commit();
    } catch (...) {
      Rollback();
      throw;
    }
    written_ = false;
  }
  Rollback();
}

void Connection::Rollback() noexcept {
  if (engine_ && written_) engine_->Rollback();
  written_ = false;
  if (in_gate_) database_.write_gate()->Leave();
  in_gate_ = false;
  if (engine_) database_.Give(std::move(engine_));
}

RowWriter& RowWriter::Set(std::string_view column, const Field& value) {
  const Column& own = table_.Find(column);
  Value converted = Converted(own, value);
  for (auto& [known, content] : values_) {
    if (known == &own) {
      content = std::move(converted);
      return *this;
    }
  }
  values_.emplace_back(&own, std::move(converted));
  return *this;
}

void RowWriter::Update() {
  std::vector<Piece> statement;
  statement.reserve(4 * values_.size() + 8);
  if (adding_) {
    statement.insert(statement.end(), {"insert into ", Name(table_), " ("});
    for (std::size_t i = 0; i < values_.size(); ++i) {
      if (i > 0) statement.push_back(", ");
      statement.push_back(Name(*values_[i].first));
    }
    statement.push_back(") values (");
    for (std::size_t i = 0; i < values_.size(); ++i) {
      if (i > 0) statement.push_back(", ");
      statement.push_back(Bound(values_[i].second.view()));
    }
    statement.push_back(")");
  } else {
    statement.insert(statement.end(), {"update ", Name(table_), " set "});
    for (std::size_t i = 0; i < values_.size(); ++i) {
      if (i > 0) statement.push_back(", ");
      statement.push_back(Name(*values_[i].first));
      statement.push_back("=");
      statement.push_back(Bound(values_[i].second.view()));
    }
    statement.insert(statement.end(), {" where ", Name(table_.key()), "=", Number(key_)});
  }
  connection_.Write(statement);
  values_.clear();
}

}  // namespace surva::data
