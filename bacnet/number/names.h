#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace bacnet {

struct NumberName {
  std::uint32_t number;
  std::string_view name;
};

/// The names that the standard gives to the numbers of one kind, in its own spelling (`present-value`). Numbers that it
/// leaves to makers, or has taken back, have none.
class CNameTable {
 public:
  /// `entries` lives as long as the table, and rises by number.
  template <std::size_t N>
  constexpr explicit CNameTable(const NumberName (&entries)[N]) : begin_(entries), end_(entries + N) {}

  std::string_view name(std::uint32_t number) const;  ///< empty where there is none
  std::optional<std::uint32_t> number(std::string_view name) const;

  const NumberName* begin() const { return begin_; }
  const NumberName* end() const { return end_; }

 private:
  const NumberName* begin_;
  const NumberName* end_;
};

constexpr std::uint32_t kNoUnits = 95;  ///< the unit of what has none

extern const CNameTable kObjectTypeNames;
extern const CNameTable kPropertyNames;
extern const CNameTable kUnitNames;
extern const CNameTable kUnitSymbols;  ///< as people write them, where they do: °C; units of one symbol may be several
extern const CNameTable kConfirmedServiceNames;
extern const CNameTable kUnconfirmedServiceNames;

extern const CNameTable kErrorClassNames;
extern const CNameTable kErrorCodeNames;
extern const CNameTable kRejectReasonNames;
extern const CNameTable kAbortReasonNames;
extern const CNameTable kNetworkRejectReasonNames;  ///< of a Reject-Message-To-Network; in our words
extern const CNameTable kBvlcResultNames;

extern const CNameTable kActionNames;
extern const CNameTable kBinaryStateNames;
extern const CNameTable kDeviceStatusNames;
extern const CNameTable kEventStateNames;
extern const CNameTable kLifeSafetyStateNames;
extern const CNameTable kNotifyTypeNames;
extern const CNameTable kPolarityNames;
extern const CNameTable kReliabilityNames;
extern const CNameTable kSegmentationNames;

// Of bit strings, by the number of the bit.
extern const CNameTable kLimitNames;
extern const CNameTable kStatusFlagNames;
extern const CNameTable kTransitionNames;

}  // namespace bacnet
