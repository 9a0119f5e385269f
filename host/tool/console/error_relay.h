#pragma once

#include <string>
#include <thread>

namespace tool {

/// Stands between standard error and what the driver starts. During its lifetime descriptors 1 and 2 are a pipe, and a
/// thread of this object copies what comes through it to standard error. A helper, or the shell that waits for it, then
/// keeps the pipe and never the terminal, file or reader behind standard error, which would wait for them in vain.
/// One object per process, made after COutput.
class CErrorRelay {
 public:
  /// Throws CFailure (internal) when no descriptor is free.
  CErrorRelay();
  /// Passes on what has come by then; descriptors 1 and 2 are standard error again.
  ~CErrorRelay();
  CErrorRelay(const CErrorRelay&) = delete;
  CErrorRelay& operator=(const CErrorRelay&) = delete;

 private:
  void run() const;

  int target_;
  int source_;
  int stop_;
  std::thread thread_;
};

/// Writes `line` to standard error, past the relay, so that it stands in step with the data. Does not mind when that
/// fails.
void say(const std::string& line);
/// The same with "hmi-host: " in front.
void complain(const std::string& line);
/// How far a long work is: written over itself where standard error is a terminal, and not at all elsewhere. An empty
/// one wipes it out, which is to be done before anything else is written.
void sayProgress(const std::string& line);

}  // namespace tool
