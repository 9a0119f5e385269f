#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace device {

/// What becomes of a datagram. The first four are about what comes in, the others about what goes out.
enum class FaultKind { kSilence, kAbort, kReject, kError, kLose, kDelay, kDouble, kCut, kInvokeId };

struct Fault {
  FaultKind kind = FaultKind::kSilence;
  std::uint32_t number =
      0;                   ///< reason, error class, milliseconds, octets that are left, what is added to the invoke id
  std::uint32_t code = 0;  ///< of an error
};

/// One rule of a behaviour file; docs/bacnet-device.md says what they mean.
struct FaultRule {
  std::string service;                 ///< by the standard's name; empty: any datagram
  std::uint32_t after = 0;             ///< matching datagrams to let pass first
  std::optional<std::uint32_t> times;  ///< datagrams to change before the rule is used up
  std::uint32_t percent = 100;         ///< chance for each
  std::uint32_t fromMs = 0;            ///< since the file was read
  std::optional<std::uint32_t> forMs;
  Fault fault;
};

constexpr bool isAboutIncoming(FaultKind kind) {
  return kind <= FaultKind::kError;
}

}  // namespace device
