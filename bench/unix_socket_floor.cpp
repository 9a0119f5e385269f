#include "bench/unix_socket_floor.h"

#include <sys/socket.h>
#include <unistd.h>

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

}  // namespace

CUnixSocketFloor::CUnixSocketFloor(std::size_t requestLength, std::size_t replyLength)
    : request_(requestLength, 'q'), reply_(replyLength, 'r') {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
    throw std::system_error(errno, std::generic_category(), "socketpair");
  }
  socket_.reset(ends[0]);
  const cbl::CDescriptor far(ends[1]);
  peer_ = std::make_unique<CChildProcess>([&] {
    while (receiveAll(far.number(), request_) && sendAll(far.number(), reply_)) {
    }
  });
}

void CUnixSocketFloor::exchange() {
  if (!sendAll(socket_.number(), request_) || !receiveAll(socket_.number(), reply_)) {
    throw std::runtime_error("plain write/read was cut short");
  }
}

}  // namespace bench
