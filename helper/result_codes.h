#pragma once

#include "binding/result_codes.h"

namespace helper {

using binding::ResultCode;
using binding::withNumber;

}  // namespace helper
