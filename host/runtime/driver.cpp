#include "hmi/driver.h"

namespace driver {

CDriver::~CDriver() = default;

}  // namespace driver
