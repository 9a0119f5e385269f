#include "cbl/net/tcp_socket.h"

#include <net/if.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "cbl/net/address_text.h"
#include "cbl/net/descriptor.h"
#include "cbl/net/wait.h"

namespace cbl {

namespace {

constexpr std::int32_t kDefaultConnectTimeoutMs = 6000;
constexpr std::int32_t kLargestPort = 65535;
constexpr std::int32_t kConnectShift = 2;  // keeps a failed connect visible behind connect by address

bool setOption(std::int32_t descriptor, int level, int name, int value) {
  return setsockopt(descriptor, level, name, &value, sizeof(value)) == 0;
}

std::int32_t wholeSeconds(std::int32_t ms) {
  return ms >= 500 ? static_cast<std::int32_t>((ms + 500LL) / 1000) : 1;
}

// `ip` is an IPv4 text, or empty for any address. The numbers are decimal, whatever zeros they start with.
sockaddr_in makeAddress(const std::string& ip, std::int32_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  std::array<std::uint8_t, 4> bytes{};
  if (parseIpv4(ip, bytes)) std::memcpy(&address.sin_addr, bytes.data(), bytes.size());
  return address;
}

// The kernel would cut a longer name, and take the interface of the shorter one.
bool bindToInterface(int descriptor, const std::string& name) {
  return name.size() < IFNAMSIZ && setsockopt(descriptor, SOL_SOCKET, SO_BINDTODEVICE, name.c_str(),
                                              static_cast<socklen_t>(name.size() + 1)) == 0;
}

bool isConnectable(const std::string& ip, std::int32_t port) {
  return isIpv4Text(ip) && port >= 1 && port <= kLargestPort;
}

}  // namespace

std::int32_t createTcpSocket(std::int32_t& descriptor, bool nonBlocking, const std::string& interfaceName,
                             const std::string& localIp, std::int32_t localPort) {
  CDescriptor opened(liftAboveStreams(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP)));
  if (opened.number() < 0) return -1;
  if (setNonBlocking(opened.number(), nonBlocking) != 0) return -2;
  if (!setOption(opened.number(), SOL_SOCKET, SO_REUSEADDR, 1)) return -3;

  if (!interfaceName.empty() && !bindToInterface(opened.number(), interfaceName)) return -2;

  if (!localIp.empty() || (localPort >= 0 && localPort <= kLargestPort)) {
    if (localPort > kLargestPort || (!localIp.empty() && !isIpv4Text(localIp))) return -3;
    const sockaddr_in local = makeAddress(localIp, localPort < 0 ? 0 : localPort);
    if (bind(opened.number(), reinterpret_cast<const sockaddr*>(&local), sizeof(local)) != 0) return -3;
  }
  descriptor = opened.release();
  return 0;
}

std::int32_t connectTcp(std::int32_t descriptor, const std::string& ip, std::int32_t port, std::int32_t timeoutMs,
                        const std::optional<KeepAlive>& keepAlive) {
  if (descriptor < 0 || !isConnectable(ip, port)) return -1;
  if (setNonBlocking(descriptor, true) != 0) return -2;

  const sockaddr_in remote = makeAddress(ip, port);
  (void)connect(descriptor, reinterpret_cast<const sockaddr*>(&remote), sizeof(remote));  // asked below
  if (waitFor(descriptor, WaitFor::kWritable, timeoutMs <= 0 ? kDefaultConnectTimeoutMs : timeoutMs) < 1) return -3;

  sockaddr_in peer{};
  socklen_t length = sizeof(peer);
  if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &length) != 0 && errno == ENOTCONN) return -4;

  if (setKeepAlive(descriptor, keepAlive.value_or(KeepAlive{})) != 0) return keepAlive ? -5 : -6;
  return 0;
}

std::int32_t connectTcp(const std::string& ip, std::int32_t port, std::int32_t& descriptor, std::int32_t timeoutMs,
                        const std::optional<KeepAlive>& keepAlive) {
  if (!isConnectable(ip, port)) return -1;
  std::int32_t number = -1;
  if (createTcpSocket(number, true, "", "", -1) != 0) return -2;
  CDescriptor opened(number);

  const std::int32_t result = connectTcp(number, ip, port, timeoutMs, keepAlive);
  if (result != 0) return result - kConnectShift;
  descriptor = opened.release();
  return 0;
}

std::int32_t setKeepAlive(std::int32_t descriptor, const KeepAlive& keepAlive) {
  const bool enabled = keepAlive.enable != 0;
  if (enabled && (keepAlive.idleMs < 1 || keepAlive.intervalMs < 1 || keepAlive.count < 1)) return -1;

  if (!setOption(descriptor, SOL_SOCKET, SO_KEEPALIVE, keepAlive.enable)) return -2;
  if (!enabled) return 0;
  if (!setOption(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, wholeSeconds(keepAlive.idleMs))) return -3;
  if (!setOption(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, wholeSeconds(keepAlive.intervalMs))) return -4;
  if (!setOption(descriptor, IPPROTO_TCP, TCP_KEEPCNT, keepAlive.count)) return -5;
  return 0;
}

}  // namespace cbl
