#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "host/tool/options.h"

namespace tool {

// Who has a link, as it can be seen from outside: nothing here starts or changes anything.

/// The process that the link's socket, or else its pid file, leads to.
struct LinkHolder {
  enum Kind {
    kNobody,    ///< or a process that has ended
    kHelper,    ///< a helper of this link
    kStranger,  ///< a process that the pid file names by mistake
  };
  Kind kind = kNobody;
  pid_t process = 0;
  std::string project;  ///< of a helper: the directory that it was started for
};

LinkHolder holderOf(std::int32_t link);

/// Whether `holder` was started for the project directory of `options`.
bool isOwn(const LinkHolder& holder, const Options& options);

/// Throws CFailure (taken) when a helper that was started for another project has the link, because a driver would hand
/// it this one, and (unreachable) when the driver would kill a stranger. With `Options::takesOver` only the latter.
void requireOwn(const Options& options);

/// The number in the link's pid file; -1 when there is none that this user can read, 0 when it holds no number.
pid_t readPidFile(std::int32_t link);

bool isAlive(pid_t process);

/// Whether the process runs as a helper of this link.
bool isHelper(pid_t process, std::int32_t link);

/// Tries the link's socket. Result: 0 when a helper accepts connections there, or an error number; a full backlog is
/// EAGAIN.
int tryConnect(std::int32_t link);

bool isServed(std::int32_t link);

}  // namespace tool
