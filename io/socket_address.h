#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include "io/address.h"

namespace io {

inline Address addressOf(const sockaddr_in& address) {
  return {ntohl(address.sin_addr.s_addr), ntohs(address.sin_port)};
}

/// An address as the socket calls take and give it.
struct SocketAddress {
  SocketAddress() = default;
  explicit SocketAddress(const Address& address) {
    content.sin_family = AF_INET;
    content.sin_addr.s_addr = htonl(address.ip);
    content.sin_port = htons(address.port);
  }

  sockaddr* get() { return reinterpret_cast<sockaddr*>(&content); }
  const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&content); }
  socklen_t size() const { return sizeof(content); }
  Address address() const { return addressOf(content); }

  sockaddr_in content{};
  socklen_t length = sizeof(content);  ///< for calls that fill it in
};

}  // namespace io
