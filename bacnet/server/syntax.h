#pragma once

#include <cstdint>
#include <string_view>

#include "bacnet/number/services.h"

namespace bacnet::server {

/// Why a service's bytes, which its parser has not taken, are rejected: clause 18.9.
std::uint8_t rejectReason(ConfirmedService service, std::string_view data);

}  // namespace bacnet::server
