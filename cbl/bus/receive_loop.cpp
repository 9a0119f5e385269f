#include "cbl/bus/receive_loop.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string_view>
#include <system_error>
#include <utility>

#include "cbl/net/wait.h"

namespace cbl {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kChunkSize = 16384;
constexpr std::string_view kStopWord = "@exit_auto_recv";  // only wakes the thread; nobody reads what it says

std::int32_t msUntil(Clock::time_point deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return left > 0 ? static_cast<std::int32_t>(left) : 0;
}

// A signal ends the semaphore's wait early; here it does not count.
bool waitWithin(CSemaphoreEx& semaphore, std::int32_t ms) {
  const auto deadline = Clock::now() + std::chrono::milliseconds(ms);
  do {
    if (semaphore.waitFor(msUntil(deadline)) == 0) return true;
  } while (msUntil(deadline) > 0);
  return false;
}

}  // namespace

CReceiveLoop::CReceiveLoop(std::shared_ptr<CDescriptor> socket, std::int32_t ioTimeoutMs, ReceiveCallback callback,
                           PeerClosed peerClosed)
    : socket_(std::move(socket)),
      ioTimeoutMs_(ioTimeoutMs),
      callback_(std::move(callback)),
      peerClosed_(std::move(peerClosed)) {}

CReceiveLoop::~CReceiveLoop() {
  join();
}

std::int32_t CReceiveLoop::start() {
  if (openPipe(wakeUpRead_, wakeUpWrite_) != 0) {
    ended_ = true;
    return -1;
  }

  try {
    thread_ = std::thread([self = shared_from_this()] { self->run(); });
  } catch (const std::system_error&) {
    ended_ = true;
    return -127;
  }
  return waitWithin(startSemaphore_, kHandshakeTimeoutMs) ? 0 : -127;
}

bool CReceiveLoop::wakeUp() const {
  const ssize_t written = write(wakeUpWrite_.number(), kStopWord.data(), kStopWord.size());
  return written == static_cast<ssize_t>(kStopWord.size());
}

std::int32_t CReceiveLoop::stop() {
  if (!wakeUp()) return -1;
  return waitForEnd(kHandshakeTimeoutMs) ? 0 : -2;
}

void CReceiveLoop::abandon() {
  running_ = false;
  abandoned_ = true;
  if (!ended_) wakeUp();
}

bool CReceiveLoop::waitForEnd(std::int32_t ms) {
  if (ended_) return true;
  if (!waitWithin(stopSemaphore_, ms)) return ended_;
  stopSemaphore_.post();  // the end stays visible to whoever else waits for it
  return true;
}

bool CReceiveLoop::waitForWakeUp(std::int32_t ms) const {
  const auto deadline = Clock::now() + std::chrono::milliseconds(ms);
  do {
    if (waitFor(wakeUpRead_.number(), WaitFor::kReadable, msUntil(deadline)) > 0) return true;
  } while (!abandoned_ && msUntil(deadline) > 0);
  return abandoned_;
}

void CReceiveLoop::join() {
  if (!thread_.joinable()) return;
  if (thread_.get_id() == std::this_thread::get_id()) {
    thread_.detach();
  } else {
    thread_.join();
  }
}

void CReceiveLoop::run() {
  startSemaphore_.post();
  while (!abandoned_) {
    PairReady ready;
    const std::int32_t waited = waitForEither(socket_->number(), wakeUpRead_.number(), ioTimeoutMs_, ready);
    if (waited < 0 && !isTransient(errno)) break;
    if (waited <= 0) continue;
    if (!ready.first) break;  // the stop word; when both are ready the socket is served first
    if (!receiveChunk()) break;
  }
  running_ = false;
  ended_ = true;
  stopSemaphore_.post();
}

// Result: whether the loop goes on.
bool CReceiveLoop::receiveChunk() {
  char chunk[kChunkSize];
  const ssize_t count = ::recv(socket_->number(), chunk, sizeof(chunk), MSG_NOSIGNAL);
  if (count < 0) return isTransient(errno);
  if (count == 0) {
    if (!abandoned_) peerClosed_(*this);
    return false;
  }
  if (running_ && callback_) callback_(chunk, static_cast<std::int32_t>(count));
  return true;
}

}  // namespace cbl
