#pragma once

#include <cerrno>
#include <system_error>

namespace io {

/// Throws std::system_error of the system call that has just failed, as errno has it; `step` says what was tried.
[[noreturn]] inline void failWithErrno(const char* step) {
  throw std::system_error(errno, std::generic_category(), step);
}

}  // namespace io
