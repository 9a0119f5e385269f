#include "cbl/process/close_descriptors.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>

namespace cbl {

namespace {

constexpr std::int32_t kFirst = 3;
constexpr std::int32_t kLast = std::numeric_limits<std::int32_t>::max();

// Result: whether the kernel can.
bool closeRange(std::int32_t first, std::int32_t last) {
  return first > last || close_range(static_cast<unsigned>(first), static_cast<unsigned>(last), 0) == 0;
}

// For a kernel that cannot: one by one, as it lists them. Result: whether it lists them.
bool closeListed(std::int32_t keepOne, std::int32_t keepOther) {
  const std::int32_t list = open("/proc/self/fd", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (list < 0) return false;
  alignas(dirent64) char entries[4096];
  ssize_t size = 0;
  while ((size = getdents64(list, entries, sizeof(entries))) > 0) {
    for (ssize_t at = 0; at < size;) {
      const auto* entry = reinterpret_cast<const dirent64*>(entries + at);
      at += entry->d_reclen;
      std::int32_t number = -1;  // of . and ..
      std::from_chars(entry->d_name, entry->d_name + std::strlen(entry->d_name), number);
      if (number >= kFirst && number != keepOne && number != keepOther && number != list) close(number);
    }
  }
  close(list);
  return size == 0;
}

}  // namespace

void closeDescriptorsFrom3(std::int32_t keepOne, std::int32_t keepOther, std::int32_t highest) {
  const std::int32_t lower = std::min(keepOne, keepOther);
  const std::int32_t upper = std::max(keepOne, keepOther);
  if (closeRange(kFirst, lower - 1) && closeRange(std::max(kFirst, lower + 1), upper - 1) &&
      closeRange(std::max(kFirst, upper + 1), kLast)) {
    return;
  }
  if (closeListed(keepOne, keepOther)) return;
  for (std::int32_t number = highest; number >= kFirst; --number) {
    if (number != keepOne && number != keepOther) close(number);
  }
}

void closeDescriptorsFrom3(std::int32_t highest) {
  closeDescriptorsFrom3(-1, -1, highest);
}

std::int32_t highestDescriptor() {
  const long limit = sysconf(_SC_OPEN_MAX);
  return static_cast<std::int32_t>(limit > 0 && limit < kLast ? limit : kLast);
}

}  // namespace cbl
