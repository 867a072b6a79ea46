// Connection: a request's view of the database. It opens when first used; its first write begins a transaction, which
// whoever made the connection commits when the request has ended, however it ended.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "frame/data/database.h"
#include "frame/data/row_writer.h"
#include "frame/data/rows.h"
#include "frame/data/schema.h"
#include "frame/data/statement.h"

namespace surva::data {

// Thrown by the first write of a connection that may not write. No page catches it: whoever forbade writing has the
// request run again where it may.
struct WritingForbidden {};

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
  std::int64_t Execute(std::initializer_list<Piece> statement) { return Execute(Statement(statement)); }
  std::int64_t Execute(Statement statement);
  // Writes by a statement that ends in `returning ...`; gives what that names.
  Rows ExecuteReturning(std::initializer_list<Piece> statement) { return Write(statement); }

  // Writes through a recordset: a new row of a table, or the row of `select * from TABLE where KEY=id` (a Fault if
  // there is none).
  RowWriter AddNew(const Table& table) { return RowWriter(*this, table); }
  RowWriter Edit(const Table& table, const Piece& id);
  // Puts the rows of a thing in the place of others: locks it, runs `removal`, adds what `fill` puts into the batch. As
  // if one statement came after the other, so that what stands before a failure, of `fill` too, stays; but on
  // PostgreSQL in one round trip.
  void Replace(std::string_view thing, std::initializer_list<Piece> removal, const RowBatch& batch,
               const std::function<void()>& fill);

  // Holds a thing by its name ("filling 12 7") from before the next statement until the commit: requests that lock the
  // same thing pass one after the other, on all nodes. Costs no round trip. Statements behind it see what the one
  // before has committed. On SQLite it is the one writer's turn.
  void Lock(std::string_view thing);
  // The same for a request that may come to write nothing: it is no write, and takes no writer's turn. To be called
  // before the first statement. On SQLite it does nothing: there the host puts the requests of a visitor in order.
  void Hold(std::string_view thing);

  // Whose writes these are; to be said before the first one.
  void SetAuthor(Author author) { author_ = std::move(author); }

  // A transaction of a page's own inside the request's.
  void BeginTrans();
  void CommitTrans();
  void RollbackTrans() noexcept;

  // Whether anything was written since the last Commit, or is to be written by the next.
  bool HasWritten() const { return written_ || !at_commit_.empty(); }
  // Whether what this request says may be known only when Commit is done: it has written, or read what others have
  // written in a transaction that it shares with them.
  bool NeedsCommit() const;
  // A write that the commit carries out, in its own round trip: if it fails, the commit does.
  void ExecuteAtCommit(std::initializer_list<Piece> statement);

  // Commits what was written, if anything was, and ends what was held. Durability::kMemory is for writes that are
  // nothing but the host's own notes; it may be said at any time before. A Fault of kCommitInDoubt means that what was
  // written may stand; after any other, nothing of it does.
  void Commit();
  // The same, but does not wait for the disk: `done` is called once what was written is there, or with the failure, on
  // whatever thread it was that flushed, maybe before this returns.
  void Commit(SharedFlush::Done done);
  void Rollback() noexcept;
  void SetDurability(Durability durability) { durability_ = durability; }

  // Until when whatever others hold must have come free: a connection, a writer's turn, a lock. To be said before the
  // first statement; the database's own patience holds too.
  void SetDeadline(std::chrono::steady_clock::time_point deadline) { deadline_ = deadline; }
  void ForbidWriting() { may_write_ = false; }
  // For a request that takes a moment: on SQLite it shares a transaction with those that come before and behind it.
  // To be said before the first statement. Commit without waiting only promises then that the request is among those
  // of the next Database::CommitShared, which must follow.
  void Share() { shared_ = database_.shared_transaction(); }
  void AllowWriting() { may_write_ = true; }

 private:
  friend class RowWriter;
  Engine& Open();
  void BeginAnew();
  void Enter(std::chrono::milliseconds patience);
  std::chrono::milliseconds Patience() const;
  void LetGo() noexcept;  // of the connection
  void Begin();
  void BeginWrite();
  void HoldNow(std::string_view thing);
  Rows Run(Statement statement, Effect effect);
  Rows Write(Statement statement);
  void CommitTo(const std::function<void(Engine&)>& flush);
  void LeaveShared(SharedFlush::Done done);
  void LeaveGate();

  Database& database_;
  SharedTransaction* shared_ = nullptr;  // to be shared; `inside_` it now, with its engine
  bool inside_ = false;
  std::unique_ptr<Engine> own_;
  Engine* engine_ = nullptr;
  Durability durability_ = Durability::kDisk;
  Author author_;
  std::vector<std::int64_t> locks_;
  std::vector<KeptStatement> at_commit_;
  bool fresh_ = false;    // nothing has reached the server yet
  bool begun_ = false;    // a transaction
  bool written_ = false;  // something, in the transaction
  bool in_gate_ = false;
  bool may_write_ = true;
  std::chrono::steady_clock::time_point deadline_ = std::chrono::steady_clock::time_point::max();
};

}  // namespace surva::data
