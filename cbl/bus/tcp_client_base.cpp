#include "cbl/bus/tcp_client_base.h"

#include <sys/socket.h>

#include <cerrno>
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
  const Socket created = std::make_shared<CDescriptor>();
  std::int32_t number = -1;
  if (!tcpMode && !path.empty()) {
    if (connectUnix(path, number, timeout) != 0) return -1;
    created->reset(number);
  } else if (tcpMode && !host.empty() && port >= 0) {
    if (createTcpSocket(number, true, interfaceName, "", -1) != 0) return -1;
    created->reset(number);
    if (connectTcp(number, host, port, timeout, std::nullopt) != 0) return -2;
  } else {
    return -127;
  }
  opened = created;
  return 0;
}

std::int32_t CTcpClientBase::connect(std::int32_t timeoutMs, const std::string& interfaceName) {
  close();
  Socket opened;
  const std::int32_t result = openConnection(timeoutMs, interfaceName, opened);
  if (result != 0) return result;
  const std::lock_guard lock(mutex_);
  dropSocket();
  socket_ = std::move(opened);
  return 0;
}

// The socket goes before the thread: a start that is under way sees either that its socket is gone, or has its loop let
// go here.
std::int32_t CTcpClientBase::close() {
  stopAutoRecv();
  {
    const std::lock_guard lock(mutex_);
    ++closings_;
    dropSocket();
  }
  receiver_.letGo();
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

void CTcpClientBase::closeAndJoin() {
  close();
  receiver_.join();
}

bool CTcpClientBase::isConnected() const {
  const std::lock_guard lock(mutex_);
  return socket_ != nullptr;
}

bool CTcpClientBase::isAutoRecv() const {
  return receiver_.isRunning();
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
  return sendOn(data, length, timeoutMs, false);
}

std::int32_t CTcpClientBase::sendToIdlePeer(const char* data, std::int32_t length, std::int32_t timeoutMs) {
  return sendOn(data, length, timeoutMs, true);
}

std::int32_t CTcpClientBase::sendOn(const char* data, std::int32_t length, std::int32_t timeoutMs, bool hasRoom) {
  if (data == nullptr || length <= 0) return -1;
  Socket socket = currentSocket();
  if (!socket && connect(-1, "") == 0) socket = currentSocket();
  if (!socket) return -2;

  std::int32_t sent = 0;
  while (sent < length) {
    if (!hasRoom && sent == 0) {
      const std::int32_t ready = waitWritable(*socket, timeoutMs > 0 ? timeoutMs : ioTimeoutMs_.load());
      if (ready <= 0) return ready;
    } else if (!hasRoom) {
      waitFor(socket->number(), WaitFor::kWritable, -1);  // a frame once begun is finished, however long it takes
    }
    const ssize_t count =
        ::send(socket->number(), data + sent, static_cast<std::size_t>(length - sent), MSG_NOSIGNAL | MSG_DONTWAIT);
    hasRoom = count >= 0 || errno != EAGAIN;
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
  const Socket socket = currentSocket();
  if (!socket) return -1;
  const std::int32_t result = receiver_.start(socket, ioTimeoutMs_.load(), callback,
                                              [this](CReceiveLoop& ended) { reconnectAfterPeerClose(ended); });
  if (result != 0 || currentSocket() == socket) return result;
  receiver_.letGo();  // closed meanwhile by another thread
  return -127;
}

std::int32_t CTcpClientBase::stopAutoRecv() {
  return receiver_.stop();
}

// On the receive thread. Connecting begins with closing, and closing waits 3000 ms in vain for this very thread: what
// the owner sees is the old connection staying for that long, then a new one without auto receive.
void CTcpClientBase::reconnectAfterPeerClose(CReceiveLoop& loop) {
  if (loop.waitForWakeUp(kHandshakeTimeoutMs)) return;
  std::unique_lock lock(mutex_);
  if (!loop.isOver(socket_)) return;
  loop.clearRunning();
  dropSocket();
  const std::uint64_t closings = closings_;
  lock.unlock();

  Socket opened;
  if (openConnection(-1, "", opened) != 0) return;
  lock.lock();
  if (closings_ == closings && !socket_) socket_ = std::move(opened);
}

CTcpClientBase::Socket CTcpClientBase::currentSocket() const {
  const std::lock_guard lock(mutex_);
  return socket_;
}

bool CTcpClientBase::isReceiveThreadAlive() const {
  return receiver_.isAlive();
}

}  // namespace cbl
