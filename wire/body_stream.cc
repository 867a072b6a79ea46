#include "wire/body_stream.h"

#include <condition_variable>
#include <mutex>
#include <utility>

namespace surva::wire {

namespace {

constexpr std::size_t kMostUnsent = 256 * 1024;

}  // namespace

class BodyPipe {
 public:
  bool Write(std::string_view bytes) {
    std::unique_lock lock(mutex_);
    if (bytes.empty()) return !abandoned_;
    room_.wait(lock, [this] { return unsent_.size() < kMostUnsent || abandoned_; });
    if (abandoned_) return false;
    unsent_.append(bytes);
    Wake(lock);
    return true;
  }

  void End(BodySource::State state) {
    std::unique_lock lock(mutex_);
    if (state_ != BodySource::State::kGoesOn) return;
    state_ = state;
    Wake(lock);
  }

  BodySource::State Take(std::string& bytes, std::function<void()> wake) {
    const std::lock_guard lock(mutex_);
    bytes.clear();
    bytes.swap(unsent_);
    if (bytes.empty() && state_ == BodySource::State::kGoesOn) wake_ = std::move(wake);
    room_.notify_one();
    return state_;
  }

  void Abandon() {
    const std::lock_guard lock(mutex_);
    abandoned_ = true;
    wake_ = nullptr;
    std::string().swap(unsent_);
    room_.notify_one();
  }

 private:
  void Wake(std::unique_lock<std::mutex>& lock) {
    const std::function<void()> wake = std::exchange(wake_, nullptr);
    lock.unlock();
    if (wake) wake();
  }

  std::mutex mutex_;
  std::condition_variable room_;
  std::string unsent_;
  std::function<void()> wake_;
  BodySource::State state_ = BodySource::State::kGoesOn;
  bool abandoned_ = false;
};

BodySource::~BodySource() {
  pipe_->Abandon();
}

BodySource::State BodySource::Take(std::string& bytes, std::function<void()> wake) {
  return pipe_->Take(bytes, std::move(wake));
}

BodyWriter::BodyWriter() : pipe_(std::make_shared<BodyPipe>()), source_(std::make_shared<BodySource>(pipe_)) {}

BodyWriter::~BodyWriter() {
  try {
    pipe_->End(BodySource::State::kBrokenOff);
  } catch (...) {  // no memory to wake the sender with; it finds out when the server stops
  }
}

bool BodyWriter::Write(std::string_view bytes) {
  return pipe_->Write(bytes);
}

void BodyWriter::Finish() {
  pipe_->End(BodySource::State::kFinished);
}

}  // namespace surva::wire
