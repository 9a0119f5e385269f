#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "cbl/net/descriptor.h"
#include "helper/bus/frame_cutter.h"
#include "helper/bus/reply_slot.h"
#include "io/timers.h"

namespace helper {

/// One client of the bus server: frames come in through `receive` and `nextFrame`, their answers go out through `send`
/// in the order of the frames, whenever each was given. Never blocks. Slots that are still out hold on to it.
class CBusConnection : public CReplyTarget {
 public:
  /// Takes the connected, non-blocking `socket` over. `onAnswer` is called for each answer until `close`.
  CBusConnection(int socket, std::function<void()> onAnswer);

  int socket() const { return socket_.number(); }

  /// Takes what is there, at most 64 KiB. The peer's end of sending ends the input, a broken connection everything.
  void receive();
  void breakOff() { isBroken_ = true; }
  CFrameCutter::Cut nextFrame(std::string_view& frame) { return input_.next(frame); }

  /// The number of the next reply, which a slot takes it under.
  std::uint64_t expectReply();
  void take(std::uint64_t number, Delivery delivery) override;
  /// Sends what is due and what the socket takes. Result: false when a step has closed the connection.
  bool send(const io::CTimers& clock);

  /// Whether more requests may be taken in: not while a client has too many unanswered, or does not read its replies.
  bool hasRoom() const;
  /// Nothing can come in or go out any more.
  bool isOver() const { return isBroken_ || (inputEnded_ && queue_.empty()); }
  /// The epoll events to wait for on the socket.
  std::uint32_t interest() const;
  /// When `send` is to be called again without an event, if it is.
  std::optional<io::TimePoint> due() const;

  /// Closes the socket; what slots that are still out answer is dropped.
  void close();

 private:
  struct Reply {
    bool isGiven = false;
    Delivery delivery = {};
    std::size_t step = 0;  // the one to be sent next
  };

  bool isWaiting() const { return queue_.empty() || !queue_.front().isGiven; }
  void skipSentReplies();
  bool isDue(const Step& step, const io::CTimers& clock);
  bool sendStep(const Step& step, const io::CTimers& clock);

  cbl::CDescriptor socket_;
  std::function<void()> onAnswer_;
  CFrameCutter input_;
  bool inputEnded_ = false;
  bool isBroken_ = false;

  std::deque<Reply> queue_;
  std::uint64_t firstNumber_ = 0;  // of the first reply in the queue
  std::size_t unanswered_ = 0;
  std::size_t queuedBytes_ = 0;
  std::optional<io::TimePoint> due_;  // of the first step or of its next piece, where it has to wait
  std::size_t sent_ = 0;              // of the first step's bytes
  bool socketIsFull_ = false;
};

}  // namespace helper
