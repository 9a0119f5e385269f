#pragma once

#include <string>

#include "bacnet/client/device_client.h"
#include "binding/result_codes.h"

namespace binding {

/// The code that a point answers for a failure of its request, and the words for the log: `unknown-property`.
ResultCode codeOf(const bacnet::Failure& failure);
std::string wordsOf(const bacnet::Failure& failure);

}  // namespace binding
