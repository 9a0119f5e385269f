#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bacnet/codec/value.h"
#include "bacnet/service/property.h"

namespace bacnet {

/// SubscribeCOV, clause 13.14. Without `confirmed` and `lifetime` it cancels.
struct SubscribeCov {
  std::uint32_t process = 0;
  ObjectId object;
  std::optional<bool> confirmed;
  std::optional<std::uint32_t> lifetime;  ///< s; 0 without end
};

/// A COV notification, confirmed or not, clauses 13.6 and 13.7. Values are told by their property, not by position.
using CovValue = PropertyWrite;
struct CovNotification {
  std::uint32_t process = 0;
  std::uint32_t device = 0;
  ObjectId object;
  std::uint32_t timeRemaining = 0;  ///< s; 0 without end
  std::vector<CovValue> values;
};

std::string encode(const SubscribeCov& request);
std::string encode(const CovNotification& notification);
std::optional<SubscribeCov> parseSubscribeCov(std::string_view data);
std::optional<CovNotification> parseCovNotification(std::string_view data);

}  // namespace bacnet
