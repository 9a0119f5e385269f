#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

#include "cbl/net/descriptor.h"

namespace helper {

/// Where every helper of the machine has its files.
constexpr const char* kRuntimeDirectory = "/tmp/velix_bacnet";

/// The files of one link below "/tmp/velix_bacnet", as the driver looks for them: the socket and the pid file, which
/// are this process's from `claim` until it ends, and the log file's name beside them.
class CRuntimeFiles {
 public:
  explicit CRuntimeFiles(std::int32_t link);
  /// Removes the socket and the pid file if they are still this process's own.
  ~CRuntimeFiles();

  CRuntimeFiles(const CRuntimeFiles&) = delete;
  CRuntimeFiles& operator=(const CRuntimeFiles&) = delete;

  /// Makes the directory if it is missing, listens, writes the pid file and then puts the socket in place, so that
  /// whoever can connect finds the pid. A socket on which nobody answers is replaced. Waits 2 s at most for another
  /// helper that is about to do the same. Result: false with a one-line `error` when the directory is not this user's,
  /// another helper answers for the link, or the system refuses a step; nothing is left behind then.
  bool claim(std::string& error);

  int listener() const { return listener_.number(); }  ///< non-blocking; owned here
  const std::string& socketPath() const { return socketPath_; }
  const std::string& logPath() const { return logPath_; }

 private:
  bool prepareDirectory(std::string& error) const;
  bool listen(std::string& error);
  bool publish(const std::string& temporary, std::string& error) const;

  std::string socketPath_;
  std::string pidPath_;
  std::string logPath_;
  std::string lockPath_;
  cbl::CDescriptor listener_;
  struct stat socketStatus_ {};  // of the socket file, to know it again
};

}  // namespace helper
