#include "hmi/driver.h"

#include <rttr/registration.h>

// The runtime names its base class before any plug-in does: a type belongs to the library that names it first, and
// would be left dangling here when that is a plug-in and is unloaded.
RTTR_REGISTRATION {
  rttr::type::get<driver::CDriver>();
  rttr::type::get<driver::CDriver*>();
}

namespace driver {

CDriver::~CDriver() = default;

}  // namespace driver
