#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace cbl {

struct KeepAlive {
  std::int32_t enable = 1;
  std::int32_t idleMs = 1000;
  std::int32_t intervalMs = 100;
  std::int32_t count = 9;
};

/// Opens an IPv4 stream socket (close-on-exec, above 2, address reuse on), tied to network interface `interfaceName`
/// unless that is empty, and bound unless `localIp` is empty and `localPort` lies outside 0 to 65535. An empty
/// `localIp` binds to any address, a negative `localPort` to any port. `descriptor` is written on success only and
/// belongs to the caller.
/// Result: 0; -1 no socket; -2 non-blocking mode or the interface refused; -3 address reuse or the bind refused.
std::int32_t createTcpSocket(std::int32_t& descriptor, bool nonBlocking, const std::string& interfaceName,
                             const std::string& localIp, std::int32_t localPort);

/// Connects `descriptor` to `ip`:`port` within `timeoutMs` milliseconds (0 or less: 6000) and sets keep-alive, the
/// defaults when none is given. The socket stays non-blocking, and open on failure.
/// Result: 0; -1 bad descriptor, address or port; -2 it cannot be made non-blocking; -3 time-out; -4 refused;
/// -5 the given keep-alive settings failed; -6 the default ones failed.
std::int32_t connectTcp(std::int32_t descriptor, const std::string& ip, std::int32_t port, std::int32_t timeoutMs,
                        const std::optional<KeepAlive>& keepAlive);

/// The same on a new non-blocking socket; `descriptor` is written on success only and belongs to the caller.
/// Result: 0; -1 bad address or port; -2 no socket; `connectTcp`'s code minus 2.
std::int32_t connectTcp(const std::string& ip, std::int32_t port, std::int32_t& descriptor, std::int32_t timeoutMs,
                        const std::optional<KeepAlive>& keepAlive);

/// Times are rounded to whole seconds, at least 1.
/// Result: 0; -1 enabled with a time or count below 1; -2 the switch, -3 the idle time, -4 the interval, -5 the count
/// was refused by the system.
std::int32_t setKeepAlive(std::int32_t descriptor, const KeepAlive& keepAlive);

}  // namespace cbl
