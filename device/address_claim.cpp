#include "device/address_claim.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstring>
#include <string>

namespace device {

CAddressClaim::CAddressClaim(const io::Address& address) : socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  // A name that begins with a zero is no file, and goes with its owner.
  const std::string name = std::string(1, '\0') + "bacnet-device " + io::addressText(address);
  sockaddr_un own{};
  own.sun_family = AF_UNIX;
  std::memcpy(own.sun_path, name.data(), name.size());
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
  isHeld_ = ::bind(socket_.number(), reinterpret_cast<const sockaddr*>(&own), length) == 0;
}

}  // namespace device
