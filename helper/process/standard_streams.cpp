#include "helper/process/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "cbl/net/descriptor.h"

namespace helper {

bool letGoOfStandardStreams(std::string& error) {
  // Where the starter left one of the three closed, this becomes it; it is then not the descriptor's to close.
  const int opened = ::open("/dev/null", O_RDWR);
  const cbl::CDescriptor null(opened > STDERR_FILENO ? opened : -1);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (opened < 0 || ::dup2(opened, stream) < 0) {
      error = std::string("/dev/null: ") + std::strerror(errno);
      return false;
    }
  }
  return true;
}

}  // namespace helper
