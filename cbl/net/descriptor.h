#pragma once

#include <cstdint>

namespace cbl {

/// Owns one file descriptor and closes it when destroyed.
class CDescriptor {
 public:
  explicit CDescriptor(std::int32_t number = -1) : number_(number) {}
  ~CDescriptor();

  CDescriptor(const CDescriptor&) = delete;
  CDescriptor& operator=(const CDescriptor&) = delete;

  std::int32_t number() const { return number_; }
  /// Closes what is held and takes `number` over.
  void reset(std::int32_t number);
  /// Gives the descriptor up without closing it.
  std::int32_t release();

 private:
  std::int32_t number_;
};

/// What a host without standard streams prints would go into whatever descriptor got their numbers.
/// Result: `descriptor`; or, for 0, 1 and 2, a close-on-exec copy above 2 in its place; -1 for a negative one, or when
/// there is no copy to be had. What is given is closed unless it is the result.
std::int32_t liftAboveStreams(std::int32_t descriptor);

/// Opens a pipe, close-on-exec and above 2. Result: 0 or -1.
std::int32_t openPipe(CDescriptor& readEnd, CDescriptor& writeEnd);

/// Switches non-blocking mode of `descriptor` on or off; nothing is set when it already is as asked. Result: 0 or -1.
std::int32_t setNonBlocking(std::int32_t descriptor, bool on);

}  // namespace cbl
