#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>

#include "cbl/net/descriptor.h"

namespace support {

/// A socket on an ephemeral loopback port, bound and, when asked, listening.
struct LoopbackPort {
  explicit LoopbackPort(bool listening) : descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    bind(descriptor.number(), reinterpret_cast<sockaddr*>(&address), size);
    if (listening) listen(descriptor.number(), 4);
    getsockname(descriptor.number(), reinterpret_cast<sockaddr*>(&address), &size);
    port = ntohs(address.sin_port);
  }
  cbl::CDescriptor descriptor;
  int port = 0;
};

}  // namespace support
