#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "bacnet/codec/value.h"

namespace support {

/// What a datagram says, in the form that tests/golden/README.md describes; nothing where it cannot be read.
std::optional<nlohmann::json> meaningOf(std::string_view datagram);

/// The service's own bytes of a confirmed request or its answer, and what they say.
std::string_view serviceOctets(std::string_view datagram);
nlohmann::json reassembledMeaning(int service, bool isAnswer, std::string_view octets);

}  // namespace support
