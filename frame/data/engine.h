// Engine: one open connection to a database engine. What SQLite and PostgreSQL do differently ends here.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "frame/data/rows.h"
#include "frame/data/statement.h"

namespace surva::data {

// What a statement does. After a failed statement, all that was written before it in the same transaction stands.
enum class Effect : std::uint8_t { kRead, kWrite };

// Whether a commit must be on disk before it returns, or may be lost with the machine (never with the program).
enum class Durability : std::uint8_t { kDisk, kMemory };

enum class Dialect : std::uint8_t { kSqlite, kPostgres };

// What has gone over all connections of a database.
struct Traffic {
  std::atomic<std::uint64_t> statements = 0;  // beginnings, locks, savepoints and commits included
  std::atomic<std::uint64_t> round_trips = 0;
  std::atomic<std::uint64_t> flushes = 0;  // of SQLite's log of changes
};

// Rows to be added, their values as the columns keep them.
struct RowSet {
  const Table* table;
  std::vector<const Column*> columns;
  std::vector<Value> cells;  // row by row

  std::size_t size() const { return cells.size() / columns.size(); }
};

// Who writes and by which request, for the history of what rows were before.
struct Author {
  std::string person;
  std::string request;
};

class Engine {
 public:
  using Time = std::chrono::steady_clock::time_point;

  virtual ~Engine() = default;

  virtual Dialect dialect() const = 0;
  // Until when to wait for what others hold; the engine's own patience holds too.
  virtual void SetDeadline(Time) {}
  // Runs one statement. Throws Fault.
  virtual Rows Run(Statement statement, Effect effect) = 0;
  // Rows that the last write touched.
  virtual std::int64_t RowsTouched() const = 0;
  // Runs the removal and adds the rows, as if one after the other: if one is refused, those before it stand, and the
  // Fault is thrown.
  virtual void Replace(Statement removal, const RowSet& rows);
  // Runs text of the program's own, several statements if need be; not cached.
  virtual void RunScript(const std::string& script) = 0;

  // One transaction at a time. Its beginning may be put off to its first statement.
  virtual void Begin() = 0;
  // Holds a name until the transaction ends; whoever else asks for it waits. May be put off to the next statement.
  virtual void Lock(std::int64_t name) = 0;
  // Of the transaction; costs nothing until a row may be changed or deleted.
  virtual void SetAuthor(const Author& author) = 0;
  // Runs the last statement, if it is not empty, and commits: both or nothing. Throws Fault: kCommitInDoubt if it is
  // not known whether the commit went through, anything else if it did not.
  virtual void Commit(Durability durability, Statement last) = 0;
  // Brings to disk what Commit has left to it; for Durability::kDisk a commit is done only then. Throws Fault of
  // kCommitInDoubt.
  virtual void Flush() {}
  virtual void Rollback() noexcept = 0;
  virtual bool InTransaction() const = 0;

  // A transaction inside the transaction.
  virtual void BeginInner() = 0;
  virtual void CommitInner() = 0;
  virtual void RollbackInner() noexcept = 0;

  // Whether the connection can be used again.
  virtual bool Usable() const = 0;
};

}  // namespace surva::data
