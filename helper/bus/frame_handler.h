#pragma once

#include "cbl/bus/bus_protocol.h"
#include "helper/bus/reply_slot.h"

namespace helper {

/// Answers the frames that a bus server takes in. Called on the server's thread, and does not block; the slot may be
/// answered before or after the call returns.
class CFrameHandler {
 public:
  virtual ~CFrameHandler() = default;
  virtual void onFrame(const cbl::BusFrameInfo& frame, CReplySlot slot) = 0;
};

}  // namespace helper
