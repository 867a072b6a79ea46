#include "host/worker_pool.h"

#include <utility>

namespace surva::host {
namespace {

// How exactly a job's patience is kept.
constexpr std::chrono::milliseconds kExpireEvery{200};
// What a waiting job takes beside what it says itself.
constexpr std::size_t kBytesOfJob = 1024;
// Where one worker at a time takes jobs: how many in a row, and after which time another one takes over.
constexpr std::size_t kMostInARow = 32;
constexpr std::chrono::milliseconds kHeldUp{5};

}  // namespace

WorkerPool::Turn::~Turn() {
  pool_.End(*this);
}

WorkerPool::WorkerPool(Options options) : options_(std::move(options)) {
  for (std::size_t at = 0; at < kLanes; ++at) {
    LaneState& lane = lanes_[at];
    std::size_t threads = options_.threads;
    if (at == static_cast<std::size_t>(Lane::kPasswords)) threads = 1;
    if (at == static_cast<std::size_t>(Lane::kWriting) && options_.writers != 0) threads = options_.writers;
    lane.one_by_one = at == static_cast<std::size_t>(Lane::kWriting) && options_.settle;
    for (std::size_t i = 0; i < threads; ++i) threads_.emplace_back([this, &lane] { Work(lane); });
  }
  threads_.emplace_back([this] { Expire(); });
}

WorkerPool::~WorkerPool() {
  Stop();
}

void WorkerPool::Post(Job job) {
  const Time deadline = std::chrono::steady_clock::now() + options_.patience;
  job.bytes += kBytesOfJob;
  std::shared_ptr<Turn> turn;
  LaneState* wake = nullptr;
  {
    const std::lock_guard lock(mutex_);
    ++turns_;
    turn.reset(new Turn(*this, next_number_++, std::move(job), deadline));
    if (Enter(turn)) {
      const std::string& visitor = turn->job_.visitor;
      const auto own = visitor.empty() ? visitors_.end() : visitors_.find(visitor);
      if (own != visitors_.end()) {
        own->second.insert(turn->number_);
      } else {
        if (!visitor.empty()) visitors_[visitor];
        wake = MakeReady(turn->number_);
      }
      turn.reset();
    }
  }
  if (wake != nullptr) wake->wake.notify_one();
  if (turn) {
    turn->job_.visitor.clear();
    turn->job_.refuse();
  }
}

// Whether there is room for it.
bool WorkerPool::Enter(const std::shared_ptr<Turn>& turn) {
  const Job& job = turn->job_;
  if (stopping_) return false;
  if (!job.visitor.empty()) {
    const auto own = visitors_.find(job.visitor);
    if (own != visitors_.end() && own->second.size() >= options_.most_of_visitor) return false;
  }
  if (bytes_ + job.bytes > options_.most_bytes) return false;
  const auto known = bytes_of_.find(job.address);
  const std::size_t others = known == bytes_of_.end() ? 0 : known->second;
  if (others > 0 && others + job.bytes > options_.most_bytes - bytes_) return false;
  bytes_ += job.bytes;
  bytes_of_[job.address] += job.bytes;
  waiting_.emplace(turn->number_, Waiting{turn});
  return true;
}

WorkerPool::LaneState* WorkerPool::MakeReady(std::uint64_t number) {
  Waiting& waiting = waiting_.at(number);
  waiting.ready = true;
  const Job& job = waiting.turn->job_;
  LaneState& lane = lanes_[static_cast<std::size_t>(job.lane)];
  Numbers& of_address = lane.ready[job.address];
  if (of_address.empty()) lane.round.push_back(job.address);
  of_address.insert(number);
  return Wake(lane) ? &lane : nullptr;
}

bool WorkerPool::Wake(LaneState& lane) {
  if (lane.round.empty() || lane.idle == 0) return false;
  // One worker on its way is enough: it wakes the next if it finds more than it takes.
  if (lane.waking || (lane.runner != nullptr && lane.watched)) return false;
  lane.waking = true;
  return true;
}

// Takes a job out of all that waits.
void WorkerPool::Remove(std::uint64_t number) {
  const auto at = waiting_.find(number);
  const Job& job = at->second.turn->job_;
  if (at->second.ready) {
    LaneState& lane = lanes_[static_cast<std::size_t>(job.lane)];
    const auto of_address = lane.ready.find(job.address);
    of_address->second.erase(number);
    if (of_address->second.empty()) {
      lane.ready.erase(of_address);
      std::erase(lane.round, job.address);
    }
  } else {
    visitors_.at(job.visitor).erase(number);
  }
  bytes_ -= job.bytes;
  const auto sum = bytes_of_.find(job.address);
  if ((sum->second -= job.bytes) == 0) bytes_of_.erase(sum);
  waiting_.erase(at);
}

void WorkerPool::Pass(std::shared_ptr<Turn> turn, Lane lane) {
  LaneState* wake = nullptr;
  {
    const std::lock_guard lock(mutex_);
    turn->job_.lane = lane;
    bytes_ += turn->job_.bytes;
    bytes_of_[turn->job_.address] += turn->job_.bytes;
    const std::uint64_t number = turn->number_;
    waiting_.emplace(number, Waiting{std::move(turn)});
    wake = MakeReady(number);
  }
  if (wake != nullptr) wake->wake.notify_one();
}

// The turn is over; the visitor's next job may come.
void WorkerPool::End(Turn& turn) {
  LaneState* wake = nullptr;
  bool last = false;
  {
    const std::lock_guard lock(mutex_);
    if (!turn.job_.visitor.empty()) {
      const auto own = visitors_.find(turn.job_.visitor);
      if (own->second.empty()) {
        visitors_.erase(own);
      } else {
        const std::uint64_t next = *own->second.begin();
        own->second.erase(own->second.begin());
        wake = MakeReady(next);
      }
    }
    last = --turns_ == 0 && stopping_;
    if (last) {
      for (LaneState& lane : lanes_) lane.wake.notify_all();
      stopped_.notify_all();
    }
  }
  if (wake != nullptr) wake->wake.notify_one();
}

void WorkerPool::Stop() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    for (LaneState& lane : lanes_) lane.wake.notify_all();
    stopped_.notify_all();
  }
  for (std::thread& thread : threads_) {
    if (thread.joinable()) thread.join();
  }
}

