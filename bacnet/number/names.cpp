#include "bacnet/number/names.h"

#include <algorithm>

namespace bacnet {

std::string_view CNameTable::name(std::uint32_t number) const {
  const NumberName* found = std::lower_bound(
      begin_, end_, number, [](const NumberName& entry, std::uint32_t wanted) { return entry.number < wanted; });
  return found != end_ && found->number == number ? found->name : std::string_view();
}

std::optional<std::uint32_t> CNameTable::number(std::string_view name) const {
  const NumberName* found = std::find_if(begin_, end_, [name](const NumberName& entry) { return entry.name == name; });
  if (found == end_) return std::nullopt;
  return found->number;
}

}  // namespace bacnet
