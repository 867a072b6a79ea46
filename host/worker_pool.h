// WorkerPool: the threads that do the pages' work, and the requests that wait for them. A request waits in a lane of
// its kind, so that those who only read never stand behind those who write; inside a lane addresses take turns; one
// visitor's requests run one at a time, in the order of their coming. Who has waited too long is refused.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

namespace surva::host {

enum class Lane : std::uint8_t {
  kReading,  // respondents' pages that write nothing, or seldom
  kWriting,
  kStaff,      // whatever may take long
  kPasswords,  // one at a time: each takes a tenth of a second and 64 MiB
};
inline constexpr std::size_t kLanes = 4;

class WorkerPool {
 public:
  struct Options {
    std::size_t threads = 4;  // of each lane but the passwords'
    std::size_t writers = 0;  // of the writing lane, if it has another number
    std::chrono::milliseconds patience{5000};
    std::size_t most_bytes = std::size_t{64} << 20;  // of all that waits
    std::size_t most_of_visitor = 32;                // requests that wait behind the visitor's own
    // Said where writers pass one gate anyhow: one worker at a time takes the writers' jobs, one behind the other, and
    // calls this when none is left or there were many. Another one takes over when a job takes long, and meanwhile.
    std::function<void()> settle = {};
  };

  class Turn;
  struct Job {
    Lane lane = Lane::kReading;
    std::string address = {};  // who shares a place in the round
    std::string visitor = {};  // whose jobs run one at a time; empty for none of them
    std::size_t bytes = 0;     // that it keeps while it waits
    // One of the two is called, once (`run` once more after each Pass). They do not throw. The visitor's next job
    // begins when the turn is let go.
    std::function<void(std::shared_ptr<Turn>)> run;
    std::function<void()> refuse;
  };

  // A job that runs: the visitor's turn.
  class Turn {
   public:
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    Lane lane() const { return job_.lane; }
    // Until when whatever it waits for must have come.
    std::chrono::steady_clock::time_point deadline() const { return deadline_; }

   private:
    friend class WorkerPool;
    using Time = std::chrono::steady_clock::time_point;
    Turn(WorkerPool& pool, std::uint64_t number, Job job, Time deadline)
        : pool_(pool), number_(number), job_(std::move(job)), deadline_(deadline) {}

    WorkerPool& pool_;
    const std::uint64_t number_;
    Job job_;
    const Time deadline_;
  };

  explicit WorkerPool(Options options);
  ~WorkerPool();  // as Stop
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // Runs the job when its turn comes, or refuses it: at once if there is no room, later if the turn does not come in
  // time. An address may fill as much room as it leaves to the others.
  void Post(Job job);
  // From inside `run`, as its last act: runs the job anew in another lane, by its first time of coming.
  void Pass(std::shared_ptr<Turn> turn, Lane lane);
  // Takes no more jobs and waits until the queued ones are done and all turns let go.
  void Stop();

  std::size_t waiting() const;
  bool settles() const { return options_.settle != nullptr; }

 private:
  using Time = std::chrono::steady_clock::time_point;
  // By the order of their coming, which is that of their deadlines too.
  using Numbers = std::set<std::uint64_t>;
  struct Waiting {
    std::shared_ptr<Turn> turn;
    bool ready = false;  // in its lane; else behind its visitor's
  };
  struct LaneState {
    std::map<std::string, Numbers> ready;  // by address
    std::deque<std::string> round;         // the addresses in `ready`, the next one first
    std::condition_variable wake;
    std::size_t idle = 0;
    bool waking = false;  // a worker was woken and has not run yet
    // Where one worker at a time takes jobs: who it is, since when he has been at one, and whether an idle one looks
    // whether that is too long.
    bool one_by_one = false;
    const void* runner = nullptr;
    Time taken_at;
    bool watched = false;
  };

  void Work(LaneState& lane);
  static bool MayTake(const LaneState& lane, const void* worker);
  void Wait(LaneState& lane, std::unique_lock<std::mutex>& lock);
  std::shared_ptr<Turn> Take(LaneState& lane);
  // Whether an idle worker should be woken, which then counts as on its way.
  static bool Wake(LaneState& lane);
  void Expire();
  bool Enter(const std::shared_ptr<Turn>& turn);
  // Puts a waiting job into its lane; gives the lane if one of its workers should be woken.
  LaneState* MakeReady(std::uint64_t number);
  void Remove(std::uint64_t number);
  void End(Turn& turn);

  const Options options_;
  mutable std::mutex mutex_;
  std::array<LaneState, kLanes> lanes_;
  std::map<std::uint64_t, Waiting> waiting_;
  std::unordered_map<std::string, std::size_t> bytes_of_;  // by address, of what waits
  std::size_t bytes_ = 0;
  std::unordered_map<std::string, Numbers> visitors_;  // who has a job ready or running, and what waits behind it
  std::uint64_t next_number_ = 0;
  std::size_t turns_ = 0;  // not yet let go
  bool stopping_ = false;
  std::condition_variable stopped_;  // also wakes the thread that refuses the overdue
  std::vector<std::thread> threads_;
};

}  // namespace surva::host
