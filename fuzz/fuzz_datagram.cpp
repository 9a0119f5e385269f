#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/check.h"
#include "support/datagram_echo.h"

namespace {

constexpr std::size_t kLengthAt = 2;
constexpr char kRepair = '\x80';  // a bit of the type that BACnet/IP has

// Makes type and length right, so that what is inside is reached.
void repair(std::string& datagram) {
  if (datagram.size() < kLengthAt + 2 || (datagram[0] & kRepair) == 0) return;
  datagram[0] = '\x81';
  datagram[kLengthAt] = static_cast<char>(datagram.size() >> 8);
  datagram[kLengthAt + 1] = static_cast<char>(datagram.size());
}

}  // namespace

// A datagram that was read, from BVLC to service, is encoded to bytes that are read the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string datagram(reinterpret_cast<const char*>(data), size);
  repair(datagram);
  const auto echo = support::echoDatagram(datagram);
  if (echo) FUZZ_CHECK(support::echoDatagram(*echo) == echo);
  return 0;
}
