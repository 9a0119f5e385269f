#include <cstddef>
#include <cstdint>
#include <string>

#include "cbl/z/lz4_buffer.h"
#include "fuzz/check.h"

using cbl::lz4Buffer;
using cbl::Lz4Direction;

namespace {

void checkRoundTrip(const std::string& content) {
  std::string packed;
  FUZZ_CHECK(lz4Buffer(content, packed, Lz4Direction::kCompress) == static_cast<std::int32_t>(packed.size()));
  std::string again = "replaced";
  FUZZ_CHECK(lz4Buffer(packed, again, Lz4Direction::kDecompress) == static_cast<std::int32_t>(content.size()));
  FUZZ_CHECK(again == content);
}

}  // namespace

// Damaged frames leave the output alone; what was read, and any input taken as content, comes back unchanged.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  std::string content = "kept";
  const std::int32_t read = lz4Buffer(input, content, Lz4Direction::kDecompress);
  if (read < 0) {
    FUZZ_CHECK(read >= -4 && content == "kept");
  } else {
    FUZZ_CHECK(read == static_cast<std::int32_t>(content.size()));
    checkRoundTrip(content);
  }
  checkRoundTrip(input);
  return 0;
}
