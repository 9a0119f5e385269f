#include "cbl/net/unix_socket.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "cbl/net/descriptor.h"
#include "cbl/net/wait.h"

namespace cbl {

namespace {

constexpr std::int32_t kStepShift = 16;  // keeps a failed step visible behind the whole connect

bool exists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

}  // namespace

std::int32_t connectUnix(const std::string& path, std::int32_t& descriptor, std::int32_t timeoutMs) {
  if (!exists(path)) return -1;

  CDescriptor opened(liftAboveStreams(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)));
  if (opened.number() < 0) return -2;

  const std::int32_t step = connectUnixStep(opened.number(), path, timeoutMs);
  if (step != 0) return step - kStepShift;

  descriptor = opened.release();
  return 0;
}

std::int32_t connectUnixStep(std::int32_t descriptor, const std::string& path, std::int32_t timeoutMs) {
  sockaddr_un address{};
  if (descriptor < 0 || !exists(path) || path.size() >= sizeof(address.sun_path)) return -1;

  if (setNonBlocking(descriptor, true) != 0) return -2;

  // Whether it worked is asked below: a refused connect is at once ready for writing and has no peer.
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  (void)connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address));

  if (waitFor(descriptor, WaitFor::kWritable, timeoutMs <= 0 ? -1 : timeoutMs) < 1) return -3;

  sockaddr_un peer{};
  socklen_t length = sizeof(peer);
  if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &length) != 0 && errno == ENOTCONN) return -4;
  return 0;
}

}  // namespace cbl