std::size_t WorkerPool::waiting() const {
  const std::lock_guard lock(mutex_);
  return waiting_.size();
}

bool WorkerPool::MayTake(const LaneState& lane, const void* worker) {
  if (lane.round.empty()) return false;
  return lane.runner == nullptr || lane.runner == worker || std::chrono::steady_clock::now() >= lane.taken_at + kHeldUp;
}

void WorkerPool::Wait(LaneState& lane, std::unique_lock<std::mutex>& lock) {
  ++lane.idle;
  if (lane.round.empty() || lane.watched) {
    lane.wake.wait(lock);
  } else {
    lane.watched = true;
    lane.wake.wait_until(lock, lane.taken_at + kHeldUp);
    lane.watched = false;
  }
  --lane.idle;
  lane.waking = false;
}

// The address whose turn it is goes to the end of the round.
std::shared_ptr<WorkerPool::Turn> WorkerPool::Take(LaneState& lane) {
  const std::string address = std::move(lane.round.front());
  lane.round.pop_front();
  const std::uint64_t number = *lane.ready.at(address).begin();
  std::shared_ptr<Turn> turn = waiting_.at(number).turn;
  lane.round.push_back(address);
  Remove(number);
  return turn;
}

void WorkerPool::Work(LaneState& lane) {
  const char self = 0;  // its place says who it is
  std::size_t in_a_row = 0;
  std::unique_lock lock(mutex_);
  while (true) {
    const bool takes = in_a_row < kMostInARow && MayTake(lane, &self);
    if (!takes && in_a_row > 0) {
      in_a_row = 0;
      if (lane.runner == &self) lane.runner = nullptr;
      const bool wake = Wake(lane);
      lock.unlock();
      if (wake) lane.wake.notify_one();
      options_.settle();
      lock.lock();
      continue;
    }
    if (!takes) {
      if (stopping_ && turns_ == 0) return;
      Wait(lane, lock);
      continue;
    }
    std::shared_ptr<Turn> turn = Take(lane);
    if (lane.one_by_one) {
      lane.runner = &self;
      lane.taken_at = std::chrono::steady_clock::now();
      ++in_a_row;
    }
    const bool wake = Wake(lane);
    lock.unlock();
    if (wake) lane.wake.notify_one();
    if (std::chrono::steady_clock::now() < turn->deadline_) {
      const auto run = turn->job_.run;
      run(std::move(turn));
    } else {
      turn->job_.refuse();
      turn.reset();
    }
    lock.lock();
  }
}

// Refuses what has waited too long, though no worker comes.
void WorkerPool::Expire() {
  std::unique_lock lock(mutex_);
  while (!(stopping_ && turns_ == 0)) {
    stopped_.wait_for(lock, kExpireEvery);
    const Time now = std::chrono::steady_clock::now();
    while (!waiting_.empty() && waiting_.begin()->second.turn->deadline_ <= now) {
      std::shared_ptr<Turn> turn = waiting_.begin()->second.turn;
      const bool was_ready = waiting_.begin()->second.ready;
      Remove(turn->number_);
      // One that waited behind its visitor's turn has none to give on.
      if (!was_ready) turn->job_.visitor.clear();
      lock.unlock();
      turn->job_.refuse();
      turn.reset();
      lock.lock();
    }
  }
}

}  // namespace surva::host
