#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>

#include "cbl/net/descriptor.h"
#include "cbl/net/semaphore_ex.h"

namespace cbl {

/// How long a start or stop of the receive thread waits for the thread to say so, in ms.
inline constexpr std::int32_t kHandshakeTimeoutMs = 3000;

/// Receives a chunk of bytes on the receive thread; the bytes are valid during the call. Must not throw.
using ReceiveCallback = std::function<std::int32_t(const char* bytes, std::int32_t length)>;

/// One run of a receive thread over one socket. Thread and owner share this object, and with it everything the thread
/// touches: the socket's descriptor and the wake-up pipe are closed only when the last of the two lets go, so that the
/// thread never works on a number that has come to mean something else.
///
/// Nobody else may know a loop before `start` has returned. From then on the operations may be called from any thread;
/// `join` only by one.
class CReceiveLoop : public std::enable_shared_from_this<CReceiveLoop> {
 public:
  using PeerClosed = std::function<void(CReceiveLoop& loop)>;

  /// `ioTimeoutMs`: how often an idle thread wakes. `peerClosed` runs on the receive thread when the peer has closed;
  /// the thread ends after it.
  CReceiveLoop(std::shared_ptr<CDescriptor> socket, std::int32_t ioTimeoutMs, ReceiveCallback callback,
               PeerClosed peerClosed);
  ~CReceiveLoop();  ///< As `join`, which is not needed before it.

  CReceiveLoop(const CReceiveLoop&) = delete;
  CReceiveLoop& operator=(const CReceiveLoop&) = delete;

  /// Waits at most 3000 ms for the thread to run. Result: 0; -1 no pipe; -127 the thread does not start.
  std::int32_t start();
  /// Wakes the thread and waits at most 3000 ms for its end. Result: 0; -1 the wake-up failed; -2 it has not ended.
  std::int32_t stop();
  /// No callback from now on, and the thread ends as soon as it can. Does not wait.
  void abandon();
  /// Bytes received are dropped from now on.
  void clearRunning() { running_ = false; }

  bool isRunning() const { return running_; }
  bool isOver(const std::shared_ptr<CDescriptor>& socket) const { return socket_ == socket; }
  bool hasEnded() const { return ended_; }
  /// Result: whether the thread has ended within `ms` milliseconds.
  bool waitForEnd(std::int32_t ms);
  /// For the receive thread: whether `stop` wakes it within `ms` milliseconds.
  bool waitForWakeUp(std::int32_t ms) const;
  /// Waits without limit for the thread's end, or lets it go when called on that very thread.
  void join();

 private:
  void run();
  bool receiveChunk();
  bool wakeUp() const;

  const std::shared_ptr<CDescriptor> socket_;
  const std::int32_t ioTimeoutMs_;
  const ReceiveCallback callback_;
  const PeerClosed peerClosed_;
  CDescriptor wakeUpRead_;
  CDescriptor wakeUpWrite_;
  CSemaphoreEx startSemaphore_;
  CSemaphoreEx stopSemaphore_;
  std::atomic<bool> running_{true};
  std::atomic<bool> abandoned_{false};
  std::atomic<bool> ended_{false};
  std::thread thread_;
};

}  // namespace cbl
