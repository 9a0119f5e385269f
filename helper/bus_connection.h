#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string_view>

#include "cbl/net/descriptor.h"
#include "helper/delivery.h"
#include "helper/frame_cutter.h"

namespace helper {

using Clock = std::chrono::steady_clock;

/// One client of the bus server: frames come in through `receive` and `nextFrame`, steps go out through `enqueue` and
/// `send`, in order. Never blocks.
class CBusConnection {
 public:
  /// Takes the connected, non-blocking `socket` over.
  explicit CBusConnection(int socket);

  /// Takes what is there, at most 64 KiB. The peer's end of sending ends the input, a broken connection everything.
  void receive();
  void breakOff() { isBroken_ = true; }
  CFrameCutter::Cut nextFrame(std::string_view& frame) { return input_.next(frame); }

  void enqueue(Delivery delivery, Clock::time_point now);
  /// Sends what is due and what the socket takes, up to the first step with an aftermath, which is the result.
  Aftermath send(Clock::time_point now);

  /// Whether more requests may be taken in: not while a client that does not read its replies has too many waiting.
  bool hasRoom() const;
  /// Nothing can come in or go out any more.
  bool isOver() const { return isBroken_ || (inputEnded_ && queue_.empty()); }
  /// The events to wait for on the socket.
  std::uint32_t interest() const;
  /// When `send` is to be called again without an event, if it is.
  std::optional<Clock::time_point> due() const;

 private:
  void startStep(Clock::time_point now);

  cbl::CDescriptor socket_;
  CFrameCutter input_;
  bool inputEnded_ = false;
  bool isBroken_ = false;

  std::deque<Step> queue_;
  std::size_t queuedBytes_ = 0;
  Clock::time_point due_;  // of the first step or of its next piece
  std::size_t sent_ = 0;   // of the first step's bytes
  bool socketIsFull_ = false;
};

}  // namespace helper
