#include <cstddef>
#include <cstdint>
#include <string>

#include "binding/helper_options.h"
#include "fuzz/check.h"

// Options are read whole and within their bounds, or not at all with one line that says why.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  binding::HelperOptions before;
  before.priority = 16;
  binding::HelperOptions options = before;
  std::string error;
  if (!binding::parseHelperOptions(text, options, error)) {
    FUZZ_CHECK(options == before && !error.empty());
    FUZZ_CHECK(error.find_first_of(std::string("\n\r\0", 3)) == std::string::npos);
    return 0;
  }
  FUZZ_CHECK(error.empty());
  FUZZ_CHECK(options.priority >= 1 && options.priority <= 16 && options.priority != 6);
  FUZZ_CHECK(options.readAhead >= io::Duration::zero() && options.readAhead <= std::chrono::seconds(10));
  binding::HelperOptions again = before;
  FUZZ_CHECK(binding::parseHelperOptions(text, again, error) && again == options);
  return 0;
}
