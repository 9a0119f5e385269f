#include "cbl/bus/tcp_client_base.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <optional>
#include <utility>

#include "cbl/net/tcp_socket.h"
#include "cbl/net/unix_socket.h"
#include "cbl/net/wait.h"

namespace cbl {

namespace {

constexpr std::int32_t kDefaultConnectTimeoutMs = 6000;
constexpr std::int32_t kInitialIoTimeoutMs = 3000;
constexpr std::int32_t kDefaultIoTimeoutMs = 6000;  // not the initial one: an asymmetry that hosts have come to know
constexpr std::int32_t kLargestPort = 65535;
constexpr std::int32_t kHandshakeTimeoutMs = 3000;
constexpr int kSendWaitAttempts = 4;

}  // namespace

CTcpClientBase::CTcpClientBase() : connectTimeoutMs_(kDefaultConnectTimeoutMs), ioTimeoutMs_(kInitialIoTimeoutMs) {}

CTcpClientBase::~CTcpClientBase() {
  closeAndJoin();
}

std::int32_t CTcpClientBase::setConnectTimeout(std::int32_t ms) {
  connectTimeoutMs_ = ms > 0 ? ms : kDefaultConnectTimeoutMs;
  return 0;
}

std::int32_t CTcpClientBase::setIoTimeout(std::int32_t ms) {
  ioTimeoutMs_ = ms > 0 ? ms : kDefaultIoTimeoutMs;
  return 0;
}

std::int32_t CTcpClientBase::setTcpAddress(const std::string& host, std::int32_t port) {
  if (host.empty() || port > kLargestPort) return -1;
  {
    const std::lock_guard lock(mutex_);
    if (tcpMode_ && host_ == host && port_ == port) return 0;
  }
  close();
  const std::lock_guard lock(mutex_);
  host_ = host;
  port_ = port;
  tcpMode_ = true;
  return 0;
}

std::int32_t CTcpClientBase::setUnixPath(const std::string& path) {
  if (path.empty()) return -1;
  {
    const std::lock_guard lock(mutex_);
    if (!tcpMode_ && unixPath_ == path) return 0;
  }
  close();
  const std::lock_guard lock(mutex_);
  unixPath_ = path;
  tcpMode_ = false;
  return 0;
}

std::int32_t CTcpClientBase::openConnection(std::int32_t timeoutMs, const std::string& interfaceName,
                                            Socket& opened) const {
  std::unique_lock lock(mutex_);
  const bool tcpMode = tcpMode_;
  const std::string host = host_;
  const std::int32_t port = port_;
  const std::string path = unixPath_;
  lock.unlock();

  const std::int32_t timeout = timeoutMs > 0 ? timeoutMs : connectTimeoutMs_.load();
  std::int32_t number = -1;
  if (!tcpMode && !path.empty()) {
    if (connectUnix(path, number, timeout) != 0) return -1;
    opened = std::make_shared<CDescriptor>(number);
    return 0;
  }
  if (tcpMode && !host.empty() && port >= 0) {
    if (createTcpSocket(number, true, interfaceName, "", -1) != 0) return -1;
    const Socket created = std::make_shared<CDescriptor>(number);
    if (connectTcp(number, host, port, timeout, std::nullopt) != 0) return -2;
    opened = created;
    return 0;
  }
  return -127;
}

std::int32_t CTcpClientBase::connect(std::int32_t timeoutMs, const std::string& interfaceName) {
  close();
  Socket opened;
  const std::int32_t result = openConnection(timeoutMs, interfaceName, opened);
  if (result != 0) return result;
  const std::lock_guard lock(mutex_);
  socket_ = std::move(opened);
  mayBeUnread_ = false;
  return 0;
}

std::int32_t CTcpClientBase::close() {
  stopAutoRecv();

  const std::lock_guard lock(mutex_);
  if (loop_) letGo(std::move(loop_));
  loop_.reset();
  dropSocket();
  return 0;
}

// For a call that has failed on `failed`: a connection that another thread has made since then stays.
void CTcpClientBase::closeFailed(const Socket& failed) {
  if (currentSocket() == failed) close();
}

// With the mutex held. The shutdown ends whatever another thread still does with the socket.
void CTcpClientBase::dropSocket() {
  if (socket_) shutdown(socket_->number(), SHUT_RDWR);
  socket_.reset();
}

// With the mutex held: tells a loop to end, and keeps it until its thread has.
void CTcpClientBase::letGo(Loop loop) {
  loop->abandon();
  if (loop->hasEnded()) {
    loop->join();
  } else {
    earlierLoops_.push_back(std::move(loop));
  }
}

void CTcpClientBase::closeAndJoin() {
  close();
  std::vector<Loop> loops;
  {
    const std::lock_guard lock(mutex_);
    loops.swap(earlierLoops_);
  }
  for (const Loop& loop : loops) loop->join();
}

bool CTcpClientBase::isConnected() const {
  const std::lock_guard lock(mutex_);
  return socket_ != nullptr;
}

bool CTcpClientBase::isAutoRecv() const {
  const Loop loop = currentLoop();
  return loop && loop->isRunning();
}

std::int32_t CTcpClientBase::recv(char* buffer, std::int32_t length, std::int32_t timeoutMs) {
  const Socket socket = currentSocket();
  if (!socket || buffer == nullptr || length <= 0) return -1;
  if (isReceiveThreadAlive()) return -2;

  const std::int32_t ready =
      waitFor(socket->number(), WaitFor::kReadable, timeoutMs > 0 ? timeoutMs : ioTimeoutMs_.load());
  if (ready < 0) return isTransient(errno) ? 0 : -3;
  if (ready == 0) return 0;

  const ssize_t count = ::recv(socket->number(), buffer, static_cast<std::size_t>(length), MSG_NOSIGNAL);
  if (count < 0) return isTransient(errno) ? 0 : -4;
  if (count > 0) mayBeUnread_ = false;
  if (count == 0) closeFailed(socket);
  return static_cast<std::int32_t>(count);
}

// Result: 1 writable; 0 time-out; -3 the wait failed, also when signals cut all attempts short.
std::int32_t CTcpClientBase::waitWritable(const CDescriptor& socket, std::int32_t timeoutMs) const {
  for (int attempt = 0; attempt < kSendWaitAttempts; ++attempt) {
    const std::int32_t ready = waitFor(socket.number(), WaitFor::kWritable, timeoutMs);
    if (ready >= 0) return ready;
    if (!isTransient(errno)) return -3;
  }
  return -3;
}

std::int32_t CTcpClientBase::send(const char* data, std::int32_t length, std::int32_t timeoutMs) {
  if (data == nullptr || length <= 0) return -1;
  Socket socket = currentSocket();
  if (!socket && connect(-1, "") == 0) socket = currentSocket();
  if (!socket) return -2;

  // A peer that has answered has read what was sent before: there is room, and the wait would only cost time.
  bool mustWait = mayBeUnread_.exchange(true);
  std::int32_t sent = 0;
  while (sent < length) {
    if (mustWait && sent == 0) {
      const std::int32_t ready = waitWritable(*socket, timeoutMs > 0 ? timeoutMs : ioTimeoutMs_.load());
      if (ready <= 0) return ready;
    } else if (mustWait) {
      waitFor(socket->number(), WaitFor::kWritable, -1);  // a frame once begun is finished, however long it takes
    }
    const ssize_t count =
        ::send(socket->number(), data + sent, static_cast<std::size_t>(length - sent), MSG_NOSIGNAL | MSG_DONTWAIT);
    mustWait = count < 0 && errno == EAGAIN;
    if (count == 0) return sent;
    if (count > 0) {
      sent += static_cast<std::int32_t>(count);
    } else if (!isTransient(errno)) {
      closeFailed(socket);
      return -4;
    }
  }
  return length;
}

std::int32_t CTcpClientBase::enableAutoRecv(bool on, const ReceiveCallback& callback) {
  if (on && !callback) return -1;
  if (!isConnected()) {
    if (!on) return 0;
    if (connect(-1, "") != 0) return -2;
  }
  if (isAutoRecv() && stopAutoRecv() != 0) return -3;
  if (!on) return 0;
  return startAutoRecv(callback) == 0 ? 0 : -4;
}

std::int32_t CTcpClientBase::startAutoRecv(const ReceiveCallback& callback) {
  const std::lock_guard startLock(startMutex_);
  if (stopAutoRecv() != 0) return -127;
  Socket socket;
  {
    const std::lock_guard lock(mutex_);
    if (loop_) letGo(std::move(loop_));  // one that has ended by itself
    loop_.reset();
    socket = socket_;
  }
  if (!socket) return -1;
  if (!finishEarlierLoops(kHandshakeTimeoutMs)) return -127;

  const Loop loop = std::make_shared<CReceiveLoop>(socket, ioTimeoutMs_.load(), callback,
                                                   [this](CReceiveLoop& ended) { reconnectAfterPeerClose(ended); });
  const std::int32_t result = loop->start();

  const std::lock_guard lock(mutex_);
  if (result == 0 && socket_ == socket) {
    loop_ = loop;
    return 0;
  }
  letGo(loop);
  return result != 0 ? result : -127;  // closed meanwhile by another thread
}

std::int32_t CTcpClientBase::stopAutoRecv() {
  const Loop loop = currentLoop();
  if (!loop || !loop->isRunning()) return 0;
  const std::int32_t result = loop->stop();
  if (result != 0) return result;

  const std::lock_guard lock(mutex_);
  if (loop_ != loop) return 0;  // another thread has stopped it meanwhile
  loop_->join();
  loop_.reset();
  return 0;
}

// On the receive thread. Connecting begins with closing, and closing waits 3000 ms in vain for this very thread: what
// the owner sees is the old connection staying for that long, then a new one without auto receive.
void CTcpClientBase::reconnectAfterPeerClose(CReceiveLoop& loop) {
  if (loop.waitForWakeUp(kHandshakeTimeoutMs)) return;
  {
    const std::lock_guard lock(mutex_);
    if (loop_.get() != &loop) return;
    loop.clearRunning();
    dropSocket();
  }
  Socket opened;
  if (openConnection(-1, "", opened) != 0) return;
  const std::lock_guard lock(mutex_);
  if (loop_.get() == &loop && !socket_) socket_ = std::move(opened);
}

CTcpClientBase::Socket CTcpClientBase::currentSocket() const {
  const std::lock_guard lock(mutex_);
  return socket_;
}

CTcpClientBase::Loop CTcpClientBase::currentLoop() const {
  const std::lock_guard lock(mutex_);
  return loop_;
}

bool CTcpClientBase::isReceiveThreadAlive() const {
  const std::lock_guard lock(mutex_);
  const auto isAlive = [](const Loop& loop) { return !loop->hasEnded(); };
  return (loop_ && loop_->isRunning()) || std::any_of(earlierLoops_.begin(), earlierLoops_.end(), isAlive);
}

// Result: whether every thread that was let go has ended within `ms` milliseconds.
bool CTcpClientBase::finishEarlierLoops(std::int32_t ms) {
  std::vector<Loop> loops;
  {
    const std::lock_guard lock(mutex_);
    loops = earlierLoops_;
  }
  const bool allEnded =
      std::all_of(loops.begin(), loops.end(), [ms](const Loop& loop) { return loop->waitForEnd(ms); });

  const std::lock_guard lock(mutex_);
  const auto ended =
      std::partition(earlierLoops_.begin(), earlierLoops_.end(), [](const Loop& loop) { return !loop->hasEnded(); });
  std::for_each(ended, earlierLoops_.end(), [](const Loop& loop) { loop->join(); });
  earlierLoops_.erase(ended, earlierLoops_.end());
  return allEnded;
}

}  // namespace cbl
