// A body that one thread makes piece by piece while the I/O thread sends it, with little of it in memory.
//
//   wire::BodyWriter writer;
//   answer.stream = writer.source();
//   respond(std::move(answer));
//   while (...) if (!writer.Write(piece)) return;  // the visitor has gone
//   writer.Finish();
#pragma once

#include <cassert>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace surva::wire {

class BodyPipe;

// The sender's end; it belongs to the answer. When it goes, the writer is told to stop.
class BodySource {
 public:
  enum class State { kGoesOn, kFinished, kBrokenOff };

  explicit BodySource(std::shared_ptr<BodyPipe> pipe) : pipe_(std::move(pipe)) {}
  ~BodySource();
  BodySource(const BodySource&) = delete;
  BodySource& operator=(const BodySource&) = delete;

  // Takes all that is written and makes room for more; kFinished or kBrokenOff with the last of it. If nothing is
  // there and more is to come, `wake` is called once, from any thread, as soon as there is.
  State Take(std::string& bytes, std::function<void()> wake);

 private:
  std::shared_ptr<BodyPipe> pipe_;
};

// The maker's end, for one thread. A writer that goes before it has finished breaks the body off: the connection is
// cut, so that nobody takes what came for all there is.
class BodyWriter {
 public:
  BodyWriter();
  ~BodyWriter();
  BodyWriter(const BodyWriter&) = delete;
  BodyWriter& operator=(const BodyWriter&) = delete;

  // To be called once.
  std::shared_ptr<BodySource> source() {
    assert(source_ != nullptr && "a body with two senders");
    return std::move(source_);
  }

  // Waits while more than a quarter of a mebibyte is unsent. False once nobody takes it any more: the visitor has gone,
  // asked for the head only, or was too slow; a piece of nothing finds out without waiting.
  bool Write(std::string_view bytes);
  void Finish();

 private:
  std::shared_ptr<BodyPipe> pipe_;
  std::shared_ptr<BodySource> source_;
};

}  // namespace surva::wire
