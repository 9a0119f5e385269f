#pragma once

#include <cstdint>

namespace bacnet {

/// The services that programs here take part in; bacnet/number/names.h has all.
enum class ConfirmedService : std::uint8_t {
  kConfirmedCovNotification = 1,
  kSubscribeCov = 5,
  kCreateObject = 10,
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
  kTimeSynchronization = 6,
  kWhoHas = 7,
  kWhoIs = 8,
};

/// Bits of a device's protocol-services-supported: numbers of their own, unlike the services' from 26 on.
namespace service_bit {
constexpr std::uint32_t kConfirmedCovNotification = 1;
constexpr std::uint32_t kSubscribeCov = 5;
constexpr std::uint32_t kReadProperty = 12;
constexpr std::uint32_t kReadPropertyMultiple = 14;
constexpr std::uint32_t kWriteProperty = 15;
constexpr std::uint32_t kWritePropertyMultiple = 16;
constexpr std::uint32_t kIAm = 26;
constexpr std::uint32_t kIHave = 27;
constexpr std::uint32_t kUnconfirmedCovNotification = 28;
constexpr std::uint32_t kTimeSynchronization = 32;
constexpr std::uint32_t kWhoHas = 33;
constexpr std::uint32_t kWhoIs = 34;
constexpr std::uint32_t kSubscribeCovProperty = 38;
}  // namespace service_bit

}  // namespace bacnet
