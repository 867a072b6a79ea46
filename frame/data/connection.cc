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
    case ColumnType::kBig:
      return text == nullptr ? Value(value) : Value(Number(*text).content());
    case ColumnType::kText:
    case ColumnType::kLongText:
    case ColumnType::kName:
    case ColumnType::kPlain:
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
  if (!engine_) {
    engine_ = database_.Take();
    fresh_ = true;
  }
  return *engine_;
}

void Connection::Reopen() {
  database_.Give(std::move(engine_));
  Open();
  if (!begun_) return;
  engine_->Begin();
  for (const std::int64_t lock : locks_) engine_->Lock(lock);
}

Rows Connection::Run(Statement statement, Effect effect) {
  Open();
  try {
    Rows rows = engine_->Run(statement, effect);
    fresh_ = false;
    return rows;
  } catch (const Fault&) {
    // A kept connection may have been lost while nobody used it: the statement, the first of all, has reached nothing.
    const bool lost = fresh_ && !engine_->Usable();
    fresh_ = false;
    if (!lost) throw;
  }
  Reopen();
  fresh_ = false;
  return engine_->Run(statement, effect);
}

Rows Connection::Query(Statement statement) {
  return Run(statement, Effect::kRead);
}

void Connection::Begin() {
  if (begun_) return;
  Engine& engine = Open();
  if (WriteGate* gate = database_.write_gate(); gate != nullptr) {
    if (!gate->Enter(kWritersPatience)) {
      throw Fault(FaultNumber::kConnectionFailed, "surva database", "The database is busy. Try again.");
    }
    in_gate_ = true;
  }
  try {
    engine.Begin();
  } catch (...) {
    Rollback();
    throw;
  }
  begun_ = true;
}

Rows Connection::Write(Statement statement) {
  Begin();
  written_ = true;
  return Run(statement, Effect::kWrite);
}

std::int64_t Connection::Execute(std::initializer_list<Piece> statement) {
  Write(statement);
  return engine_->RowsTouched();
}

void Connection::Lock(std::string_view thing) {
  Begin();
  locks_.push_back(static_cast<std::int64_t>(internal::HashName(thing)));
  engine_->Lock(locks_.back());
}

void Connection::Hold(std::string_view thing) {
  if (database_.write_gate() == nullptr) Lock(thing);
}

RowWriter Connection::Edit(const Table& table, const Piece& id) {
  const Rows rows = Query({"select ", Name(table.key()), " from ", Name(table), " where ", Name(table.key()), "=", id});
  RowWriter writer(*this, table);
  writer.adding_ = false;
  writer.key_ = rows.First()[0].Integer();
  return writer;
}

void Connection::BeginTrans() {
  Begin();
  written_ = true;
  engine_->BeginInner();
}

void Connection::CommitTrans() {
  engine_->CommitInner();
}

void Connection::RollbackTrans() noexcept {
  if (engine_ && begun_) engine_->RollbackInner();
}

void Connection::Commit() {
  if (begun_) {
    try {
      engine_->Commit(written_ ? durability_ : Durability::kMemory);
    } catch (...) {
      Rollback();
      throw;
    }
    begun_ = false;
  }
  Rollback();
}

void Connection::Rollback() noexcept {
  if (engine_ && begun_) engine_->Rollback();
  begun_ = written_ = false;
  locks_.clear();
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

std::int64_t RowWriter::Update() {
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
    statement.insert(statement.end(), {") returning ", Name(table_.key())});
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
  const Rows rows = connection_.Write(statement);
  values_.clear();
  if (!adding_) return key_;
  return table_.key().type == ColumnType::kKey ? rows.First()[0].Integer() : 0;
}

}  // namespace surva::data
