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

std::int32_t liftAboveStreams(std::int32_t descriptor) {
  if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
  const CDescriptor low(descriptor);
  return fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

std::int32_t openPipe(CDescriptor& readEnd, CDescriptor& writeEnd) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return -1;
  readEnd.reset(liftAboveStreams(ends[0]));
  writeEnd.reset(liftAboveStreams(ends[1]));
  return readEnd.number() < 0 || writeEnd.number() < 0 ? -1 : 0;
}

std::int32_t setNonBlocking(std::int32_t descriptor, bool on) {
  const int flags = fcntl(descriptor, F_GETFL);
  if (flags < 0) return -1;
  const int wanted = on ? flags | O_NONBLOCK : flags & ~O_NONBLOCK;
  if (wanted == flags) return 0;
  return fcntl(descriptor, F_SETFL, wanted) < 0 ? -1 : 0;
}

}  // namespace cbl
