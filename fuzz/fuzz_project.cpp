#include <cstddef>
#include <cstdint>
#include <string>

#include "driver/bacnet_link.h"
#include "fuzz/memory_file.h"

namespace {

constexpr std::int32_t kNoAnswer = -99;
constexpr std::int32_t kLink = 1;

}  // namespace

// Nobody serves the link, so that the hand-off fails at once.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const CMemoryFile file;
  const std::string path = file.hold({reinterpret_cast<const char*>(data), size});

  driver::CBACnetLink link;
  link.client.setSocketPath("/proc/no such socket");
  const std::int32_t result = link.loadProject(path, kLink);
  FUZZ_CHECK(result == kNoAnswer || ((result == -2 || result == -3) && link.symbols.empty()));

  for (const auto& [regId, record] : link.symbols) {
    driver::SymbolRecord found;
    FUZZ_CHECK(link.findSymbol(std::to_string(record.regId), found) == 0 && found.valueBlock == record.valueBlock);
    FUZZ_CHECK(regId == static_cast<std::uint32_t>(found.regId));
    FUZZ_CHECK(found.dataSize == 1 || found.dataSize == 4 || found.dataSize == 8);
    FUZZ_CHECK(found.valueBlock != nullptr && (found.hasIndex || found.arrayIndex == -1));
  }

  const std::size_t points = link.symbols.size();
  FUZZ_CHECK(link.loadProject(path, kLink) == result && link.symbols.size() == points);  // duplicates are dropped
  return 0;
}
