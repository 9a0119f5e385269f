#include "cbl/log/cbl_log.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace cbl {

namespace {

constexpr const char* kModuleTag = "KORM";

}  // namespace

void cblLog(std::int32_t level, const char* format, ...) {
  if (level <= kLogSilent) return;

  std::FILE* stream = stdout;
  if (level == kLogError) {
    const int error = errno;
    stream = stderr;
    std::fprintf(stream, "[%s] {err:%s}: ", kModuleTag, std::strerror(error));
  } else {
    std::fprintf(stream, "[%s]: ", kModuleTag);
  }

  std::va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stream, format, arguments);
  va_end(arguments);
}

}  // namespace cbl
