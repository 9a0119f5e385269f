#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "bacnet/number/services.h"

namespace bacnet {

/// What becomes of a request.
struct Answer {
  enum class Kind {
    kAck,          ///< `data` is the service's, empty for a Simple-ACK
    kError,        ///< `data` is the Error PDU's
    kReject,       ///< `reason`
    kAbort,        ///< `reason`; the device's, or ours where an answer had to be given up
    kUnreachable,  ///< the network says no
    kRefused,      ///< the device's machine is there, but nobody listens at the port
    kTooLong,      ///< the request fits no APDU that gets there
    kOverdue,      ///< nothing has come in time, but may yet
  };
  Kind kind = Kind::kAck;
  std::uint8_t reason = 0;
  std::string_view data;  ///< valid during the call
};

/// Called once; after kOverdue perhaps once more.
using AnswerHandler = std::function<void(const Answer& answer)>;

/// A confirmed request before it has an invoke id.
struct Request {
  ConfirmedService service{};
  std::string data;  ///< the service's own bytes
  AnswerHandler done;
};

}  // namespace bacnet
