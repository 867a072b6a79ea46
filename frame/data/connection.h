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
  // Gives the row's generated key.
  std::int64_t Update();

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
  // Writes by a statement that ends in `returning ...`; gives what that names.
  Rows ExecuteReturning(std::initializer_list<Piece> statement) { return Write(statement); }

  // Writes through a recordset: a new row of a table, or the row of `select * from TABLE where KEY=id` (a Fault if
  // there is none).
  RowWriter AddNew(const Table& table) { return RowWriter(*this, table); }
  RowWriter Edit(const Table& table, const Piece& id);

  // Holds a thing by its name ("filling 12 7") from before the next statement until the commit: requests that lock the
  // same thing pass one after the other, on all nodes. Costs no round trip. Statements behind it see what the one
  // before has committed. On SQLite it is the one writer's turn.
  void Lock(std::string_view thing);
  // The same for a request that may come to write nothing: it is no write, and takes no writer's turn. To be called
  // before the first statement. On SQLite it does nothing: there the host puts the requests of a visitor in order.
  void Hold(std::string_view thing);

  // A transaction of a page's own inside the request's.
  void BeginTrans();
  void CommitTrans();
  void RollbackTrans() noexcept;

  // Whether anything was written since the last Commit.
  bool HasWritten() const { return written_; }
  // Commits what was written, if anything was, and ends what was held. Durability::kMemory is for writes that are
  // nothing but the host's own notes; it may be said at any time before. A Fault of kCommitInDoubt means that what was
  // written may stand; after any other, nothing of it does.
  void Commit();
  void Rollback() noexcept;
  void SetDurability(Durability durability) { durability_ = durability; }

 private:
  friend class RowWriter;
  Engine& Open();
  // Another connection in place of one that was lost while nobody used it.
  void Reopen();
  void Begin();
  Rows Run(Statement statement, Effect effect);
  Rows Write(Statement statement);

  Database& database_;
  std::unique_ptr<Engine> engine_;
  Durability durability_ = Durability::kDisk;
  std::vector<std::int64_t> locks_;
  bool fresh_ = false;    // nothing has reached the server yet
  bool begun_ = false;    // a transaction
  bool written_ = false;  // something, in the transaction
  bool in_gate_ = false;
};

}  // namespace surva::data
