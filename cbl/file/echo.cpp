#include "cbl/file/echo.h"

#include <unistd.h>

#include <cstdio>

#include "cbl/log/cbl_log.h"

namespace cbl {

std::int32_t echoToFile(const char* path, const std::string& content) {
  if (path == nullptr || content.empty()) return -1;
  cblLog(kLogSilent, "echoToFile: %s, %s\n", path, content.c_str());

  std::FILE* file = std::fopen(path, "w+");
  if (file == nullptr) file = std::fopen(path, "w");
  if (file == nullptr) return -2;

  // Bytes that do not leave the stream's buffer were not written.
  const auto length = static_cast<std::uint32_t>(content.size());
  const bool written = std::fwrite(content.data(), 1, length, file) == length && std::fflush(file) == 0;
  if (written) fsync(fileno(file));
  std::fclose(file);
  return written ? 0 : -3;
}

std::int32_t echoIntToFile(const char* path, std::int32_t value) {
  return echoToFile(path, std::to_string(value));
}

}  // namespace cbl
