#include "cbl/log/log_line.h"

#include <cstdarg>
#include <cstdio>
#include <ctime>

namespace cbl {

void logLine(const char* tag, const char* format, ...) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  tzset();  // localtime_r alone would not notice a change of the time zone
  localtime_r(&now, &local);
  char text[80] = "";
  std::strftime(text, sizeof(text), "%H:%M:%S", &local);
  std::printf("[%s][%s] ", text, tag);

  std::va_list arguments;
  va_start(arguments, format);
  std::vprintf(format, arguments);
  va_end(arguments);
  std::putchar('\n');
}

}  // namespace cbl
