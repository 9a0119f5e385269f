#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace simulator {

/// What a rule does to one call.
struct Fault {
  enum Kind {
    kDelay,
    kSilence,
    kClose,
    kHang,
    kExit,
    kGarbage,
    kBadChecksum,
    kHalf,
    kPieces,
    kForeignType,
    kCode,
    kValue,
    kKillBefore,
    kKillAfter,
  };
  Kind kind = kSilence;
  std::string name = {};    ///< as the script writes it
  std::int64_t number = 0;  ///< of the faults that take one: milliseconds, exit status, bytes, frame type, code
  std::string text = {};    ///< of the faults that take one: bytes before the frame, value text
};

/// One rule of a simulator.json; see docs/simulator.md for what they mean.
struct FaultRule {
  std::string function;                ///< with the prefix, or "*"
  std::optional<std::uint32_t> regId;  ///< the one point that the rule is about
  std::int64_t after = 0;              ///< matching calls to let pass first
  std::optional<std::int64_t> times;   ///< calls to change before the rule is used up
  Fault fault;
};

/// Reads the text of a simulator.json. Result: false with a one-line `error` that names the line, or the rule by its
/// number from 1 and what is wrong with it; `rules` is then untouched.
bool readFaultRules(const std::string& text, std::vector<FaultRule>& rules, std::string& error);

}  // namespace simulator
