#include "hmi/factory.h"

#include <rttr/type>

namespace driver {

namespace {

constexpr std::int32_t kNoSuchType = -1;
constexpr std::int32_t kNotConstructed = -2;

}  // namespace

std::int32_t createDriver(const std::string& typeName, rttr::variant& out) {
  const rttr::type type = rttr::type::get_by_name(typeName);
  if (!type.is_valid()) return kNoSuchType;

  const rttr::constructor constructor = type.get_constructor();
  if (!constructor.is_valid()) return kNotConstructed;
  out = constructor.invoke();
  return out.is_valid() ? 0 : kNotConstructed;
}

}  // namespace driver
