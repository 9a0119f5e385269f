#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "bacnet/codec/apdu.h"
#include "bacnet/codec/bvlc.h"
#include "bacnet/codec/npdu.h"

namespace device {

/// A datagram as far as it can be read. What it points to lies in the datagram.
struct MessageView {
  std::optional<bacnet::Bvlc> bvlc;
  std::optional<bacnet::Npdu> npdu;
  std::optional<bacnet::Apdu> apdu;
  std::string_view service;  ///< by the standard's name; empty where it names none
};

MessageView viewOf(std::string_view datagram);

/// One line for a person: `confirmed-request read-property invoke 5, 17 octets`.
std::string describe(const MessageView& message, std::size_t octets);

}  // namespace device
