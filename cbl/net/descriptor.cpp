#include "cbl/net/descriptor.h"

#include <fcntl.h>
#include <unistd.h>

namespace cbl {

CDescriptor::~CDescriptor() {
  reset(-1);
}

void CDescriptor::reset(std::int32_t number) {
  if (number_ >= 0) close(number_);
  number_ = number;
}

std::int32_t CDescriptor::release() {
  const std::int32_t number = number_;
  number_ = -1;
  return number;
}

std::int32_t setNonBlocking(std::int32_t descriptor, bool on) {
  const int flags = fcntl(descriptor, F_GETFL);
  if (flags < 0) return -1;
  const int wanted = on ? flags | O_NONBLOCK : flags & ~O_NONBLOCK;
  if (wanted == flags) return 0;
  return fcntl(descriptor, F_SETFL, wanted) < 0 ? -1 : 0;
}

}  // namespace cbl
