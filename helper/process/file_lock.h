#pragma once

#include <chrono>
#include <string>

#include "cbl/net/descriptor.h"

namespace helper {

/// Keeps others who take the lock of the same path out for its lifetime. The lock is a file that only its owner can
/// open; it is there as long as somebody has or wants it.
class CFileLock {
 public:
  /// Waits at most so long. When the lock cannot be had, `error` takes one line.
  CFileLock(std::string path, std::chrono::milliseconds wait, std::string& error);
  ~CFileLock();
  CFileLock(const CFileLock&) = delete;
  CFileLock& operator=(const CFileLock&) = delete;

  bool isHeld() const { return file_.number() >= 0; }

 private:
  bool tryToTake();

  std::string path_;
  cbl::CDescriptor file_;
};

}  // namespace helper
