#pragma once

#include "bacnet/client/device_client.h"
#include "bacnet/client/request.h"

namespace bacnet {

/// Why a request was not acknowledged; `answer` is none that acknowledges.
Failure failureOf(ConfirmedService service, const Answer& answer);

/// What a ReadProperty of `address` has brought.
ReadOutcome readOutcome(const PropertyAddress& address, const Answer& answer);

}  // namespace bacnet
