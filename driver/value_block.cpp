#include "driver/value_block.h"

#include <cstdlib>
#include <cstring>

namespace driver {

namespace {

constexpr std::size_t kBlockSize = 6800;
constexpr std::size_t kDataTypeAt = 2;
constexpr std::size_t kNextSize = 8;
constexpr std::size_t kNextAt = kBlockSize - kNextSize;
static_assert(sizeof(void*) == kNextSize, "the block is laid out for 64-bit pointers");

}  // namespace

void* makeValueBlock(std::int32_t dataType) {
  void* block = std::calloc(1, kBlockSize);
  if (block != nullptr) static_cast<unsigned char*>(block)[kDataTypeAt] = static_cast<unsigned char>(dataType);
  return block;
}

void freeValueBlocks(void* block) {
  while (block != nullptr) {
    void* next = nullptr;
    std::memcpy(&next, static_cast<const char*>(block) + kNextAt, kNextSize);
    std::free(block);
    block = next;
  }
}

}  // namespace driver
