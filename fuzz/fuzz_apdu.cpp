#include <cstddef>
#include <cstdint>

#include "fuzz/check.h"
#include "support/datagram_echo.h"

// An APDU that was read, its service included, is encoded to bytes that are read the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto echo = support::echoApdu({reinterpret_cast<const char*>(data), size});
  if (echo) FUZZ_CHECK(support::echoApdu(*echo) == echo);
  return 0;
}
