#pragma once

#include <cstdint>

namespace driver {

/// Makes a point's value block: 6800 zero-filled bytes with the low 8 bits of `dataType`, the code as its word gives
/// it, in byte 2 and, in the last 8 bytes, a pointer to a further block of the same kind or null. The driver keeps it
/// and writes nothing else into it. Result: the block, to be freed with `freeValueBlocks`; null when memory is short.
void* makeValueBlock(std::int32_t dataType);

/// Frees the whole chain; null is allowed.
void freeValueBlocks(void* block);

}  // namespace driver
