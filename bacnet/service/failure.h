#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "bacnet/codec/value.h"
#include "bacnet/number/services.h"

namespace bacnet {

/// Class and code of an Error PDU, clause 18; any number, the standard's are named in bacnet/number.
struct Error {
  std::uint32_t errorClass = 0;
  std::uint32_t errorCode = 0;

  friend bool operator==(const Error& a, const Error& b) {
    return a.errorClass == b.errorClass && a.errorCode == b.errorCode;
  }
};

/// A WritePropertyMultiple that failed: what stood before this write was done, it and what follows was not.
struct FailedWrite {
  ObjectId object;
  PropertyReference reference;
};

/// What an Error PDU says. Where it names no failed write although the service has one, there is none: some devices
/// send the bare error.
struct ErrorReply {
  Error error;
  std::optional<FailedWrite> failedWrite;
};

/// Reads the Error PDU of a service; takes the plain form and those with context tags around it.
std::optional<ErrorReply> parseError(ConfirmedService service, std::string_view data);
std::string encodeError(ConfirmedService service, const ErrorReply& reply);

}  // namespace bacnet
