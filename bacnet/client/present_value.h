#pragma once

#include <cstddef>
#include <optional>

#include "bacnet/codec/value.h"
#include "bacnet/number/properties.h"

namespace bacnet {

const PropertyReference kPresentValue{property::kPresentValue, {}};
const PropertyReference kIncrement{property::kCovIncrement, {}};

inline bool isPresentValue(const PropertyReference& reference) {
  return reference == kPresentValue;
}
inline bool isIncrement(const PropertyReference& reference) {
  return reference == kIncrement;
}

/// A single Real or Double.
std::optional<double> numberOf(const Values& values);
/// The same, or numbers whose difference is smaller than `increment`.
bool isWithin(const Values& a, const Values& b, double increment);
/// About how long they are as they travel.
std::size_t octetsOf(const Values& values);

}  // namespace bacnet
