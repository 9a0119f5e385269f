#include "bacnet/server/priority_array.h"

#include <algorithm>

namespace bacnet::server {

std::optional<std::uint8_t> CPriorityArray::active() const {
  const auto* first = std::find_if(slots_.begin(), slots_.end(), [](const auto& slot) { return slot.has_value(); });
  if (first == slots_.end()) return std::nullopt;
  return static_cast<std::uint8_t>(first - slots_.begin() + 1);
}

const Values& CPriorityArray::effective() const {
  const auto priority = active();
  return priority ? *slots_.at(*priority - std::size_t{1}) : relinquishDefault_;
}

Values CPriorityArray::elements() const {
  constexpr std::uint8_t kDateTimeTag = 1;
  Values elements;
  for (const auto& slot : slots_) {
    if (!slot) {
      elements.emplace_back(Null{});
    } else if (slot->size() == 1) {
      elements.push_back(slot->front());
    } else {
      elements.emplace_back(Constructed{kDateTimeTag, *slot});
    }
  }
  return elements;
}

}  // namespace bacnet::server
