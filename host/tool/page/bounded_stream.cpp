#include "host/tool/page/bounded_stream.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "io/address.h"

namespace tool {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kForRequest{5};
constexpr std::chrono::seconds kForAnswer{10};
constexpr std::size_t kLargestRequest = std::size_t{32} << 10U;

using NameCall = int (*)(int, sockaddr*, socklen_t*);

void nameOf(NameCall call, int socket, std::string& ip, int& port) {
  sockaddr_in name{};
  socklen_t size = sizeof(name);
  if (call(socket, reinterpret_cast<sockaddr*>(&name), &size) != 0 || name.sin_family != AF_INET) return;
  ip = io::ipText(ntohl(name.sin_addr.s_addr));
  port = ntohs(name.sin_port);
}

}  // namespace

CBoundedStream::CBoundedStream(int socket, int end)
    : socket_(socket), end_(end), readUntil_(steady_clock::now() + kForRequest), room_(kLargestRequest) {}

bool CBoundedStream::waitFor(short events, TimePoint until) const {
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - steady_clock::now()).count();
    if (left <= 0) return false;
    std::array<pollfd, 2> entries = {{{socket_, events, 0}, {end_, POLLIN, 0}}};
    const int ready = poll(entries.data(), entries.size(), static_cast<int>(left));
    if (ready < 0 && errno == EINTR) continue;
    return ready > 0 && entries[1].revents == 0;
  }
}

bool CBoundedStream::fill() {
  if (room_ == 0 || !waitFor(POLLIN, readUntil_)) return false;
  const ssize_t came = recv(socket_, buffer_.data(), std::min(buffer_.size(), room_), MSG_DONTWAIT);
  if (came <= 0) return false;
  begin_ = 0;
  count_ = static_cast<std::size_t>(came);
  room_ -= count_;
  return true;
}

bool CBoundedStream::is_readable() const {
  return count_ > 0 || waitFor(POLLIN, readUntil_);
}

bool CBoundedStream::is_writable() const {
  char next = 0;
  if (recv(socket_, &next, 1, MSG_PEEK | MSG_DONTWAIT) == 0) return false;  // the viewer has closed it
  return waitFor(POLLOUT, steady_clock::now() + kForAnswer);
}

ssize_t CBoundedStream::read(char* data, std::size_t size) {
  if (count_ == 0 && !fill()) return -1;
  const std::size_t taken = std::min(size, count_);
  std::memcpy(data, buffer_.data() + begin_, taken);
  begin_ += taken;
  count_ -= taken;
  return static_cast<ssize_t>(taken);
}

ssize_t CBoundedStream::write(const char* data, std::size_t size) {
  const auto until = steady_clock::now() + kForAnswer;
  std::size_t written = 0;
  while (written < size) {
    if (!waitFor(POLLOUT, until)) return -1;
    const ssize_t count = send(socket_, data + written, size - written, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count < 0 && errno != EAGAIN && errno != EINTR) return -1;
    if (count > 0) written += static_cast<std::size_t>(count);
  }
  return static_cast<ssize_t>(size);
}

void CBoundedStream::get_remote_ip_and_port(std::string& ip, int& port) const {
  nameOf(getpeername, socket_, ip, port);
}

void CBoundedStream::get_local_ip_and_port(std::string& ip, int& port) const {
  nameOf(getsockname, socket_, ip, port);
}

}  // namespace tool
