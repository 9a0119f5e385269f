#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace support {

/// What the encoders make of what the parsers read, through all layers, where a datagram can be read whole. Nothing
/// where a parser refuses.
std::optional<std::string> echoApdu(std::string_view bytes);
std::optional<std::string> echoDatagram(std::string_view bytes);

}  // namespace support
