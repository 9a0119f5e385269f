#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

#include "bacnet/codec/value.h"

namespace bacnet::server {

constexpr std::uint8_t kPriorities = 16;
constexpr std::uint8_t kLowestPriority = 16;   ///< of a write that names none
constexpr std::uint8_t kReservedPriority = 6;  ///< minimum on and off times; nobody may write it

/// Who commands a present value, clause 19.2: sixteen slots, the first one that is filled counts, and the relinquish
/// default where none is.
class CPriorityArray {
 public:
  explicit CPriorityArray(Values relinquishDefault) : relinquishDefault_(std::move(relinquishDefault)) {}

  /// `priority` is 1 to 16.
  void command(std::uint8_t priority, Values values) { slot(priority) = std::move(values); }
  void release(std::uint8_t priority) { slot(priority).reset(); }
  void setRelinquishDefault(Values values) { relinquishDefault_ = std::move(values); }

  bool isCommanded() const { return active().has_value(); }
  /// The priority that counts; nothing where the relinquish default does.
  std::optional<std::uint8_t> active() const;
  const Values& effective() const;
  const Values& relinquishDefault() const { return relinquishDefault_; }
  /// The sixteen elements as they travel: Null for an empty slot, a date with time in its context tag.
  Values elements() const;

 private:
  std::optional<Values>& slot(std::uint8_t priority) { return slots_.at(priority - std::size_t{1}); }

  std::array<std::optional<Values>, kPriorities> slots_;
  Values relinquishDefault_;
};

}  // namespace bacnet::server
