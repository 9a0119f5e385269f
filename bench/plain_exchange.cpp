#include "bench/plain_exchange.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace bench {

namespace {

bool sendAll(int socket, const std::string& bytes) {
  return write(socket, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
}

bool receiveAll(int socket, std::string& bytes) {
  return read(socket, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
}

void require(int result, const char* step) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), step);
}

using Pair = std::array<int, 2>;

Pair unixPair() {
  Pair ends;
  require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), "socketpair");
  return ends;
}

sockaddr_in bindToLoopback(int socket) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof(address);
  require(bind(socket, reinterpret_cast<sockaddr*>(&address), length), "bind");
  require(getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length), "getsockname");
  return address;
}

Pair udpPair() {
  Pair ends;
  std::array<sockaddr_in, 2> addresses;
  for (std::size_t i = 0; i < ends.size(); ++i) {
    require(ends[i] = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), "socket");
    addresses[i] = bindToLoopback(ends[i]);
  }
  for (std::size_t i = 0; i < ends.size(); ++i) {
    const auto* const other = reinterpret_cast<const sockaddr*>(&addresses[1 - i]);
    require(connect(ends[i], other, sizeof(sockaddr_in)), "connect");
  }
  return ends;
}

}  // namespace

CPlainExchange::CPlainExchange(Over over, std::size_t requestLength, std::size_t replyLength)
    : request_(requestLength, 'q'), reply_(replyLength, 'r') {
  const Pair ends = over == Over::kUnixSocket ? unixPair() : udpPair();
  socket_.reset(ends[0]);
  const cbl::CDescriptor far(ends[1]);
  peer_ = std::make_unique<CChildProcess>([&] {
    while (receiveAll(far.number(), request_) && sendAll(far.number(), reply_)) {
    }
  });
}

void CPlainExchange::exchange() {
  if (!sendAll(socket_.number(), request_) || !receiveAll(socket_.number(), reply_)) {
    throw std::runtime_error("plain write/read was cut short");
  }
}

}  // namespace bench
