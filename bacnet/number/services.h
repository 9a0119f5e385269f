#pragma once

#include <cstdint>

namespace bacnet {

enum class ConfirmedService : std::uint8_t {
  kConfirmedCovNotification = 1,
  kSubscribeCov = 5,
  kReadProperty = 12,
  kReadPropertyMultiple = 14,
  kWriteProperty = 15,
  kWritePropertyMultiple = 16,
  kSubscribeCovProperty = 28,
};

enum class UnconfirmedService : std::uint8_t {
  kIAm = 0,
  kIHave = 1,
  kUnconfirmedCovNotification = 2,
  kWhoHas = 7,
  kWhoIs = 8,
};

}  // namespace bacnet
