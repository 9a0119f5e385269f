#include "driver/local_address.h"

#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <array>
#include <cstring>

#include "cbl/net/address_text.h"
#include "cbl/net/descriptor.h"

namespace driver {

std::int32_t getLocalIpAddress(const std::string& interfaceName, std::string& ip) {
  const cbl::CDescriptor any(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (any.number() < 0) return -1;

  ifreq request{};
  if (interfaceName.size() >= sizeof(request.ifr_name)) return -2;
  std::memcpy(request.ifr_name, interfaceName.c_str(), interfaceName.size() + 1);
  if (ioctl(any.number(), SIOCGIFADDR, &request) != 0) return -2;

  sockaddr_in address{};
  std::memcpy(&address, &request.ifr_addr, sizeof(address));
  std::array<std::uint8_t, 4> bytes{};
  std::memcpy(bytes.data(), &address.sin_addr.s_addr, bytes.size());  // network order: as they are written
  ip = cbl::formatIpv4(bytes);
  return 0;
}

}  // namespace driver
