#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "bacnet/codec/value.h"

namespace bacnet {

enum class Segmentation : std::uint8_t { kBoth = 0, kTransmit = 1, kReceive = 2, kNone = 3 };

/// Who-Is and I-Am, clause 16.10.
struct WhoIs {
  std::optional<std::pair<std::uint32_t, std::uint32_t>> range;  ///< instances, both ends included; none: everybody
};
struct IAm {
  std::uint32_t device = 0;
  std::uint32_t maxApdu = 0;  ///< octets, as the device says, perhaps more than BACnet/IP carries
  Segmentation segmentation = Segmentation::kNone;
  std::uint32_t vendor = 0;
};

std::string encode(const WhoIs& request);
std::string encode(const IAm& answer);
std::optional<WhoIs> parseWhoIs(std::string_view data);
std::optional<IAm> parseIAm(std::string_view data);

}  // namespace bacnet
