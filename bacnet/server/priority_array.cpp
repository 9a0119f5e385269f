#include "bacnet/server/priority_array.h"

#include <algorithm>

namespace bacnet::server {

bool CPriorityArray::isCommanded() const {
  return std::any_of(slots_.begin(), slots_.end(), [](const auto& slot) { return slot.has_value(); });
}

const Values& CPriorityArray::effective() const {
  const auto first = std::find_if(slots_.begin(), slots_.end(), [](const auto& slot) { return slot.has_value(); });
  return first == slots_.end() ? relinquishDefault_ : **first;
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
