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

/// Switches non-blocking mode of `descriptor` on or off; nothing is set when it already is as asked. Result: 0 or -1.
std::int32_t setNonBlocking(std::int32_t descriptor, bool on);

}  // namespace cbl
