#include "io/udp_datagrams.h"

#include <linux/errqueue.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "io/network_interfaces.h"
#include "io/socket_address.h"
#include "io/system_failure.h"

namespace io {

namespace {

// Whether an earlier datagram's fate is what a call has reported; it is then of no meaning for the call itself.
bool isOldNews(int failure) {
  return failure == ECONNREFUSED || failure == EHOSTUNREACH || failure == ENETUNREACH || failure == EINTR;
}

// Whether a connected socket may have failed for the address that this machine had when it was connected.
bool mayBeForAnOldAddress(int failure) {
  return failure == EINVAL || failure == EADDRNOTAVAIL || failure == ENETUNREACH || failure == EHOSTUNREACH;
}

bool saysRefused(msghdr& message) {
  for (const cmsghdr* each = CMSG_FIRSTHDR(&message); each != nullptr;
       each = CMSG_NXTHDR(&message, const_cast<cmsghdr*>(each))) {
    if (each->cmsg_level != IPPROTO_IP || each->cmsg_type != IP_RECVERR) continue;
    return reinterpret_cast<const sock_extended_err*>(CMSG_DATA(each))->ee_errno == ECONNREFUSED;
  }
  return false;
}

}  // namespace

CUdpDatagrams::CUdpDatagrams(CEventLoop& loop, const UdpOptions& options)
    : loop_(loop), socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)), peer_(options.peer) {
  try {
    open(options);
  } catch (...) {
    if (socket_ >= 0) ::close(socket_);
    throw;
  }
}

CUdpDatagrams::~CUdpDatagrams() {
  loop_.unwatch(socket_);
  ::close(socket_);
}

void CUdpDatagrams::open(const UdpOptions& options) {
  if (socket_ < 0) failWithErrno("socket");
  set(SOL_SOCKET, SO_BROADCAST, "SO_BROADCAST");
  set(IPPROTO_IP, IP_RECVERR, "IP_RECVERR");  // a closed port is told together with its address
  if (options.isShared) {
    set(SOL_SOCKET, SO_REUSEADDR, "SO_REUSEADDR");
    set(SOL_SOCKET, SO_REUSEPORT, "SO_REUSEPORT");
  }
  const SocketAddress local(options.local);
  if (::bind(socket_, local.get(), local.size()) != 0) failWithErrno("bind");
  if (peer_ && !connectTo(*peer_)) failWithErrno("connect");
  if (!readLocal()) failWithErrno("getsockname");
  if (!loop_.watch(socket_, EPOLLIN, [this](std::uint32_t events) { onEvents(events); })) failWithErrno("epoll_ctl");
}

bool CUdpDatagrams::connectTo(const Address& peer) const {
  const SocketAddress address(peer);
  return ::connect(socket_, address.get(), address.size()) == 0;
}

bool CUdpDatagrams::readLocal() {
  SocketAddress own;
  if (::getsockname(socket_, own.get(), &own.length) != 0) return false;
  local_ = own.address();
  return true;
}

// Connecting has bound the socket to the address that this machine had then. Done only where there is another one by
// now: a socket that is not connected takes what is for others on its port.
bool CUdpDatagrams::followOwnAddress() {
  const auto way = interfaceTowards(peer_->ip);
  if (!way || way->ip == local_.ip) return false;
  sockaddr nobody{};
  nobody.sa_family = AF_UNSPEC;
  return ::connect(socket_, &nobody, sizeof(nobody)) == 0 && connectTo(*peer_) && readLocal();
}

void CUdpDatagrams::set(int level, int option, const char* step) const {
  const int on = 1;
  if (::setsockopt(socket_, level, option, &on, sizeof(on)) != 0) failWithErrno(step);
}

void CUdpDatagrams::send(const Address& to, std::string_view bytes) {
  if (trySend(to, bytes) || peer_ != to || !mayBeForAnOldAddress(errno)) return;
  if (followOwnAddress()) trySend(to, bytes);
}

// Result: false with errno.
bool CUdpDatagrams::trySend(const Address& to, std::string_view bytes) const {
  const SocketAddress address(to);
  const bool isPeer = peer_ == to;
  // What became of earlier datagrams is reported once each by the next call, which then has sent nothing.
  constexpr int kMostTries = 4;
  for (int i = 0; i < kMostTries; ++i) {
    const ssize_t sent = ::sendto(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL, isPeer ? nullptr : address.get(),
                                  isPeer ? 0 : address.size());
    if (sent >= 0) return true;
    if (!isOldNews(errno)) break;
  }
  return false;
}

// Errors that cannot be read, as under an emulator, must not keep datagrams from being read.
void CUdpDatagrams::onEvents(std::uint32_t events) {
  if ((events & EPOLLERR) != 0) {
    const std::weak_ptr<const bool> alive = alive_;
    readErrors();
    if (alive.expired()) return;
  }
  if ((events & EPOLLIN) != 0) receive();
}

void CUdpDatagrams::receive() {
  std::array<char, kLongest> bytes;
  SocketAddress from;
  const ssize_t length =
      ::recvfrom(socket_, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_TRUNC, from.get(), &from.length);
  const auto handler = receiveHandler_;  // lives on when it destroys or replaces itself
  if (!*handler || length < 0 || static_cast<std::size_t>(length) > bytes.size()) return;
  (*handler)(from.address(), std::string_view(bytes.data(), static_cast<std::size_t>(length)));
}

void CUdpDatagrams::readErrors() {
  const std::weak_ptr<const bool> alive = alive_;
  constexpr int kMostPerTurn = 16;
  for (int i = 0; i < kMostPerTurn && !alive.expired(); ++i) {
    SocketAddress to;
    alignas(cmsghdr) std::array<char, 512> control{};
    msghdr message{};
    message.msg_name = to.get();
    message.msg_namelen = to.size();
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    if (::recvmsg(socket_, &message, MSG_ERRQUEUE | MSG_DONTWAIT) < 0) break;
    if (!refusedHandler_ || !saysRefused(message)) continue;
    const RefusedHandler handler = refusedHandler_;
    handler(to.address());
  }
  if (alive.expired()) return;
  int taken = 0;  // reading it clears what is pending beside the queue
  socklen_t size = sizeof(taken);
  static_cast<void>(::getsockopt(socket_, SOL_SOCKET, SO_ERROR, &taken, &size));
}

}  // namespace io
