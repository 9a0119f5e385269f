#include "cbl/bus/receive_buffer.h"

#include <algorithm>
#include <cstring>

namespace cbl {

namespace {

constexpr std::uint32_t kDefaultCapacity = 256 * 1024;

}  // namespace

CReceiveBuffer::CReceiveBuffer(std::int32_t capacity)
    : capacity_(capacity > 0 ? static_cast<std::uint32_t>(capacity) : kDefaultCapacity), bytes_(new char[capacity_]) {}

std::int32_t CReceiveBuffer::append(const char* bytes, std::int32_t length) {
  if (bytes == nullptr || length <= 0) return -1;
  if (static_cast<std::uint32_t>(length) > capacity_ - used_) return -2;
  std::memcpy(bytes_.get() + used_, bytes, static_cast<std::size_t>(length));
  used_ += static_cast<std::uint32_t>(length);
  return length;
}

void CReceiveBuffer::removeFront(std::uint32_t length) {
  const std::uint32_t removed = std::min(length, used_);
  used_ -= removed;
  if (used_ > 0) std::memmove(bytes_.get(), bytes_.get() + removed, used_);
}

}  // namespace cbl
