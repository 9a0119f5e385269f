#include <cstddef>
#include <cstdint>
#include <string>

#include "cbl/bus/velix_message.h"
#include "fuzz/check.h"

// A body is taken whole or not at all, and what was taken is written so that it reads the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto length = static_cast<std::int32_t>(size);
  cbl::CVelixMessage message;
  message.push_back("kept");
  const std::int32_t loaded = message.load(reinterpret_cast<const char*>(data), length);
  if (loaded < 0) {
    FUZZ_CHECK(loaded >= -7 && message.size() == 1 && message.front() == "kept");
    return 0;
  }
  FUZZ_CHECK(loaded == length);

  std::string body;
  const std::int32_t dumped = message.dump(body);
  FUZZ_CHECK(dumped == static_cast<std::int32_t>(body.size()) && dumped <= length);  // signs and zeros are gone
  cbl::CVelixMessage again;
  FUZZ_CHECK(again.load(body) == (message.empty() ? -1 : dumped));
  FUZZ_CHECK(static_cast<std::vector<std::string>&>(again) == message);
  return 0;
}
