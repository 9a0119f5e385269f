#include "cbl/bus/receive_thread.h"

#include <algorithm>
#include <utility>

namespace cbl {

CReceiveThread::~CReceiveThread() {
  join();
}

std::int32_t CReceiveThread::start(std::shared_ptr<CDescriptor> socket, std::int32_t ioTimeoutMs,
                                   const ReceiveCallback& callback, const CReceiveLoop::PeerClosed& peerClosed) {
  wasStarted_ = true;
  if (stop() != 0) return -127;
  letGo();  // one that has ended by itself
  if (!waitForEarlier(kHandshakeTimeoutMs)) return -127;

  const Loop loop = std::make_shared<CReceiveLoop>(std::move(socket), ioTimeoutMs, callback, peerClosed);
  const std::int32_t result = loop->start();
  letGo();  // what another thread has started meanwhile
  {
    const std::lock_guard lock(mutex_);
    loop_ = loop;
  }
  if (result != 0) letGo();
  return result;
}

std::int32_t CReceiveThread::stop() {
  const Loop loop = current();
  if (!loop || !loop->isRunning()) return 0;
  const std::int32_t result = loop->stop();
  if (result != 0) return result;
  if (takeOut(loop)) loop->join();  // otherwise another thread has stopped it meanwhile
  return 0;
}

void CReceiveThread::letGo() {
  Loop loop;
  {
    const std::lock_guard lock(mutex_);
    if (loop_) earlierLoops_.push_back(loop_);
    loop.swap(loop_);
  }
  if (loop) loop->abandon();
  joinEnded();
}

void CReceiveThread::join() {
  letGo();
  std::vector<Loop> loops;
  {
    const std::lock_guard lock(mutex_);
    loops.swap(earlierLoops_);
  }
  for (const Loop& loop : loops) loop->join();
}

bool CReceiveThread::isRunning() const {
  const Loop loop = current();
  return loop && loop->isRunning();
}

bool CReceiveThread::isAlive() const {
  if (!wasStarted_) return false;
  const std::lock_guard lock(mutex_);
  const auto isAlive = [](const Loop& loop) { return !loop->hasEnded(); };
  return (loop_ && loop_->isRunning()) || std::any_of(earlierLoops_.begin(), earlierLoops_.end(), isAlive);
}

CReceiveThread::Loop CReceiveThread::current() const {
  const std::lock_guard lock(mutex_);
  return loop_;
}

// Result: whether it was the current one; who took it out joins it.
bool CReceiveThread::takeOut(const Loop& loop) {
  const std::lock_guard lock(mutex_);
  if (loop_ != loop) return false;
  loop_.reset();
  return true;
}

// Result: whether every thread that was let go has ended, each within `ms` milliseconds.
bool CReceiveThread::waitForEarlier(std::int32_t ms) {
  std::vector<Loop> loops;
  {
    const std::lock_guard lock(mutex_);
    loops = earlierLoops_;
  }
  const bool allEnded =
      std::all_of(loops.begin(), loops.end(), [ms](const Loop& loop) { return loop->waitForEnd(ms); });
  joinEnded();
  return allEnded;
}

void CReceiveThread::joinEnded() {
  std::vector<Loop> ended;
  {
    const std::lock_guard lock(mutex_);
    const auto firstEnded =
        std::partition(earlierLoops_.begin(), earlierLoops_.end(), [](const Loop& loop) { return !loop->hasEnded(); });
    ended.assign(firstEnded, earlierLoops_.end());
    earlierLoops_.erase(firstEnded, earlierLoops_.end());
  }
  for (const Loop& loop : ended) loop->join();
}

}  // namespace cbl
