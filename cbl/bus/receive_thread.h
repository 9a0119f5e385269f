#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "cbl/bus/receive_loop.h"

namespace cbl {

/// The life of a stream client's receive thread: one loop runs at a time, and one that was let go is kept until its
/// thread has ended. Callbacks, and what they own, are destroyed without any lock held, so that they may use the
/// client.
///
/// Every operation may be called from any thread; of two starts at once the later one's loop stays.
class CReceiveThread {
 public:
  CReceiveThread() = default;
  ~CReceiveThread();

  CReceiveThread(const CReceiveThread&) = delete;
  CReceiveThread& operator=(const CReceiveThread&) = delete;

  /// Replaces a running loop by a new one over `socket`. Result: 0; -1 no pipe; -127 the running one does not stop, an
  /// earlier one is still inside its callback, or the new one does not start, each within 3000 ms.
  std::int32_t start(std::shared_ptr<CDescriptor> socket, std::int32_t ioTimeoutMs, const ReceiveCallback& callback,
                     const CReceiveLoop::PeerClosed& peerClosed);
  /// Result: 0, also when none runs; -1 the wake-up failed; -2 the thread has not ended within 3000 ms (it stays).
  std::int32_t stop();
  /// No callback from now on, and the thread ends as soon as it can. Does not wait for one that is inside its callback.
  void letGo();
  /// `letGo`, then waits without limit for every thread, but for the calling one.
  void join();

  bool isRunning() const;
  /// Also true while a thread that was let go is still inside its callback.
  bool isAlive() const;

 private:
  using Loop = std::shared_ptr<CReceiveLoop>;

  Loop current() const;
  bool takeOut(const Loop& loop);
  bool waitForEarlier(std::int32_t ms);
  void joinEnded();

  std::atomic<bool> wasStarted_{false};  // spares the others the lock
  mutable std::mutex mutex_;             // guards what follows; never held while waiting or while a loop is destroyed
  Loop loop_;
  std::vector<Loop> earlierLoops_;
};

}  // namespace cbl
