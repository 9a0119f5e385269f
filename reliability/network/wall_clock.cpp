// Takes the place of the C library's clock in the program that it is linked into: with WALL_CLOCK_JUMPS in the
// environment the time of day is set back by a day every four seconds, for two. Nobody may set the machine's own clock
// for a test, and a time namespace has no time of day.
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
  static const bool jumps = std::getenv("WALL_CLOCK_JUMPS") != nullptr;
  const long result = ::syscall(SYS_clock_gettime, clock, now);
  if (!jumps || clock != CLOCK_REALTIME || result != 0) return static_cast<int>(result);
  timespec steady{};
  ::syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &steady);
  if (steady.tv_sec / 2 % 2 != 0) now->tv_sec -= 86400;
  return 0;
}

extern "C" time_t time(time_t* seconds) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  if (seconds != nullptr) *seconds = now.tv_sec;
  return now.tv_sec;
}
