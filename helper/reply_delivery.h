#pragma once

#include <cstdint>
#include <string>

#include "cbl/bus/velix_message.h"
#include "helper/delivery.h"
#include "helper/fault_rule.h"

namespace helper {

/// Packs a reply under its request's identifier, any 32-bit number.
/// Result: an empty text when the reply is too long for a frame.
std::string packReply(const cbl::CVelixMessage& reply, std::uint32_t identifier);

/// The steps that bring a packed reply to the client, as `fault` (or null) bends them.
Delivery deliver(std::string frame, std::uint32_t identifier, const Fault* fault);

}  // namespace helper
