#pragma once

#include <cstdint>
#include <string>

#include "helper/bus/delivery.h"
#include "helper/request/remote_functions.h"
#include "helper/run_helper.h"
#include "simulator/fault_rule.h"

namespace simulator {

/// Puts the rule's text in place of the values that it is about, if `frame` is the reply to a read that succeeded.
void replaceValues(const FaultRule& rule, const helper::Request& request, std::string& frame);

/// The steps that bring a reply's `frame` to the client, as `fault` bends them. What ends the helper ends its loop.
helper::Delivery deliver(std::string frame, std::uint32_t identifier, const Fault& fault,
                         helper::HelperEnvironment& environment);

}  // namespace simulator
