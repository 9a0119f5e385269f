#include "support/bus_peer.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "cbl/bus/big_endian.h"
#include "cbl/bus/frame_layout.h"
#include "cbl/bus/velix_message.h"
#include "support/poll.h"

namespace support {

namespace {

int listenOn(const std::string& path) {
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof(address.sun_path)) throw std::runtime_error("socket path too long: " + path);
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  unlink(path.c_str());
  if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 || listen(listener, 16) != 0) {
    throw std::runtime_error("cannot listen on " + path);
  }
  return listener;
}

// What the other side has not read yet.
int unreadBytes(int descriptor) {
  int bytes = 0;
  return ioctl(descriptor, SIOCOUTQ, &bytes) == 0 ? bytes : 0;
}

bool sendAll(int descriptor, const std::string& bytes) {
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t count = ::send(descriptor, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) return false;
    sent += static_cast<std::size_t>(count);
  }
  return true;
}

}  // namespace

BusPeer::BusPeer(std::string path, Answer answer)
    : path_(std::move(path)),
      answer_(std::move(answer)),
      listener_(listenOn(path_)),
      wakeUp_(eventfd(0, EFD_CLOEXEC)),
      thread_([this] { run(); }) {}

BusPeer::~BusPeer() {
  stopping_ = true;
  closeConnections();
  eventfd_write(wakeUp_.number(), 1);
  thread_.join();
  for (const Connection& connection : connections_) ::close(connection.descriptor);
  unlink(path_.c_str());
}

void BusPeer::send(const std::string& bytes) {
  const std::lock_guard lock(mutex_);
  for (const Connection& connection : connections_) sendAll(connection.descriptor, bytes);
}

bool BusPeer::allRead() const {
  const std::lock_guard lock(mutex_);
  return std::all_of(connections_.begin(), connections_.end(),
                     [](const Connection& connection) { return unreadBytes(connection.descriptor) == 0; });
}

// The thread sees the end of the stream and closes the descriptors, so that no number changes its meaning under it.
void BusPeer::closeConnections() {
  const std::lock_guard lock(mutex_);
  for (const Connection& connection : connections_) shutdown(connection.descriptor, SHUT_RDWR);
}

std::size_t BusPeer::openConnections() const {
  const std::lock_guard lock(mutex_);
  return connections_.size();
}

std::vector<PeerRequest> BusPeer::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

void BusPeer::run() {
  while (!stopping_) {
    std::vector<pollfd> entries = {{listener_.number(), POLLIN, 0}, {wakeUp_.number(), POLLIN, 0}};
    for (const Connection& connection : connections_) entries.push_back({connection.descriptor, POLLIN, 0});
    if (poll(entries.data(), entries.size(), -1) < 0) continue;

    for (std::size_t i = 2; i < entries.size(); ++i) {
      Connection& connection = connections_[i - 2];
      if (entries[i].revents == 0 || readFrom(connection)) continue;
      const std::lock_guard lock(mutex_);
      ::close(connection.descriptor);
      connection.descriptor = -1;
    }
    {
      const std::lock_guard lock(mutex_);
      const auto isClosed = [](const Connection& connection) { return connection.descriptor < 0; };
      connections_.erase(std::remove_if(connections_.begin(), connections_.end(), isClosed), connections_.end());
    }
    if (entries[0].revents != 0) acceptOne();
  }
}

void BusPeer::acceptOne() {
  const int descriptor = accept4(listener_.number(), nullptr, nullptr, SOCK_CLOEXEC);
  if (descriptor < 0) return;
  const timeval limit{10, 0};
  setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));  // a client that never reads is given up
  const std::lock_guard lock(mutex_);
  connections_.push_back({descriptor, accepted_ + 1, ""});
  ++accepted_;  // afterwards: who has seen the number may send
}

// Result of this and the following: whether the connection stays open.
bool BusPeer::readFrom(Connection& connection) {
  char chunk[65536];
  const ssize_t count = ::recv(connection.descriptor, chunk, sizeof(chunk), 0);
  if (count <= 0) return false;
  connection.received.append(chunk, static_cast<std::size_t>(count));
  return serveRequests(connection);
}

bool BusPeer::serveRequests(Connection& connection) {
  std::string& received = connection.received;
  while (received.size() >= cbl::frame::kOverhead) {
    const std::size_t bodyLength = cbl::loadBigEndian<std::uint32_t>(received.data() + cbl::frame::kBodyLengthAt);
    const std::size_t length = cbl::frame::kOverhead + bodyLength;
    if (received.compare(0, cbl::frame::kMagic.size(), cbl::frame::kMagic) != 0) {
      ++faults_;
      return false;
    }
    if (received.size() < length) return true;

    PeerRequest request;
    request.connection = connection.number;
    cbl::CVelixMessage message;
    if (cbl::CBusProtocol().unpack(received.data(), static_cast<std::int32_t>(length), request.frame) < 0 ||
        message.load(request.frame.body) < 0) {
      ++faults_;
      return false;
    }
    received.erase(0, length);
    request.elements = message;
    {
      const std::lock_guard lock(mutex_);
      requests_.push_back(request);
    }
    if (answer_ && !sendAnswer(connection, answer_(request))) return false;
  }
  return true;
}

bool BusPeer::sendAnswer(const Connection& connection, const PeerAnswer& answer) {
  for (const std::string& piece : answer.pieces) {
    waitUntil([&] { return stopping_ || unreadBytes(connection.descriptor) == 0; });
    if (!sendAll(connection.descriptor, piece)) return false;
  }
  return !answer.close;
}

}  // namespace support
