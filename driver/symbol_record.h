#pragma once

#include <cstdint>
#include <string>

namespace driver {

// Data-type codes of a point.
inline constexpr std::int32_t kTypeBool = 1;
inline constexpr std::int32_t kTypeUdint = 2;
inline constexpr std::int32_t kTypeUint = 3;
inline constexpr std::int32_t kTypeReal = 4;
inline constexpr std::int32_t kTypeDouble = 5;
inline constexpr std::int32_t kTypeUnnamed = 6;  // has a size and no word, so no project file yields it
inline constexpr std::int32_t kTypeString = 7;
inline constexpr std::int32_t kTypeSpecial = 9;  // a property whose values the helper treats specially
inline constexpr std::int32_t kTypeEmpty = -1;
inline constexpr std::int32_t kTypeUnknown = -2;

/// What a remote call says about a point.
struct PointAccess {
  std::int32_t regId = 0;
  std::int32_t dataSize = 0;  ///< bytes to transfer
};

/// One point of the project file. Copies share `valueBlock`, which belongs to the link.
struct SymbolRecord {
  bool hasIndex = false;
  bool priorityReset = false;
  std::string name;  ///< without the index
  std::int32_t regId = 0;
  std::int32_t objectType = 0;
  std::int32_t instance = 0;
  std::int32_t propId = 0;
  std::int32_t dataType = 0;
  std::int32_t arrayIndex = -1;
  std::int32_t dataSize = 0;  ///< bytes; of a text point: per element
  std::int32_t bitNum = 0;
  void* valueBlock = nullptr;
};

}  // namespace driver
