// Connection: a request's view of the database. It opens when first used; its first write begins a transaction, which
// whoever made the connection commits when the request has ended, however it ended.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "frame/data/database.h"
#include "frame/data/rows.h"
#include "frame/data/schema.h"
#include "frame/data/statement.h"

namespace surva::data {

class Connection;

// A row being added to a table, or changed: values are set, then Update writes them. A text written to a number or
// date column is converted; an empty one, or one that is no number or date, is a type mismatch.
class RowWriter {
 public:
  RowWriter& Set(std::string_view column, const Field& value);
  RowWriter& SetNull(std::string_view column) { return Set(column, Field()); }
  void Update();

 private:
  friend class Connection;
  RowWriter(Connection& connection, const Table& table) : connection_(connection), table_(table) {}

  Connection& connection_;
  const Table& table_;
  std::vector<std::pair<const Column*, Value>> values_;
  bool adding_ = true;
  std::int64_t key_ = 0;
};

class Connection {
 public:
  explicit Connection(Database& database) : database_(database) {}
  // Rolls back what was not committed.
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  const std::string& dsn() const { return database_.dsn(); }
  Dialect dialect() const { return database_.dialect(); }

  // Reads. The second takes a statement that was put together piece by piece.
  Rows Query(std::initializer_list<Piece> statement) { return Query(Statement(statement)); }
  Rows Query(Statement statement);
  // Writes; gives the number of rows touched.
  std::int64_t Execute(std::initializer_list<Piece> statement);

  // Writes through a recordset: a new row of a table, or the row of `select * from TABLE where KEY=id` (a Fault if
  // there is none).
  RowWriter AddNew(const Table& table) { return RowWriter(*this, table); }
  RowWriter Edit(const Table& table, const Piece& id);

  // A transaction of a page's own inside the request's.
  void BeginTrans();
  void CommitTrans();
  void RollbackTrans() noexcept;

  // Whether anything was written since the last Commit.
  bool HasWritten() const { return written_; }
  // Commits what was written, if anything was. Durability::kMemory holds only for writes that are nothing but the
  // host's own notes; say so before the first write, with SetDurability.
  void Commit();
  void Rollback() noexcept;
  void SetDurability(Durability durability) { durability_ = durability; }

 private:
  friend class RowWriter;
  Engine& Open();
  void BeginWrite();
  std::int64_t Write(Statement statement);

  Database& database_;
  std::unique_ptr<Engine> engine_;
  Durability durability_ = Durability::kDisk;
  bool written_ = false;
  bool in_gate_ = false;
};

}  // namespace surva::data
