#pragma once

#include <cstdint>

namespace plant {

/// The protocol's numbers that a project file is judged by.
constexpr std::int32_t kPresentValue = 85;
constexpr std::int32_t kPriorityArray = 87;
constexpr std::int32_t kLastObjectType = 1023;
constexpr std::int32_t kLastInstance = 4194302;

}  // namespace plant
