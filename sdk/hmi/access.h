#pragma once

#include <cstdint>
#include <list>
#include <vector>

#include "hmi/register.h"

namespace driver {

/// What the runtime is about to do with one register.
struct AccessRequest {
  enum Kind : std::int32_t { kRead = 0, kWrite = 1 };
  std::int32_t kind = kRead;
};

/// One element of a batch: the register and its value as 16-bit words in register order, filled by a read and supplied
/// for a write.
struct BatchItem {
  CRegister reg;
  std::vector<short> words;
};

using Batch = std::list<BatchItem>;

}  // namespace driver
