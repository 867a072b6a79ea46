// SharedTransaction: one transaction of SQLite's for requests that come at the same moment. They are inside one after
// the other; what each of them writes is a part that stands or falls by itself, and one commit with one flush behind
// it is for all. Pages, their caches and the log's index are so worked through once for many requests.
#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <vector>

#include "frame/data/engine.h"
#include "frame/data/shared_flush.h"

namespace surva::data {

class Database;
class WriteGate;

class SharedTransaction {
 public:
  using Done = SharedFlush::Done;

  SharedTransaction(Database& database, WriteGate& gate, WriteGate& inside)
      : database_(database), gate_(gate), inside_(inside) {}
  SharedTransaction(const SharedTransaction&) = delete;
  SharedTransaction& operator=(const SharedTransaction&) = delete;

  // Lets a request in, alone, until Leave or Undo; null if its turn does not come within the time. It reads and writes
  // through the engine. Throws Fault.
  Engine* Enter(std::chrono::milliseconds patience);
  // For who is inside: whether he reads what others have written and nobody has committed.
  bool HoldsOthers() const { return !members_.empty(); }
  // Begins what may be written; throws Fault, with nothing begun.
  void Begin(std::chrono::milliseconds patience);
  // What was written is to be committed; `done` is called, on any thread, when it is, and on disk if it must be, or
  // with the failure. Throws Fault, and is still inside, if nothing of it can stand.
  void Leave(Durability durability, Done done);
  // Undoes what was written.
  void Undo() noexcept;

  // Commits for all who have left, unless there is somebody inside. Whoever leaves sees to it that this is called
  // soon; he or another one who was inside after him.
  void Commit() noexcept;
  // Lets go of the connections.
  void Close();

 private:
  enum class Part : std::uint8_t { kNone, kFirst, kFurther };
  struct Member {
    Durability durability;
    Done done;
  };
  using Members = std::vector<Member>;

  std::shared_ptr<Engine> Open();
  Members EndTransaction() noexcept;
  void DropBroken() noexcept;
  static void Tell(const Members& members, const std::exception_ptr& failure);

  Database& database_;
  WriteGate& gate_;    // held while a transaction is open
  WriteGate& inside_;  // held by who is inside; what follows is his
  std::shared_ptr<Engine> engine_;
  std::shared_ptr<Engine> flusher_;  // for a flush beside the next transaction
  bool open_ = false;
  Part part_ = Part::kNone;
  Members members_;
};

}  // namespace surva::data
